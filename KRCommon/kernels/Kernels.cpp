#include <KRCommon/kernels/Kernels.h>

#include <KRCommon/kernels/Forms.h>
#include <KRCommon/kernels/Instructions.h>

#include <cstdlib>

namespace kr_internal {

namespace {

constexpr std::size_t append(std::array<char, 24>& text, std::size_t size, std::string_view word)
{
    if (size > 0)
        text[size++] = ' ';
    for (const char c : word)
        text[size++] = c;
    return size;
}

constexpr std::array<char, 24> name_of(Instruction_Set set)
{
    std::array<char, 24> name{};
    std::size_t size = append(name, 0, level_names[static_cast<std::size_t>(set.level)]);
    if (set.sha)
        size = append(name, size, "sha");
    if (set.aes)
        append(name, size, "aes");
    return name;
}

// Which form goes with which instructions: the portable ones first, then what is better.
constexpr Kernels make_kernels(Instruction_Set set)
{
    Kernels table{};
    table.instructions = set;
    table.name = name_of(set);
    table.encode_hex = encode_hex_portable;
    table.decode_hex = decode_hex_portable;
    table.encode_base64 = encode_base64_portable;
    table.decode_base64 = decode_base64_portable;
    table.encode_base64_lines = encode_base64_lines_portable;
    table.decode_base64_lines = decode_base64_lines_portable;
    table.rgb_to_hsv = rgb_to_hsv_portable;
    table.hsv_to_rgb = hsv_to_rgb_portable;
    table.compress_sha1 = compress_sha1_portable;
    table.compress_sha256 = compress_sha256_portable;
    table.expand_aes_key = expand_aes_key_portable;
    table.invert_aes_keys = invert_aes_keys_portable;
    table.encrypt_aes = encrypt_aes_portable;
    table.decrypt_aes = decrypt_aes_portable;
#ifndef KR_PORTABLE
    if (set.level >= Level::sse2) {
        table.encode_hex = encode_hex_sse2;
        table.rgb_to_hsv = rgb_to_hsv_sse2;
        table.hsv_to_rgb = hsv_to_rgb_sse2;
    }
    if (set.level >= Level::ssse3) {
        table.encode_hex = encode_hex_ssse3;
        table.decode_hex = decode_hex_ssse3;
        table.encode_base64 = encode_base64_ssse3;
        table.decode_base64 = decode_base64_ssse3;
        table.encode_base64_lines = encode_base64_lines_ssse3;
        table.decode_base64_lines = decode_base64_lines_ssse3;
    }
    if (set.level >= Level::avx2) {
        table.encode_hex = encode_hex_avx2;
        table.encode_base64 = encode_base64_avx2;
        table.decode_base64 = decode_base64_avx2;
        table.encode_base64_lines = encode_base64_lines_avx2;
        table.decode_base64_lines = decode_base64_lines_avx2;
        table.rgb_to_hsv = rgb_to_hsv_avx2;
        table.hsv_to_rgb = hsv_to_rgb_avx2;
    }
    if (set.level >= Level::avx512) {
        table.encode_base64 = encode_base64_avx512;
        table.decode_base64 = decode_base64_avx512;
        table.encode_base64_lines = encode_base64_lines_avx512;
        table.decode_base64_lines = decode_base64_lines_avx512;
        table.rgb_to_hsv = rgb_to_hsv_avx512;
    }
    if (set.sha) {
        table.compress_sha1 = compress_sha1_sha;
        table.compress_sha256 = compress_sha256_sha;
    }
    if (set.aes) {
        table.expand_aes_key = expand_aes_key_aes;
        table.invert_aes_keys = invert_aes_keys_aes;
        table.encrypt_aes = encrypt_aes_aes;
        table.decrypt_aes = decrypt_aes_aes;
    }
#endif
    return table;
}

// By level, and for each without and with "sha" and "aes".
constexpr std::size_t table_count = 4 * level_names.size();

constexpr std::size_t index_of(Instruction_Set set)
{
    return 4 * static_cast<std::size_t>(set.level) + (set.sha ? 2 : 0) + (set.aes ? 1 : 0);
}

constexpr std::array<Kernels, table_count> make_tables()
{
    std::array<Kernels, table_count> tables{};
    for (std::size_t level = 0; level < level_names.size(); ++level)
        for (const bool sha : {false, true})
            for (const bool aes : {false, true}) {
                const Instruction_Set set{static_cast<Level>(level), sha, aes};
                tables[index_of(set)] = make_kernels(set);
            }
    return tables;
}

constexpr std::array<Kernels, table_count> tables = make_tables();

} // namespace

std::atomic<const Kernels*> kernels_in_use{nullptr};

const Kernels& kernels_for(Instruction_Set set) noexcept
{
    return tables[index_of(set)];
}

const Kernels& choose_kernels() noexcept
{
    const char* const limit = std::getenv("KR_INSTRUCTIONS");
    const Instruction_Set allowed = instructions_named(limit != nullptr ? limit : "");
    const Instruction_Set present = instructions_of(kr_platform::processor());
    const Kernels& table = kernels_for(common(allowed, present));
    kernels_in_use.store(&table, std::memory_order_relaxed);
    return table;
}

} // namespace kr_internal

const char* kr_instructions() noexcept
{
    return kr_internal::kernels().name.data();
}

#include <KRCommon/util/Base64_Strict.h>

#include <KRCommon/kernels/Kernels.h>
#include <KRCommon/util/Base64_Group.h>

#include <array>

namespace {

// The value of a character of the alphabet; -1 for any other.
constexpr std::array<signed char, 256> values = [] {
    std::array<signed char, 256> made{};
    for (signed char& value : made)
        value = -1;
    for (int value = 0; value < 64; ++value)
        made[static_cast<unsigned char>(kr_internal::base64_alphabet[value])] =
            static_cast<signed char>(value);
    return made;
}();

int value_of(char c) noexcept
{
    return values[static_cast<unsigned char>(c)];
}

// The first character from `at` on that is not in the alphabet; the text's end without one.
std::size_t find_other(std::string_view text, std::size_t at) noexcept
{
    while (at < text.size() && value_of(text[at]) >= 0)
        ++at;
    return at;
}

// How many of the last group's characters are "=": 0, 1 or 2.
std::size_t padding_of(std::string_view text) noexcept
{
    if (text.size() < 4 || text.size() % 4 != 0 || text.back() != '=')
        return 0;
    return text[text.size() - 2] == '=' ? 2 : 1;
}

constexpr std::size_t most_on_stack = 1'024;

// Decodes into room for text.size() / 4 * 3 bytes.
KR_Parse_Result decode(std::string_view text, unsigned char* out) noexcept
{
    const std::size_t padding = padding_of(text);
    const std::size_t plain = padding > 0 ? text.size() - 4 : text.size() / 4 * 4;
    const std::size_t done = kr_internal::kernels().decode_base64(text.data(), plain, out);
    if (done < plain)
        return {KR_Parse_Error::character, find_other(text, done)};
    if (const std::size_t other = find_other(text, plain); other < text.size() - padding)
        return {KR_Parse_Error::character, other};
    if (text.size() % 4 != 0)
        return {KR_Parse_Error::cut, text.size()};
    if (padding == 0)
        return {KR_Parse_Error::none, text.size()};

    const int first = value_of(text[plain]);
    const int second = value_of(text[plain + 1]);
    const int third = padding == 2 ? 0 : value_of(text[plain + 2]);
    const int left_over = padding == 2 ? second & 15 : third & 3;
    if (left_over != 0)
        return {KR_Parse_Error::character, text.size() - padding - 1};
    unsigned char* const last = out + plain / 4 * 3;
    last[0] = static_cast<unsigned char>(first << 2 | second >> 4);
    if (padding == 1)
        last[1] = static_cast<unsigned char>((second & 15) << 4 | third >> 2);
    return {KR_Parse_Error::none, text.size()};
}

} // namespace

KR_Parse_Result kr_try_decode_base64(std::string_view text, std::string& out)
{
    const std::size_t room = text.size() / 4 * 3;
    const std::size_t size = room - padding_of(text);
    if (room <= most_on_stack) {
        unsigned char bytes[most_on_stack];
        const KR_Parse_Result result = decode(text, bytes);
        if (result)
            out.assign(reinterpret_cast<const char*>(bytes), size);
        return result;
    }
    std::string bytes(room, '\0');
    const KR_Parse_Result result = decode(text, reinterpret_cast<unsigned char*>(bytes.data()));
    if (result) {
        bytes.resize(size);
        out.swap(bytes);
    }
    return result;
}

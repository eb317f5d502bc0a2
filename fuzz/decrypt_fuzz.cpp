// Any bytes as a cipher text; then as a plain text, of which must come back what the rules say. With
// each set of instructions that the processor has, all giving the same texts.

#include <KRCommon/kernels/Kernels_testing.h>
#include <KRCommon/util/String_Encryption.h>

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

constexpr const char* allowed =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789;-,=._";

void require(bool holds)
{
    if (!holds)
        std::abort();
}

// The other case of every hexadecimal letter.
std::string swap_case(std::string hex)
{
    for (char& digit : hex)
        if ((digit >= 'A' && digit <= 'F') || (digit >= 'a' && digit <= 'f'))
            digit = static_cast<char>(digit ^ 0x20);
    return hex;
}

void require_decrypted(const std::string& hex)
{
    const std::string plain = decrypt_string(hex);
    require(plain.find_first_not_of(allowed) == std::string::npos);
    require(plain.size() <= (hex.size() / 2 + 15) / 16 * 8);
    require(plain == decrypt_string(swap_case(hex)));
    if (hex.size() % 2 == 0)
        require(plain == decrypt_string(hex + "F"));
}

std::string cut(std::string plain)
{
    const std::size_t end = plain.find_first_not_of(allowed);
    if (end != std::string::npos)
        plain.resize(end);
    else if (!plain.empty() && plain.size() % 8 == 0)
        plain.pop_back();
    return plain;
}

void require_round_trip(const std::string& plain)
{
    const std::string hex = encrypt_string(plain);
    require(hex.size() == (plain.size() + 7) / 8 * 32);
    require(hex.find_first_not_of("0123456789ABCDEF") == std::string::npos);
    require(decrypt_string(hex) == cut(plain));
}

// A cipher text with the input's bytes in its middle, so that the walk gets that far.
void require_patched(const std::string& input)
{
    std::string hex = encrypt_string("name=value;name=value;name=value;x");
    hex.replace(64, input.size() < 64 ? input.size() : 64, input, 0, 64);
    require_decrypted(hex);
}

// Both results of the portable forms.
void require_the_same(const std::string& input)
{
    const std::string hex = encrypt_string(input);
    const std::string plain = decrypt_string(input);
    const kr_internal::Forced_Kernels portable{{}};
    require(hex == encrypt_string(input));
    require(plain == decrypt_string(input));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string input(data, data + size);
    static const std::vector<kr_internal::Instruction_Set> sets =
        kr_internal::present_instruction_sets();
    for (const kr_internal::Instruction_Set set : sets) {
        const kr_internal::Forced_Kernels forced(set);
        require_decrypted(input);
        require_round_trip(input);
        require_patched(input);
        require_the_same(input);
    }
    return 0;
}

#include <KRCommon/util/String_Encryption.h>

#include <KRCommon/platform/Platform_testing.h>

#include <tests/support/Kernel_Test.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>

namespace {

using namespace std::string_literals;

const std::string allowed = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789;-,=._";

std::string allowed_text(std::size_t size)
{
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        text[i] = allowed[i % allowed.size()];
    return text;
}

std::string lower_case(std::string hex)
{
    for (char& digit : hex)
        if (digit >= 'A' && digit <= 'F')
            digit = static_cast<char>(digit + ('a' - 'A'));
    return hex;
}

// What comes back: up to the first character that is not allowed, or all but the last of a text
// that fills its blocks.
std::string expected_back(const std::string& plain)
{
    const std::size_t end = plain.find_first_not_of(allowed);
    if (end != std::string::npos)
        return plain.substr(0, end);
    return plain.empty() || plain.size() % 8 != 0 ? plain : plain.substr(0, plain.size() - 1);
}

struct Golden {
    std::string plain;
    const char* hex;
};

// Texts that are stored out there look like these. They were made by another AES.
const Golden goldens[] = {
    {"a", "F191D7BEBB1CC17C3F8FC9644A1AEAFF"},
    {"Pass-1", "C46FA7160DB40AB2CEE949CD4106C53D"},
    {"x=1;y=2", "145086121F9AB9EE95831BCCD4258D53"},
    {"ABCDEFG", "62FFB872DFCAB52F6F224BD553B271BE"},
    {"ABCDEFGH", "37674193879691B542949D9AEE4115BB"},
    {"ABCDEFGHI", "37674193879691B542949D9AEE4115BBE4B69B250B3A2BA4B03C2F20C4D2E414"},
    {"Aa0;-,=._Zz9", "AE0640ED81EA2EE2921B1D72554D3376700EC3A3848B0A2DAF034F2CCA591C33"},
    {"123456789012345", "4A546A1F0553EE856EF2764703D4B4BFD174FA4A85186AC877C5091DD7FEC9D6"},
    {"1234567890123456", "4A546A1F0553EE856EF2764703D4B4BF01F3D9D3BA46D4C822817EF843AC9121"},
    {"12345678901234567", "4A546A1F0553EE856EF2764703D4B4BF01F3D9D3BA46D4C822817EF843AC9121"
                          "51FAD701C6E6E7DBF96A9294A908EE91"},
    {"user=admin;pwd=x_1.2,3", "C61BE7FC2811616BADBE237DA542CF2607A92B257292D5AECDC5DD070BD0EC22"
                               "A1E4E4009EA7F694C3EEBAAB5954C49D"},
    {"0123456789abcdef0123456789abcdef",
     "E821169A131CA3CDB2627AE229F81F6084C5089B0EA2A88CFA3077246C0AE333"
     "641E87D9A749F01F8393FE0C104A6466C8FF2C76B598D972C45C0787DBB77689"},
    {"\0"s, "0A12E0E3296CA232867FDCDBDBD3A167"},
    {"a\0b"s, "5DE93B3ACD101C35D1D0B4BEDC653A2F"},
    {"\x80", "CA991EB54AF6B32A380D485BCE9F0049"},
    {"\xE4\x80\xFF\0z"s, "E507D5D0CDDB2FCE669403B60E4DE4DA"},
    {"ABCDEFG\xE4H", "09F8F3F2D69F08B35652357D2AB8E724ED22A3C587E9DFB2720248DB1B9F86FF"},
    {"/etc", "2FD54E3E8E6C18FD560259628C880362"},
    {"1234567 ", "9A04A30F6D61002265317ABC55677BDC"},
    {"abcdefg/", "6628C562DDA986CFB4E646C983C8F03C"},
};

using StringEncryption = Kernel_Test;
INSTANTIATE_TEST_SUITE_P(Each, StringEncryption,
                         each_form(&kr_internal::Kernels::encrypt_aes,
                                   &kr_internal::Kernels::encode_hex),
                         name_of_set);

TEST_P(StringEncryption, StoredCipherTextsStayReadable)
{
    for (const Golden& golden : goldens) {
        EXPECT_EQ(golden.hex, encrypt_string(golden.plain)) << testing::PrintToString(golden.plain);
        EXPECT_EQ(expected_back(golden.plain), decrypt_string(golden.hex)) << golden.hex;
    }
}

TEST_P(StringEncryption, TheEmptyTextStaysEmpty)
{
    EXPECT_EQ("", encrypt_string(""));
    EXPECT_EQ("", decrypt_string(""));
}

TEST_P(StringEncryption, CipherTextsHave32DigitsForEveryEightCharacters)
{
    struct Row {
        std::size_t plain;
        std::size_t hex;
    };
    for (const Row& row : {Row{1, 32}, Row{7, 32}, Row{8, 32}, Row{9, 64}, Row{15, 64}, Row{16, 64},
                           Row{17, 96}, Row{63, 256}, Row{64, 256}, Row{65, 288}}) {
        const std::string hex = encrypt_string(allowed_text(row.plain));
        EXPECT_EQ(row.hex, hex.size()) << row.plain;
        EXPECT_EQ(std::string::npos, hex.find_first_not_of("0123456789ABCDEF")) << hex;
    }
}

TEST_P(StringEncryption, SevenCharactersComeBack)
{
    EXPECT_EQ("x=1;y=2", decrypt_string("145086121F9AB9EE95831BCCD4258D53"));
    EXPECT_EQ("Ab.-_,9", decrypt_string(encrypt_string("Ab.-_,9")));
}

TEST_P(StringEncryption, QuirkEightCharactersComeBackWithSeven)
{
    EXPECT_EQ("ABCDEFG", decrypt_string("37674193879691B542949D9AEE4115BB"));
    EXPECT_EQ("123456789012345",
              decrypt_string("4A546A1F0553EE856EF2764703D4B4BF01F3D9D3BA46D4C822817EF843AC9121"));
    for (std::size_t size = 8; size <= 80; size += 8)
        EXPECT_EQ(allowed_text(size - 1), decrypt_string(encrypt_string(allowed_text(size))));
}

TEST_P(StringEncryption, EveryOtherLengthComesBackWhole)
{
    for (std::size_t size = 0; size <= 200; ++size)
        if (size % 8 != 0) {
            EXPECT_EQ(allowed_text(size), decrypt_string(encrypt_string(allowed_text(size))));
        }
}

TEST_P(StringEncryption, RefusedCharactersCutTheText)
{
    EXPECT_EQ("a", decrypt_string(encrypt_string("a b/c")));
    EXPECT_EQ("", decrypt_string("2FD54E3E8E6C18FD560259628C880362")) << "/etc";
    EXPECT_EQ("1234567", decrypt_string("9A04A30F6D61002265317ABC55677BDC")) << "a blank as eighth";
    EXPECT_EQ("abcdefg", decrypt_string("6628C562DDA986CFB4E646C983C8F03C")) << "a slash as eighth";
    EXPECT_EQ("12345678", decrypt_string(encrypt_string("12345678/")));
}

TEST_P(StringEncryption, ExactlyTheNamedCharactersComeBack)
{
    for (int code = 0; code < 256; ++code) {
        const auto character = static_cast<char>(code);
        const bool comes_back = allowed.find(character) != std::string::npos;
        const std::string plain = "ab"s + character + "c";
        EXPECT_EQ(comes_back ? plain : "ab", decrypt_string(encrypt_string(plain))) << code;
    }
}

TEST_P(StringEncryption, ZerosInsideAreEncryptedAndCutTheText)
{
    EXPECT_EQ("5DE93B3ACD101C35D1D0B4BEDC653A2F", encrypt_string("a\0b"s));
    EXPECT_NE(encrypt_string("a"), encrypt_string("a\0b"s));
    EXPECT_EQ(encrypt_string("a"), encrypt_string("a\0\0"s)) << "like the padding";
    EXPECT_EQ("a", decrypt_string(encrypt_string("a\0b"s)));
}

TEST_P(StringEncryption, BytesFrom128AreNotExtendedBySign)
{
    EXPECT_EQ("CA991EB54AF6B32A380D485BCE9F0049", encrypt_string("\x80"));
    EXPECT_EQ("09F8F3F2D69F08B35652357D2AB8E724ED22A3C587E9DFB2720248DB1B9F86FF",
              encrypt_string("ABCDEFG\xE4H"));
    EXPECT_EQ("ABCDEFG", decrypt_string(encrypt_string("ABCDEFG\xE4H")));
}

TEST_P(StringEncryption, LowerCaseDigitsDecryptLikeUpperCase)
{
    for (const Golden& golden : goldens)
        EXPECT_EQ(expected_back(golden.plain), decrypt_string(lower_case(golden.hex)));
}

TEST_P(StringEncryption, AnOddLastDigitIsIgnored)
{
    for (const char* last : {"0", "7", "F", "x", "\n"})
        EXPECT_EQ("x=1;y=2", decrypt_string("145086121F9AB9EE95831BCCD4258D53"s + last));
    EXPECT_EQ("", decrypt_string("1"));
    EXPECT_EQ("", decrypt_string("x"));
}

TEST_P(StringEncryption, ABadSecondDigitLeavesTheValueOfTheFirst)
{
    const std::string hex = "CB7B69E700383666CC711570913E8386"; // the fifth byte is 00
    ASSERT_EQ("key=003", decrypt_string(hex));
    for (const char bad : "xgG/:@`- \n\x80") {
        EXPECT_EQ("key=003", decrypt_string("CB7B69E70"s + bad + "383666CC711570913E8386")) << bad;
        EXPECT_NE("key=003", decrypt_string("CB7B69E71"s + bad + "383666CC711570913E8386")) << bad;
    }
    // The byte 0B of the second block: the first digit alone counts once, not sixteen times.
    EXPECT_EQ("ABCDEFGHI",
              decrypt_string("37674193879691B542949D9AEE4115BBE4B69B25BX3A2BA4B03C2F20C4D2E414"));
    EXPECT_EQ("ABCDEFGHI",
              decrypt_string("37674193879691B542949D9AEE4115BBE4B69B25b?3A2BA4B03C2F20C4D2E414"));
}

TEST_P(StringEncryption, ABadFirstDigitGivesZero)
{
    ASSERT_EQ("key=003", decrypt_string("CB7B69E700383666CC711570913E8386"));
    for (const char* pair : {"x0", "x9", "xF", "xx", "GA", "-1", " 5", "\x80\x39"})
        EXPECT_EQ("key=003", decrypt_string("CB7B69E7"s + pair + "383666CC711570913E8386")) << pair;
}

TEST_P(StringEncryption, APartialLastBlockCountsAsFilledUpWithZeros)
{
    ASSERT_EQ("key=372", decrypt_string("4C23E0FB62E3724CDFB209E929844800"));
    EXPECT_EQ("key=372", decrypt_string("4C23E0FB62E3724CDFB209E9298448"));
    EXPECT_EQ("key=372", decrypt_string("4C23E0FB62E3724CDFB209E92984480"));
    EXPECT_NE("key=372", decrypt_string("4C23E0FB62E3724CDFB209E92984"));
    EXPECT_EQ("ABCDEFGH", decrypt_string("37674193879691B542949D9AEE4115BBE4B69B25"))
        << "a second block that begins with a refused character";
}

TEST_P(StringEncryption, AChangedCipherTextGivesWhatItGives)
{
    EXPECT_EQ("", decrypt_string("00000000000000000000000000000000"));
    EXPECT_EQ("ABCDEFGH", decrypt_string("37674193879691B542949D9AEE4115BB"
                                         "E4B69B250B3A2BA4B03C2F20C4D2E400"));
}

TEST_P(StringEncryption, EveryPrefixOfACipherTextDecryptsToAllowedCharacters)
{
    const std::string hex = encrypt_string(allowed_text(20));
    for (std::size_t size = 0; size <= hex.size(); ++size) {
        const std::string plain = decrypt_string(hex.substr(0, size));
        EXPECT_EQ(std::string::npos, plain.find_first_not_of(allowed)) << size;
        EXPECT_LE(plain.size(), (size / 2 + 15) / 16 * 8) << size;
    }
}

TEST_P(StringEncryption, EqualTextsGiveEqualCipherTexts)
{
    EXPECT_EQ(encrypt_string("Pass-1"), encrypt_string("Pass-1"));
    EXPECT_EQ("C46FA7160DB40AB2CEE949CD4106C53D", encrypt_string("Pass-1"));
}

TEST_P(StringEncryption, AMebibyte)
{
    const std::string plain = allowed_text(1 << 20);
    const std::string hex = encrypt_string(plain);
    ASSERT_EQ(std::size_t{4} << 20, hex.size());
    EXPECT_EQ("37674193879691B542949D9AEE4115BB", hex.substr(0, 32));
    EXPECT_EQ("5DCA9AC2519CA91E524973ABD880FE45", hex.substr(hex.size() - 32));
    EXPECT_TRUE(plain.substr(0, plain.size() - 1) == decrypt_string(hex));
    EXPECT_TRUE(plain + "a" == decrypt_string(encrypt_string(plain + "a")));
}

TEST_P(StringEncryption, RandomTextsComeBackAsFarAsTheyAreAllowed)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same texts in every run
    for (std::size_t round = 0; round < 2'000; ++round) {
        std::string plain(round % 100, '\0');
        for (char& character : plain)
            character = random() % 64 == 0 ? static_cast<char>(random())
                                           : allowed[random() % allowed.size()];
        const std::string hex = encrypt_string(plain);
        ASSERT_EQ(expected_back(plain), decrypt_string(hex)) << testing::PrintToString(plain);
        ASSERT_EQ(expected_back(plain), decrypt_string(lower_case(hex)));
    }
}

// What the pairs stand for, in digits.
std::string canonical(const std::string& hex)
{
    const std::string digits = "0123456789ABCDEF0123456789abcdef";
    std::string result;
    for (std::size_t i = 0; i + 1 < hex.size(); i += 2) {
        const std::size_t high = digits.find(hex[i]);
        const std::size_t low = digits.find(hex[i + 1]);
        if (high == std::string::npos)
            result += "00";
        else if (low == std::string::npos)
            result += "0"s + digits[high % 16];
        else
            result += ""s + digits[high % 16] + digits[low % 16];
    }
    result.resize((result.size() + 31) / 32 * 32, '0');
    return result;
}

TEST_P(StringEncryption, AnyTextDecryptsAsTheDigitsThatItStandsFor)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same texts in every run
    for (std::size_t round = 0; round < 2'000; ++round) {
        // The first blocks stay as they are, so that what comes after them is looked at.
        const std::string plain = allowed_text(8 + round % 200);
        std::string hex = encrypt_string(plain);
        const std::size_t first = random() % hex.size();
        for (std::size_t i = first; i < hex.size(); ++i)
            if (random() % 8 == 0)
                hex[i] = static_cast<char>(random());
        hex.resize(hex.size() - random() % 40 % hex.size());
        ASSERT_EQ(decrypt_string(canonical(hex)), decrypt_string(hex)) << hex;
    }
}

TEST_P(StringEncryption, AllFormsGiveTheSameTexts)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same texts in every run
    for (std::size_t round = 0; round < 1'000; ++round) {
        std::string plain(random() % 1'100, '\0');
        for (char& character : plain)
            character = random() % 256 == 0 ? static_cast<char>(random())
                                            : allowed[random() % allowed.size()];
        const std::string hex = encrypt_string(plain);
        const std::string back = decrypt_string(hex);
        const kr_internal::Forced_Kernels portable{{}};
        ASSERT_EQ(encrypt_string(plain), hex);
        ASSERT_EQ(decrypt_string(hex), back);
    }
}

TEST_P(StringEncryption, TheStackMayHaveAnyAlignment)
{
    for (unsigned shift = 0; shift < 16; shift += 4) {
        std::string text = allowed_text(99);
        kr_platform_testing::call_on_shifted_stack(
            shift,
            [](void* argument) {
                auto& plain = *static_cast<std::string*>(argument);
                plain = decrypt_string(encrypt_string(plain));
            },
            &text);
        EXPECT_EQ(allowed_text(99), text);
    }
}

} // namespace

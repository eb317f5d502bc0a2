#include <KRCommon/util/SHA1.h>

#include <KRCommon/platform/Platform_testing.h>

#include <tests/support/Kernel_Test.h>
#include <tests/support/Private_Member.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

struct Length_Low {
    friend auto private_member(Length_Low);
};
struct Length_High {
    friend auto private_member(Length_High);
};
template struct Private_Member<Length_Low, &cSHA1::length_low_>;
template struct Private_Member<Length_High, &cSHA1::length_high_>;

namespace {

using namespace std::string_literals;

void set_length(cSHA1& hash, std::uint64_t bits)
{
    hash.*private_member(Length_Low()) = static_cast<std::uint32_t>(bits);
    hash.*private_member(Length_High()) = static_cast<std::uint32_t>(bits >> 32);
}

using Words = std::array<unsigned, 5>;

constexpr Words no_words{1, 2, 3, 4, 5};

const unsigned char* bytes_of(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

void feed(cSHA1& hash, const std::string& text)
{
    hash.input(bytes_of(text), static_cast<unsigned>(text.size()));
}

// In the usual order.
std::string text_of(const Words& words)
{
    char text[41];
    std::snprintf(text, sizeof text, "%08X%08X%08X%08X%08X", words[0], words[1], words[2], words[3],
                  words[4]);
    return text;
}

std::string digest_of(cSHA1& hash)
{
    Words words = no_words;
    EXPECT_TRUE(hash.computeHash(words.data()));
    return text_of(words);
}

std::string digest_of(const std::string& message)
{
    cSHA1 hash;
    feed(hash, message);
    return digest_of(hash);
}

std::string digest_of(const wchar_t* message)
{
    cSHA1 hash;
    hash << message;
    return digest_of(hash);
}

void expect_refused(cSHA1& hash)
{
    Words words = no_words;
    EXPECT_FALSE(hash.computeHash(words.data()));
    EXPECT_EQ(no_words, words);
    std::string text = "before";
    EXPECT_FALSE(hash.computeHash(text));
    EXPECT_EQ("before", text);
}

// FIPS 180-1, section 7, as it is written there. Length: what the last block says, in bits.
std::string model_digest(std::string message, std::uint64_t length)
{
    const auto rotate = [](std::uint32_t word, unsigned bits) {
        return word << bits | word >> (32 - bits);
    };
    message += '\x80';
    while (message.size() % 64 != 56)
        message += '\0';
    for (int shift = 56; shift >= 0; shift -= 8)
        message += static_cast<char>(length >> shift);
    Words h{0x67452301, 0xEFCDAB89, 0x98BADCFE, 0x10325476, 0xC3D2E1F0};
    for (std::size_t at = 0; at < message.size(); at += 64) {
        std::uint32_t w[80];
        for (std::size_t t = 0; t < 80; ++t)
            if (t < 16) {
                w[t] = 0;
                for (std::size_t i = 0; i < 4; ++i)
                    w[t] = w[t] << 8 | static_cast<unsigned char>(message[at + 4 * t + i]);
            } else {
                w[t] = rotate(w[t - 3] ^ w[t - 8] ^ w[t - 14] ^ w[t - 16], 1);
            }
        auto [a, b, c, d, e] = h;
        for (std::size_t t = 0; t < 80; ++t) {
            std::uint32_t f = (b & c) | (~b & d);
            std::uint32_t k = 0x5A827999;
            if (t >= 20) {
                f = t >= 40 && t < 60 ? (b & c) | (b & d) | (c & d) : b ^ c ^ d;
                k = t < 40 ? 0x6ED9EBA1 : t < 60 ? 0x8F1BBCDC : 0xCA62C1D6;
            }
            const std::uint32_t next = rotate(a, 5) + f + e + w[t] + k;
            e = d, d = c, c = rotate(b, 30), b = a, a = next;
        }
        h = {h[0] + a, h[1] + b, h[2] + c, h[3] + d, h[4] + e};
    }
    return text_of(h);
}

std::string varied(std::size_t size)
{
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>(i * 37 + (i >> 5));
    return text;
}

using SHA1 = Kernel_Test;
using SHA1_Slow = Kernel_Test;
INSTANTIATE_TEST_SUITE_P(Each, SHA1, each_form(&kr_internal::Kernels::compress_sha1), name_of_set);
INSTANTIATE_TEST_SUITE_P(Each, SHA1_Slow, each_form(&kr_internal::Kernels::compress_sha1),
                         name_of_set);

TEST_P(SHA1, WordsOfTheStandardsExamples)
{
    cSHA1 hash;
    hash << "abc";
    Words words = no_words;
    ASSERT_TRUE(hash.computeHash(words.data()));
    EXPECT_EQ((Words{0xA9993E36, 0x4706816A, 0xBA3E2571, 0x7850C26C, 0x9CD0D89D}), words);

    EXPECT_EQ("84983E441C3BD26EBAAE4AA1F95129E5E54670F1",
              digest_of("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"s));
}

TEST_P(SHA1, AMillionTimesA)
{
    const char* const expected = "34AA973CD4C4DAA4F61EEB2BDBAD27316534016F";
    EXPECT_EQ(expected, digest_of(std::string(1'000'000, 'a')));
    cSHA1 hash;
    for (int i = 0; i < 100'000; ++i)
        hash << "aaaaaaaaaa";
    EXPECT_EQ(expected, digest_of(hash));
}

TEST_P(SHA1, TheEmptyMessage)
{
    EXPECT_EQ("DA39A3EE5E6B4B0D3255BFEF95601890AFD80709", digest_of(""s));
}

TEST_P(SHA1, TextQuirkEachWordsLowestByteFirst)
{
    cSHA1 hash;
    hash << "abc";
    std::string text = "what was there before";
    ASSERT_TRUE(hash.computeHash(text));
    EXPECT_EQ("363E99A96A81064771253EBA6CC250789DD8D09C", text);

    hash.reset();
    ASSERT_TRUE(hash.computeHash(text));
    EXPECT_EQ("EEA339DA0D4B6B5EEFBF5532901860950907D8AF", text);
}

TEST_P(SHA1, TextKeepsLeadingZerosOfBytes)
{
    // F08F2490 8D682555 111BE7FF 6F004E78 283D989A
    cSHA1 hash;
    hash << std::string(57, 'a').c_str();
    std::string text;
    ASSERT_TRUE(hash.computeHash(text));
    EXPECT_EQ("90248FF05525688DFFE71B11784E006F9A983D28", text);
}

TEST_P(SHA1, LengthsAroundTheEndOfABlock)
{
    struct Row {
        std::size_t size;
        const char* digest;
    };
    const Row rows[] = {{1, "86F7E437FAA5A7FCE15D1DDCB9EAEAEA377667B8"},
                        {54, "B05D71C64979CB95FA74A33CDB31A40D258AE02E"},
                        {55, "C1C8BBDC22796E28C0E15163D20899B65621D65A"},
                        {56, "C2DB330F6083854C99D4B5BFB6E8F29F201BE699"},
                        {57, "F08F24908D682555111BE7FF6F004E78283D989A"},
                        {62, "67B4B3923FA178D788A9611B76446C96431071F2"},
                        {63, "03F09F5B158A7A8CDAD920BDDC29B81C18A551F5"},
                        {64, "0098BA824B5C16427BD7A1122A5A442A25EC644D"},
                        {65, "11655326C708D70319BE2610E8A57D9A5B959D3B"},
                        {119, "EE971065AAA017E0632A8CA6C77BB3BF8B1DFC56"},
                        {120, "F34C1488385346A55709BA056DDD08280DD4C6D6"},
                        {127, "89D95FA32ED44A7C610B7EE38517DDF57E0BB975"},
                        {128, "AD5B3FDBCB526778C2839D2F151EA753995E26A0"},
                        {129, "D96DEBF1BDCBC896E6C134EA76E8141F40D78536"},
                        {1000, "291E9A6C66994949B57BA5E650361E98FC36B1BA"}};
    for (const Row& row : rows)
        EXPECT_EQ(row.digest, digest_of(std::string(row.size, 'a'))) << row.size;
}

TEST_P(SHA1, EveryByteValue)
{
    std::string all;
    for (int i = 0; i < 256; ++i)
        all += static_cast<char>(i);
    EXPECT_EQ("4916D6BDB7F78E6803698CAB32D1586EA457DFC8", digest_of(all));
}

TEST_P(SHA1, EveryLengthAgreesWithTheStandardsSteps)
{
    for (std::size_t size = 0; size <= 400; ++size) {
        const std::string message = varied(size);
        // Exactly as large as the data, for the sanitizer to see.
        const std::vector<unsigned char> bytes(message.begin(), message.end());
        cSHA1 hash;
        hash.input(bytes.data(), static_cast<unsigned>(size));
        EXPECT_EQ(model_digest(message, 8 * size), digest_of(hash)) << size;
    }
}

TEST_P(SHA1, NothingOutsideTheMessageIsRead)
{
    for (const auto end :
         {kr_platform_testing::Guarded_End::first, kr_platform_testing::Guarded_End::last})
        for (std::size_t size = 1; size <= 4'096; size += size < 300 ? 1 : 97) {
            const std::string message = varied(size);
            const kr_platform_testing::Guarded_Memory memory(size, end);
            std::memcpy(memory.data(), message.data(), size);
            cSHA1 hash;
            hash.input(memory.data(), static_cast<unsigned>(size));
            ASSERT_EQ(digest_of(message), digest_of(hash)) << size;
        }
}

TEST_P(SHA1, EverySplitIntoTwoPiecesGivesTheSameDigest)
{
    const std::string message = varied(200);
    const std::string expected = model_digest(message, 1600);
    for (std::size_t at = 0; at <= message.size(); ++at) {
        cSHA1 hash;
        feed(hash, message.substr(0, at));
        feed(hash, message.substr(at));
        EXPECT_EQ(expected, digest_of(hash)) << at;
    }
}

TEST_P(SHA1, PiecesOfEverySizeGiveTheSameDigest)
{
    const std::string message = varied(1000);
    const std::string expected = model_digest(message, 8000);
    for (std::size_t size = 1; size <= 200; ++size) {
        cSHA1 hash;
        for (std::size_t at = 0; at < message.size(); at += size)
            feed(hash, message.substr(at, size));
        EXPECT_EQ(expected, digest_of(hash)) << size;
    }
}

TEST_P(SHA1, NullAndNoBytesChangeNothing)
{
    const unsigned char* const no_bytes = nullptr;
    const char* const no_text = nullptr;
    const wchar_t* const no_wide_text = nullptr;
    cSHA1 hash;
    hash << "ab" << no_text << no_wide_text << "" << L"";
    hash.input(no_bytes, 0);
    hash.input(no_bytes, 100);
    hash.input(bytes_of("x"), 0);
    hash << "c";
    EXPECT_EQ("A9993E364706816ABA3E25717850C26C9CD0D89D", digest_of(hash));
    hash << no_text << L"" << "";
    hash.input(no_bytes, 100);
    EXPECT_EQ("A9993E364706816ABA3E25717850C26C9CD0D89D", digest_of(hash)) << "nor afterwards";
}

TEST_P(SHA1, TextsAreFedWithoutTheirZero)
{
    cSHA1 hash;
    cSHA1& result = hash << "a";
    EXPECT_EQ(&hash, &result);
    hash << "bc";
    EXPECT_EQ("A9993E364706816ABA3E25717850C26C9CD0D89D", digest_of(hash));
    hash.reset();
    hash << "\xFF\x80";
    hash.input(bytes_of("\0\x7F"s), 2);
    EXPECT_EQ("EF21FD9EFF320A05E57DA0AA602F1E8704F39A61", digest_of(hash));
}

TEST_P(SHA1, WideTextsAreFedAsTwoBytesLowOneFirst)
{
    EXPECT_EQ(digest_of("A\0"s), digest_of(L"A"));
    EXPECT_EQ("EF420ABFDDBDA7B9EE665D85EF62E4A437554003", digest_of(L"A"));
    // K, a with diaeresis, euro sign
    EXPECT_EQ("4B84BFF5A5A752097B15E3F9F3CED1E01475CD9F", digest_of(L"K\u00e4\u20ac"));
    cSHA1 hash;
    cSHA1& result = hash << L"K";
    EXPECT_EQ(&hash, &result);
    hash << L"\u00e4" << L"\u20ac";
    EXPECT_EQ("4B84BFF5A5A752097B15E3F9F3CED1E01475CD9F", digest_of(hash));
}

TEST_P(SHA1, WideCharactersBeyondTheBasicPlaneAreFedAsSurrogates)
{
    EXPECT_EQ("4ED59433C067AB96A59F7BD1DD931012B2B06ADD",
              digest_of(L"\U0001F600a\U0010FFFF\U00010000"));
    EXPECT_EQ(digest_of("\x3D\xD8\x00\xDE"s), digest_of(L"\U0001F600"));
}

TEST_P(SHA1, LongWideTexts)
{
    std::wstring text;
    for (int i = 0; i < 500; ++i)
        text += L"x\u20ac";
    EXPECT_EQ("C1CD5FC5B8D20034AABA95BE17F0A81DB8F9BD52", digest_of(text.c_str()));
    text.clear();
    for (int i = 0; i < 300; ++i)
        text += L"\U0001F600";
    EXPECT_EQ("5B0C9E44A98EE8C03036BFA4CC93EAA892493B22", digest_of(text.c_str()));
    EXPECT_EQ("86AA79EEAB6BFD0B31D13E4513343DD337AD0EB6", digest_of((L"x" + text).c_str()));
}

TEST_P(SHA1, WideTextsOfEveryLength)
{
    std::wstring wide;
    std::string narrow;
    for (int i = 0; i < 700; ++i) {
        ASSERT_EQ(digest_of(narrow), digest_of(wide.c_str())) << i;
        const int unit = 1 + i * 91;
        wide += static_cast<wchar_t>(unit);
        narrow += static_cast<char>(unit);
        narrow += static_cast<char>(unit >> 8);
    }
}

TEST_P(SHA1, NumbersThatAreNoCharactersAreFedWithTheirLow16Bits)
{
    if constexpr (sizeof(wchar_t) == 4) {
        const wchar_t too_large[] = {static_cast<wchar_t>(0x111200), 0};
        EXPECT_EQ("8809E9D340E5D8AD4F9856E7A6E11966F17BE8CE", digest_of(too_large));
    }
    const wchar_t all_bits[] = {static_cast<wchar_t>(-1), 0};
    EXPECT_EQ("A19F987B885F5A96069F4BC7F12B9E84CEBA7DFA", digest_of(all_bits));
}

TEST_P(SHA1, TheDigestCanBeAskedForAgainInEitherForm)
{
    cSHA1 hash;
    hash << "abc";
    std::string text;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ("A9993E364706816ABA3E25717850C26C9CD0D89D", digest_of(hash));
        EXPECT_TRUE(hash.computeHash(text));
        EXPECT_EQ("363E99A96A81064771253EBA6CC250789DD8D09C", text);
    }
}

TEST_P(SHA1, FeedingAfterTheDigestRefusesUntilReset)
{
    cSHA1 hash;
    hash << "abc";
    digest_of(hash);
    hash << "d";
    expect_refused(hash);
    hash << "e";
    expect_refused(hash);
    hash.reset();
    hash << "abc";
    EXPECT_EQ("A9993E364706816ABA3E25717850C26C9CD0D89D", digest_of(hash));

    hash << L"d";
    expect_refused(hash);
    hash.reset();
    digest_of(hash);
    hash.input(bytes_of("d"), 1);
    expect_refused(hash);
}

TEST_P(SHA1, ResetForgetsAMessageHalfFed)
{
    cSHA1 hash;
    feed(hash, varied(100));
    hash.reset();
    hash << "abc";
    EXPECT_EQ("A9993E364706816ABA3E25717850C26C9CD0D89D", digest_of(hash));
}

TEST_P(SHA1, CopiesGoOnByThemselves)
{
    cSHA1 first;
    first << "a";
    cSHA1 second(first);
    second << "bc";
    cSHA1 third;
    third << "something else";
    third = first;
    third << "bc";
    EXPECT_EQ("86F7E437FAA5A7FCE15D1DDCB9EAEAEA377667B8", digest_of(first));
    EXPECT_EQ("A9993E364706816ABA3E25717850C26C9CD0D89D", digest_of(second));
    EXPECT_EQ("A9993E364706816ABA3E25717850C26C9CD0D89D", digest_of(third));
    second << "d";
    cSHA1 refused(second);
    expect_refused(refused);
}

TEST_P(SHA1_Slow, TheLengthCarriesIntoItsHighWord)
{
    const std::vector<unsigned char> zeros(std::size_t{1} << 22);
    cSHA1 hash;
    for (int i = 0; i < 128; ++i)
        hash.input(zeros.data(), static_cast<unsigned>(zeros.size()));
    cSHA1 longer(hash);
    EXPECT_EQ("5B088492C9F4778F409B7AE61477DEC124C99033", digest_of(hash)) << "2^32 bits";
    longer << "a";
    EXPECT_EQ("E98BE4BEF099D30148F062AAAC32556E0192F6B7", digest_of(longer));
}

TEST_P(SHA1, BothWordsOfTheLengthEndTheMessage)
{
    for (const std::uint64_t before :
         {std::uint64_t{0xFFFFFFE8}, std::uint64_t{0xFFFFFFF0}, std::uint64_t{0x12345678FFFFFFF8},
          std::uint64_t{0xFEDCBA9876543210}, std::uint64_t{0xFFFFFFFFFFFFFFE0}}) {
        cSHA1 hash;
        set_length(hash, before);
        hash << "abc";
        EXPECT_EQ(model_digest("abc", before + 24), digest_of(hash)) << before;
    }
}

TEST_P(SHA1, AMessageThatIsTooLongRefusesUntilReset)
{
    constexpr std::uint64_t longest = 0xFFFFFFFFFFFFFFF8;
    cSHA1 hash;
    set_length(hash, longest - 8);
    hash << "a";
    cSHA1 just_fits(hash);
    EXPECT_EQ(model_digest("a", longest), digest_of(just_fits));
    hash << "b";
    expect_refused(hash);
    hash << "c";
    expect_refused(hash);

    hash.reset();
    set_length(hash, longest - 8 * 99);
    feed(hash, varied(100));
    expect_refused(hash);

    hash.reset();
    hash << "abc";
    EXPECT_EQ("A9993E364706816ABA3E25717850C26C9CD0D89D", digest_of(hash));
}

TEST_P(SHA1, CanBeDerivedFromAndDeletedThroughItsBase)
{
    struct Counted : cSHA1 {
        explicit Counted(int& count_in) : count(count_in) {}
        ~Counted() override { ++count; }
        int& count;
    };
    int count = 0;
    const cSHA1* const hash = new Counted(count);
    delete hash;
    EXPECT_EQ(1, count);
}

} // namespace

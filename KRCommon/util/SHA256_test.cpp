#include <KRCommon/util/SHA256.h>

#include <KRCommon/kernels/Sha256_Constants.h>
#include <KRCommon/platform/Platform_testing.h>

#include <tests/support/Private_Member.h>

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

struct Message_Length {
    friend auto private_member(Message_Length);
};
template struct Private_Member<Message_Length, &cSHA256::length_>;

namespace {

using namespace std::string_literals;

void set_length(cSHA256& hash, std::uint64_t bits)
{
    hash.*private_member(Message_Length()) = bits;
}

using Words = std::array<unsigned, 8>;

constexpr Words no_words{1, 2, 3, 4, 5, 6, 7, 8};

const unsigned char* bytes_of(const std::string& text)
{
    return reinterpret_cast<const unsigned char*>(text.data());
}

void feed(cSHA256& hash, const std::string& text)
{
    hash.input(bytes_of(text), static_cast<unsigned>(text.size()));
}

// In the usual order.
std::string text_of(const Words& words)
{
    std::string text;
    char digits[9];
    for (const unsigned word : words) {
        std::snprintf(digits, sizeof digits, "%08X", word);
        text += digits;
    }
    return text;
}

std::string digest_of(cSHA256& hash)
{
    Words words = no_words;
    EXPECT_TRUE(hash.computeHash(words.data()));
    return text_of(words);
}

std::string digest_of(const std::string& message)
{
    cSHA256 hash;
    feed(hash, message);
    return digest_of(hash);
}

std::string digest_of(const wchar_t* message)
{
    cSHA256 hash;
    hash << message;
    return digest_of(hash);
}

void expect_refused(cSHA256& hash)
{
    Words words = no_words;
    EXPECT_FALSE(hash.computeHash(words.data()));
    EXPECT_EQ(no_words, words);
    std::string text = "before";
    EXPECT_FALSE(hash.computeHash(text));
    EXPECT_EQ("before", text);
}

// FIPS 180-4 section 6.2.2, as it is written there. Length: what the last block says, in bits.
std::string model_digest(std::string message, std::uint64_t length)
{
    const auto rotate = [](std::uint32_t word, unsigned bits) {
        return word >> bits | word << (32 - bits);
    };
    message += '\x80';
    while (message.size() % 64 != 56)
        message += '\0';
    for (int shift = 56; shift >= 0; shift -= 8)
        message += static_cast<char>(length >> shift);
    Words sums{0x6A09E667, 0xBB67AE85, 0x3C6EF372, 0xA54FF53A,
               0x510E527F, 0x9B05688C, 0x1F83D9AB, 0x5BE0CD19};
    for (std::size_t at = 0; at < message.size(); at += 64) {
        std::uint32_t w[64];
        for (std::size_t t = 0; t < 64; ++t)
            if (t < 16) {
                w[t] = 0;
                for (std::size_t i = 0; i < 4; ++i)
                    w[t] = w[t] << 8 | static_cast<unsigned char>(message[at + 4 * t + i]);
            } else {
                const std::uint32_t x = w[t - 15];
                const std::uint32_t y = w[t - 2];
                w[t] = (rotate(y, 17) ^ rotate(y, 19) ^ y >> 10) + w[t - 7] +
                       (rotate(x, 7) ^ rotate(x, 18) ^ x >> 3) + w[t - 16];
            }
        auto [a, b, c, d, e, f, g, h] = sums;
        for (std::size_t t = 0; t < 64; ++t) {
            const std::uint32_t t1 = h + (rotate(e, 6) ^ rotate(e, 11) ^ rotate(e, 25)) +
                                     ((e & f) ^ (~e & g)) + kr_internal::sha256_constants[t] + w[t];
            const std::uint32_t t2 =
                (rotate(a, 2) ^ rotate(a, 13) ^ rotate(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
            h = g, g = f, f = e, e = d + t1, d = c, c = b, b = a, a = t1 + t2;
        }
        const Words worked{a, b, c, d, e, f, g, h};
        for (std::size_t i = 0; i < 8; ++i)
            sums[i] += worked[i];
    }
    return text_of(sums);
}

std::string varied(std::size_t size)
{
    std::string text(size, '\0');
    for (std::size_t i = 0; i < size; ++i)
        text[i] = static_cast<char>(i * 37 + (i >> 5));
    return text;
}

TEST(SHA256, WordsOfTheStandardsExamples)
{
    cSHA256 hash;
    hash << "abc";
    Words words = no_words;
    ASSERT_TRUE(hash.computeHash(words.data()));
    EXPECT_EQ((Words{0xBA7816BF, 0x8F01CFEA, 0x414140DE, 0x5DAE2223, 0xB00361A3, 0x96177A9C,
                     0xB410FF61, 0xF20015AD}),
              words);

    EXPECT_EQ("248D6A61D20638B8E5C026930C3E6039A33CE45964FF2167F6ECEDD419DB06C1",
              digest_of("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq"s));
    EXPECT_EQ("CF5B16A778AF8380036CE59E7B0492370B249B11E8F07A51AFAC45037AFEE9D1",
              digest_of("abcdefghbcdefghicdefghijdefghijkefghijklfghijklmghijklmnhijklmno"
                        "ijklmnopjklmnopqklmnopqrlmnopqrsmnopqrstnopqrstu"s));
}

TEST(SHA256, AMillionTimesA)
{
    const char* const expected = "CDC76E5C9914FB9281A1C7E284D73E67F1809A48A497200E046D39CCC7112CD0";
    EXPECT_EQ(expected, digest_of(std::string(1'000'000, 'a')));
    cSHA256 hash;
    for (int i = 0; i < 100'000; ++i)
        hash << "aaaaaaaaaa";
    EXPECT_EQ(expected, digest_of(hash));
}

TEST(SHA256, TheEmptyMessage)
{
    EXPECT_EQ("E3B0C44298FC1C149AFBF4C8996FB92427AE41E4649B934CA495991B7852B855", digest_of(""s));
}

TEST(SHA256, TextIsInTheStandardsOrder)
{
    cSHA256 hash;
    hash << "abc";
    std::string text = "what was there before";
    ASSERT_TRUE(hash.computeHash(text));
    EXPECT_EQ("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD", text);

    hash.reset();
    ASSERT_TRUE(hash.computeHash(text));
    EXPECT_EQ("E3B0C44298FC1C149AFBF4C8996FB92427AE41E4649B934CA495991B7852B855", text);
}

TEST(SHA256, TextKeepsLeadingZeros)
{
    cSHA256 hash;
    hash << std::string(5, 'a').c_str();
    std::string text;
    ASSERT_TRUE(hash.computeHash(text));
    EXPECT_EQ("ED968E840D10D2D313A870BC131A4E2C311D7AD09BDF32B3418147221F51A6E2", text);
}

TEST(SHA256, LengthsAroundTheEndOfABlock)
{
    struct Row {
        std::size_t size;
        const char* digest;
    };
    const Row rows[] = {{1, "CA978112CA1BBDCAFAC231B39A23DC4DA786EFF8147C4E72B9807785AFEE48BB"},
                        {54, "A3F01B6939256127582AC8AE9FB47A382A244680806A3F613A118851C1CA1D47"},
                        {55, "9F4390F8D30C2DD92EC9F095B65E2B9AE9B0A925A5258E241C9F1E910F734318"},
                        {56, "B35439A4AC6F0948B6D6F9E3C6AF0F5F590CE20F1BDE7090EF7970686EC6738A"},
                        {57, "F13B2D724659EB3BF47F2DD6AF1ACCC87B81F09F59F2B75E5C0BED6589DFE8C6"},
                        {62, "F506898CC7C2E092F9EB9FADAE7BA50383F5B46A2A4FE5597DBB553A78981268"},
                        {63, "7D3E74A05D7DB15BCE4AD9EC0658EA98E3F06EEECF16B4C6FFF2DA457DDC2F34"},
                        {64, "FFE054FE7AE0CB6DC65C3AF9B61D5209F439851DB43D0BA5997337DF154668EB"},
                        {65, "635361C48BB9EAB14198E76EA8AB7F1A41685D6AD62AA9146D301D4F17EB0AE0"},
                        {119, "31EBA51C313A5C08226ADF18D4A359CFDFD8D2E816B13F4AF952F7EA6584DCFB"},
                        {120, "2F3D335432C70B580AF0E8E1B3674A7C020D683AA5F73AAAEDFDC55AF904C21C"},
                        {127, "C57E9278AF78FA3CAB38667BEF4CE29D783787A2F731D4E12200270F0C32320A"},
                        {128, "6836CF13BAC400E9105071CD6AF47084DFACAD4E5E302C94BFED24E013AFB73E"},
                        {129, "C12CB024A2E5551CCA0E08FCE8F1C5E314555CC3FEF6329EE994A3DB752166AE"},
                        {1000, "41EDECE42D63E8D9BF515A9BA6932E1C20CBC9F5A5D134645ADB5DB1B9737EA3"}};
    for (const Row& row : rows)
        EXPECT_EQ(row.digest, digest_of(std::string(row.size, 'a'))) << row.size;
}

TEST(SHA256, EveryByteValue)
{
    std::string all;
    for (int i = 0; i < 256; ++i)
        all += static_cast<char>(i);
    EXPECT_EQ("40AFF2E9D2D8922E47AFD4648E6967497158785FBD1DA870E7110266BF944880", digest_of(all));
}

TEST(SHA256, EveryLengthAgreesWithTheStandardsSteps)
{
    for (std::size_t size = 0; size <= 400; ++size) {
        const std::string message = varied(size);
        // Exactly as large as the data, for the sanitizer to see.
        const std::vector<unsigned char> bytes(message.begin(), message.end());
        cSHA256 hash;
        hash.input(bytes.data(), static_cast<unsigned>(size));
        EXPECT_EQ(model_digest(message, 8 * size), digest_of(hash)) << size;
    }
}

// All digests of them together have one that another implementation has found.
TEST(SHA256, EveryLengthHasTheDigestThatIsKnown)
{
    cSHA256 all;
    for (std::size_t size = 0; size <= 400; ++size) {
        cSHA256 hash;
        feed(hash, varied(size));
        Words words = no_words;
        ASSERT_TRUE(hash.computeHash(words.data()));
        for (const unsigned word : words) {
            const unsigned char bytes[] = {
                static_cast<unsigned char>(word >> 24), static_cast<unsigned char>(word >> 16),
                static_cast<unsigned char>(word >> 8), static_cast<unsigned char>(word)};
            all.input(bytes, sizeof bytes);
        }
    }
    EXPECT_EQ("2C8FD60F52859411306D29AEEA1E9198522D88BBD311496E6D5F2525D9C1D167", digest_of(all));
}

TEST(SHA256, NothingOutsideTheMessageIsRead)
{
    for (const auto end :
         {kr_platform_testing::Guarded_End::first, kr_platform_testing::Guarded_End::last})
        for (std::size_t size = 1; size <= 4'096; size += size < 300 ? 1 : 97) {
            const std::string message = varied(size);
            const kr_platform_testing::Guarded_Memory memory(size, end);
            std::memcpy(memory.data(), message.data(), size);
            cSHA256 hash;
            hash.input(memory.data(), static_cast<unsigned>(size));
            ASSERT_EQ(digest_of(message), digest_of(hash)) << size;
        }
}

TEST(SHA256, EverySplitIntoTwoPiecesGivesTheSameDigest)
{
    const std::string message = varied(200);
    const std::string expected = model_digest(message, 1600);
    for (std::size_t at = 0; at <= message.size(); ++at) {
        cSHA256 hash;
        feed(hash, message.substr(0, at));
        feed(hash, message.substr(at));
        EXPECT_EQ(expected, digest_of(hash)) << at;
    }
}

TEST(SHA256, PiecesOfEverySizeGiveTheSameDigest)
{
    const std::string message = varied(1000);
    const std::string expected = model_digest(message, 8000);
    for (std::size_t size = 1; size <= 200; ++size) {
        cSHA256 hash;
        for (std::size_t at = 0; at < message.size(); at += size)
            feed(hash, message.substr(at, size));
        EXPECT_EQ(expected, digest_of(hash)) << size;
    }
}

TEST(SHA256, NullAndNoBytesChangeNothing)
{
    const unsigned char* const no_bytes = nullptr;
    const char* const no_text = nullptr;
    const wchar_t* const no_wide_text = nullptr;
    cSHA256 hash;
    hash << "ab" << no_text << no_wide_text << "" << L"";
    hash.input(no_bytes, 0);
    hash.input(no_bytes, 100);
    hash.input(bytes_of("x"), 0);
    hash << "c";
    EXPECT_EQ("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD", digest_of(hash));
    hash << no_text << L"" << "";
    hash.input(no_bytes, 100);
    EXPECT_EQ("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD", digest_of(hash))
        << "nor afterwards";
}

TEST(SHA256, TextsAreFedWithoutTheirZero)
{
    cSHA256 hash;
    cSHA256& result = hash << "a";
    EXPECT_EQ(&hash, &result);
    hash << "bc";
    EXPECT_EQ("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD", digest_of(hash));
    hash.reset();
    hash << "\xFF\x80";
    hash.input(bytes_of("\0\x7F"s), 2);
    EXPECT_EQ("AE72D4FB6B85AA8FE2F5FC339CC306F67280357B1B8C583C55EBE725646449A6", digest_of(hash));
}

TEST(SHA256, WideTextsAreFedAsTwoBytesLowOneFirst)
{
    EXPECT_EQ(digest_of("A\0"s), digest_of(L"A"));
    EXPECT_EQ("E61C21CA716B3B1AEFB7D1198F83679C4CA4D596E5792275DD6203B49216237D", digest_of(L"A"));
    // K, a with diaeresis, euro sign
    EXPECT_EQ("C5C94991D094C8E9E0FAA15828BC1C6C22EA703B0FFE381BB3BCAC8E3494D48A",
              digest_of(L"K\u00e4\u20ac"));
    cSHA256 hash;
    cSHA256& result = hash << L"K";
    EXPECT_EQ(&hash, &result);
    hash << L"\u00e4" << L"\u20ac";
    EXPECT_EQ("C5C94991D094C8E9E0FAA15828BC1C6C22EA703B0FFE381BB3BCAC8E3494D48A", digest_of(hash));
}

TEST(SHA256, WideCharactersBeyondTheBasicPlaneAreFedAsSurrogates)
{
    EXPECT_EQ("4F01515531D5A492BAD7314BB695A5D36866B8074EE8260FEEE96E4591BDBF68",
              digest_of(L"\U0001F600a\U0010FFFF\U00010000"));
    EXPECT_EQ(digest_of("\x3D\xD8\x00\xDE"s), digest_of(L"\U0001F600"));
}

TEST(SHA256, LongWideTexts)
{
    std::wstring text;
    for (int i = 0; i < 500; ++i)
        text += L"x\u20ac";
    EXPECT_EQ("A700FA9F83D0E415064F4A8BFC6AEF49A481A94419D09872083324CEC8BFC7AC",
              digest_of(text.c_str()));
    text.clear();
    for (int i = 0; i < 300; ++i)
        text += L"\U0001F600";
    EXPECT_EQ("7BAA60E5D1D6F1E83FF6ECF970EDC8557B0D09A57B3A6EB0334133A72D05392D",
              digest_of(text.c_str()));
    EXPECT_EQ("5A1A3F1FE20188D1061678BBA980433F1465217F2CDDFB87B48274F5A93C72CF",
              digest_of((L"x" + text).c_str()));
}

TEST(SHA256, WideTextsOfEveryLength)
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

TEST(SHA256, NumbersThatAreNoCharactersAreFedWithTheirLow16Bits)
{
    if constexpr (sizeof(wchar_t) == 4) {
        const wchar_t too_large[] = {static_cast<wchar_t>(0x111200), 0};
        EXPECT_EQ("C493F6F146685F76B44F0C77CA88120CB8BC89F534FE69B6828827B974E68849",
                  digest_of(too_large));
    }
    const wchar_t all_bits[] = {static_cast<wchar_t>(-1), 0};
    EXPECT_EQ("CA2FD00FA001190744C15C317643AB092E7048CE086A243E2BE9437C898DE1BB",
              digest_of(all_bits));
}

TEST(SHA256, TheDigestCanBeAskedForAgainInEitherForm)
{
    cSHA256 hash;
    hash << "abc";
    std::string text;
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD",
                  digest_of(hash));
        EXPECT_TRUE(hash.computeHash(text));
        EXPECT_EQ("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD", text);
    }
}

TEST(SHA256, FeedingAfterTheDigestRefusesUntilReset)
{
    cSHA256 hash;
    hash << "abc";
    digest_of(hash);
    hash << "d";
    expect_refused(hash);
    hash << "e";
    expect_refused(hash);
    hash.reset();
    hash << "abc";
    EXPECT_EQ("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD", digest_of(hash));

    hash << L"d";
    expect_refused(hash);
    hash.reset();
    digest_of(hash);
    hash.input(bytes_of("d"), 1);
    expect_refused(hash);
}

TEST(SHA256, ResetForgetsAMessageHalfFed)
{
    cSHA256 hash;
    feed(hash, varied(100));
    hash.reset();
    hash << "abc";
    EXPECT_EQ("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD", digest_of(hash));
}

TEST(SHA256, CopiesGoOnByThemselves)
{
    cSHA256 first;
    first << "a";
    cSHA256 second(first);
    second << "bc";
    cSHA256 third;
    third << "something else";
    third = first;
    third << "bc";
    EXPECT_EQ("CA978112CA1BBDCAFAC231B39A23DC4DA786EFF8147C4E72B9807785AFEE48BB", digest_of(first));
    EXPECT_EQ("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD",
              digest_of(second));
    EXPECT_EQ("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD", digest_of(third));
    second << "d";
    cSHA256 refused(second);
    expect_refused(refused);
}

TEST(SHA256_Slow, TheLengthCarriesIntoItsHighWord)
{
    const std::vector<unsigned char> zeros(std::size_t{1} << 22);
    cSHA256 hash;
    for (int i = 0; i < 128; ++i)
        hash.input(zeros.data(), static_cast<unsigned>(zeros.size()));
    cSHA256 longer(hash);
    EXPECT_EQ("9ACCA8E8C22201155389F65ABBF6BC9723EDC7384EAD80503839F49DCC56D767", digest_of(hash))
        << "2^32 bits";
    longer << "a";
    EXPECT_EQ("C1E47FA620757BD28F17DA6B919904743C7F4C28C9222E5889DD517E979F94E4",
              digest_of(longer));
}

TEST(SHA256, BothWordsOfTheLengthEndTheMessage)
{
    for (const std::uint64_t before :
         {std::uint64_t{0xFFFFFFE8}, std::uint64_t{0xFFFFFFF0}, std::uint64_t{0x12345678FFFFFFF8},
          std::uint64_t{0xFEDCBA9876543210}, std::uint64_t{0xFFFFFFFFFFFFFFE0}}) {
        cSHA256 hash;
        set_length(hash, before);
        hash << "abc";
        EXPECT_EQ(model_digest("abc", before + 24), digest_of(hash)) << before;
    }
}

TEST(SHA256, AMessageThatIsTooLongRefusesUntilReset)
{
    constexpr std::uint64_t longest = 0xFFFFFFFFFFFFFFF8;
    cSHA256 hash;
    set_length(hash, longest - 8);
    hash << "a";
    cSHA256 just_fits(hash);
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
    EXPECT_EQ("BA7816BF8F01CFEA414140DE5DAE2223B00361A396177A9CB410FF61F20015AD", digest_of(hash));
}

TEST(SHA256, CanBeDerivedFromAndDeletedThroughItsBase)
{
    struct Counted : cSHA256 {
        explicit Counted(int& count_in) : count(count_in) {}
        ~Counted() override { ++count; }
        int& count;
    };
    int count = 0;
    const cSHA256* const hash = new Counted(count);
    delete hash;
    EXPECT_EQ(1, count);
}

} // namespace

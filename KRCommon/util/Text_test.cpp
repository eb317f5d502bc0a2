#include <KRCommon/util/Text.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <locale>
#include <new>
#include <random>
#include <regex>
#include <string>
#include <thread>
#include <vector>

namespace {

using Texts = std::vector<std::string>;

std::string hex(std::vector<unsigned char> bytes)
{
    return kr_to_string(bytes.data(), static_cast<unsigned>(bytes.size()));
}

TEST(KrHexText, HasTwoUpperCaseDigitsPerByte)
{
    EXPECT_EQ("0AFF", hex({0x0A, 0xFF}));
    EXPECT_EQ("00", hex({0x00}));
    EXPECT_EQ("0123456789ABCDEF", hex({0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}));
}

TEST(KrHexText, OfNothingIsEmpty)
{
    EXPECT_EQ("", kr_to_string(nullptr, 0));
    EXPECT_EQ("", hex({}));
}

TEST(KrHexText, OfEveryByteAtEveryPlace)
{
    const std::string digits = "0123456789ABCDEF";
    for (unsigned length = 1; length <= 70; ++length) {
        for (unsigned first = 0; first < 256; first += 7) {
            std::vector<unsigned char> bytes;
            std::string expected;
            for (unsigned index = 0; index < length; ++index) {
                const unsigned byte = (first + index * 37) % 256;
                bytes.push_back(static_cast<unsigned char>(byte));
                expected += digits[byte / 16];
                expected += digits[byte % 16];
            }
            ASSERT_EQ(expected, hex(bytes));
        }
    }
}

TEST(KrHexText, ReadsLengthBytesOnly)
{
    unsigned char bytes[] = {0x12, 0x34, 0x56};
    EXPECT_EQ("1234", kr_to_string(bytes, 2));
}

Texts split(const std::string& text, const std::string& delimiter, Texts out = {})
{
    kr_split(out, text, delimiter);
    return out;
}

TEST(KrSplit, EmptyTextGivesOneEmptyPiece)
{
    EXPECT_EQ((Texts{""}), split("", ","));
    EXPECT_EQ((Texts{"a", ""}), split("", ",", {"a"}));
}

TEST(KrSplit, AppendsToWhatIsThere)
{
    EXPECT_EQ((Texts{"x", "y", "a", "b"}), split("a,b", ",", {"x", "y"}));
}

TEST(KrSplit, KeepsEmptyPieces)
{
    EXPECT_EQ((Texts{"a", "", "b"}), split("a,,b", ","));
    EXPECT_EQ((Texts{"a", ""}), split("a,", ","));
    EXPECT_EQ((Texts{"", "a"}), split(",a", ","));
    EXPECT_EQ((Texts{"", ""}), split(",", ","));
    EXPECT_EQ((Texts{"", "", "", ""}), split(",,,", ","));
}

TEST(KrSplit, WithoutTheDelimiterGivesTheWholeText)
{
    EXPECT_EQ((Texts{"a;b"}), split("a;b", ","));
    EXPECT_EQ((Texts{"ab"}), split("ab", "abc"));
}

TEST(KrSplit, ComparesTheWholeDelimiterWithRegardToCase)
{
    EXPECT_EQ((Texts{"1", "2", "3and"}), split("1AND2AND3and", "AND"));
    EXPECT_EQ((Texts{"a,b", "c"}), split("a,b, c", ", "));
    EXPECT_EQ((Texts{"", ""}), split("AND", "AND"));
}

TEST(KrSplit, ContinuesBehindTheDelimiter)
{
    EXPECT_EQ((Texts{"", "a"}), split("aaa", "aa"));
    EXPECT_EQ((Texts{"", "", ""}), split("aaaa", "aa"));
    EXPECT_EQ((Texts{"x", "bax"}), split("xababax", "aba"));
}

TEST(KrSplit, EmptyDelimiterGivesTheWholeText)
{
    EXPECT_EQ((Texts{"abc"}), split("abc", ""));
    EXPECT_EQ((Texts{"x", ""}), split("", "", {"x"}));
}

TEST(KrSplit, TakesZeroBytesAndHighBytesAsTheyAre)
{
    const std::string zero(1, '\0');
    EXPECT_EQ((Texts{"a", "b"}), split("a" + zero + "b", zero));
    EXPECT_EQ((Texts{"a" + zero, "b"}), split("a" + zero + ",b", ","));
    EXPECT_EQ((Texts{"\xD0", "\xD1\xD0"}), split("\xD0\xFF\xD1\xD0", "\xFF"));
}

TEST(KrSplit, TakesTextAndDelimiterFromTheVectorItself)
{
    for (const std::size_t capacity : {2, 100}) {
        Texts out = {"a,b,a long piece that needs memory of its own,d", ","};
        out.reserve(capacity);
        const Texts expected = {out[0], ",", "a", "b", "a long piece that needs memory of its own",
                                "d"};
        kr_split(out, out[0], out[1]);
        EXPECT_EQ(expected, out) << capacity;
    }
    Texts only = {"text"};
    kr_split(only, only[0], only[0]);
    EXPECT_EQ((Texts{"text", "", ""}), only);
    Texts whole = {"a long text that needs memory of its own", ""};
    kr_split(whole, whole[0], whole[1]);
    EXPECT_EQ((Texts{whole[0], "", whole[0]}), whole);
}

// A vector of so many is given back to the system when it moves.
TEST(KrSplit, TakesTextAndDelimiterFromALargeVectorItself)
{
    Texts out(1'500'000, "a,b");
    out.back() = ",";
    out.shrink_to_fit();
    const std::size_t size = out.size();
    kr_split(out, out[size / 2], out[size - 1]);
    ASSERT_EQ(size + 2, out.size());
    EXPECT_EQ("a", out[size]);
    EXPECT_EQ("b", out[size + 1]);
}

TEST(KrSplit, OfManyPiecesJoinedIsTheText)
{
    std::mt19937 random(1);
    for (const std::string delimiter : {",", "ab", "aa"}) {
        for (int round = 0; round < 2'000; ++round) {
            std::string text;
            for (auto length = random() % 100; length > 0; --length)
                text += "ab,x"[random() % 4];
            const Texts pieces = split(text, delimiter);
            std::string joined = pieces.at(0);
            EXPECT_EQ(std::string::npos, pieces[0].find(delimiter));
            for (std::size_t index = 1; index < pieces.size(); ++index) {
                joined += delimiter + pieces[index];
                EXPECT_EQ(std::string::npos, pieces[index].find(delimiter));
            }
            ASSERT_EQ(text, joined);
        }
    }
}

TEST(KrSplit, CallByCallGrowsTheVectorByDoubling)
{
    Texts out;
    int growths = 0;
    for (int call = 0; call < 10'000; ++call) {
        const std::size_t capacity = out.capacity();
        kr_split(out, "a,b", ",");
        growths += out.capacity() != capacity ? 1 : 0;
    }
    EXPECT_EQ(20'000U, out.size());
    EXPECT_LT(growths, 20);
}

std::string lowered(std::string text)
{
    to_lower(text);
    return text;
}

TEST(ToLower, TurnsAToZIntoLowerCase)
{
    EXPECT_EQ("", lowered(""));
    EXPECT_EQ("abcdefghijklmnopqrstuvwxyz", lowered("ABCDEFGHIJKLMNOPQRSTUVWXYZ"));
    EXPECT_EQ("mixed case, 123", lowered("MiXeD CaSe, 123"));
}

TEST(ToLower, LeavesEveryOtherByteAtEveryPlace)
{
    for (std::size_t length = 1; length <= 40; ++length) {
        for (unsigned byte = 0; byte < 256; ++byte) {
            const bool is_capital = byte >= 65 && byte <= 90;
            const std::string text(length, static_cast<char>(byte));
            const std::string expected(length, static_cast<char>(is_capital ? byte + 32 : byte));
            ASSERT_EQ(expected, lowered(text)) << byte;
        }
    }
}

TEST(ToLower, LeavesUtf8AndZeroBytes)
{
    EXPECT_EQ("\xD0\x90\xC3\x84z", lowered("\xD0\x90\xC3\x84Z"));
    const std::string zero(1, '\0');
    EXPECT_EQ("a" + zero + "b", lowered("A" + zero + "B"));
    EXPECT_EQ("@[`{", lowered("@[`{"));
}

TEST(KrIsPrefixMatch, IsTrueWhenTheTextBeginsWithAPiece)
{
    for (const char* separator : {",", "[,]"}) {
        EXPECT_TRUE(kr_is_prefix_match("cam,mic", "camera", separator));
        EXPECT_TRUE(kr_is_prefix_match("cam,mic", "micro", separator));
        EXPECT_TRUE(kr_is_prefix_match("cam,mic", "cam", separator));
        EXPECT_FALSE(kr_is_prefix_match("cam,mic", "ca", separator));
        EXPECT_FALSE(kr_is_prefix_match("cam,mic", "Camera", separator));
        EXPECT_FALSE(kr_is_prefix_match("cam,mic", "a camera", separator));
        EXPECT_FALSE(kr_is_prefix_match("cam,mic", "", separator));
    }
}

TEST(KrIsPrefixMatch, OfAListWithoutSeparatorTakesItAsOnePiece)
{
    for (const char* separator : {",", "[,]"}) {
        EXPECT_TRUE(kr_is_prefix_match("cam", "camera", separator));
        EXPECT_FALSE(kr_is_prefix_match("cam;mic", "camera", separator));
    }
}

TEST(KrIsPrefixMatch, OfAnEmptyListIsFalse)
{
    for (const char* separator : {",", "[,]", "", "x*"}) {
        EXPECT_FALSE(kr_is_prefix_match("", "text", separator)) << separator;
        EXPECT_FALSE(kr_is_prefix_match("", "", separator)) << separator;
    }
}

TEST(KrIsPrefixMatch, QuirkAnEmptyPieceFitsEveryText)
{
    for (const char* separator : {",", "[,]"}) {
        EXPECT_TRUE(kr_is_prefix_match("a,,b", "text", separator));
        EXPECT_TRUE(kr_is_prefix_match(",a", "text", separator));
        EXPECT_TRUE(kr_is_prefix_match(",a", "", separator));
        EXPECT_TRUE(kr_is_prefix_match(",", "text", separator));
    }
    EXPECT_TRUE(kr_is_prefix_match("abc", "text", ""));
}

TEST(KrIsPrefixMatch, QuirkAnEmptyLastPieceIsNone)
{
    for (const char* separator : {",", "[,]"}) {
        EXPECT_FALSE(kr_is_prefix_match("a,", "text", separator));
        EXPECT_FALSE(kr_is_prefix_match("a,b,", "text", separator));
        EXPECT_TRUE(kr_is_prefix_match("a,b,", "b text", separator));
    }
}

TEST(KrIsPrefixMatch, TakesTheSeparatorAsAnExpression)
{
    EXPECT_TRUE(kr_is_prefix_match("cam; mic,key", "micro", "[,;] *"));
    EXPECT_TRUE(kr_is_prefix_match("cam; mic,key", "keyboard", "[,;] *"));
    EXPECT_FALSE(kr_is_prefix_match("cam; mic,key", "; mic", "[,;] *"));
    EXPECT_TRUE(kr_is_prefix_match("cam12mic", "micro", "\\d+"));
    EXPECT_TRUE(kr_is_prefix_match("cam.mic", "micro", "\\."));
    EXPECT_TRUE(kr_is_prefix_match("cam.mic", "text", ".")); // any character
    EXPECT_TRUE(kr_is_prefix_match("a|b", "b", "\\|"));
    EXPECT_TRUE(kr_is_prefix_match("a and b or c", "c", " and | or "));
    EXPECT_TRUE(kr_is_prefix_match("a--b", "b", "--"));
    EXPECT_FALSE(kr_is_prefix_match("aANDb", "b", "and"));
}

TEST(KrIsPrefixMatch, LetsTheErrorOfABadExpressionOut)
{
    for (const char* separator : {"[", "(", "*", "a{2", "\\", "(?x)"}) {
        EXPECT_THROW(static_cast<void>(kr_is_prefix_match("a,b", "a", separator)), std::regex_error)
            << separator;
        EXPECT_THROW(static_cast<void>(kr_is_prefix_match("", "a", separator)), std::regex_error)
            << separator;
    }
}

bool match_by_expression(const std::string& list, const std::string& text,
                         const std::string& separator)
{
    const std::regex expression(separator);
    std::sregex_token_iterator piece(list.begin(), list.end(), expression, -1);
    for (const std::sregex_token_iterator end; piece != end; ++piece) {
        const std::string prefix = *piece;
        if (text.compare(0, prefix.size(), prefix) == 0)
            return true;
    }
    return false;
}

TEST(KrIsPrefixMatch, WithAPlainSeparatorIsWhatTheExpressionGives)
{
    // No special characters: these are looked for without an expression.
    const std::string separators[] = {",",    ";",   " ",   "ab",      "aa",  "aba",
                                      "-",    "/",   "a-b", "\n",      "\t",  "\xD0\xB6",
                                      "\xFF", "\"'", "<>",  "=:!@#%&", "~`_", "b"};
    const std::string zero(1, '\0');
    std::mt19937 random(1);
    const auto any = [&](const std::string& characters, unsigned most) {
        std::string text;
        for (auto length = random() % (most + 1); length > 0; --length)
            text += characters[random() % characters.size()];
        return text;
    };
    int matches = 0;
    int rounds = 0;
    for (const std::string& separator : separators) {
        for (int round = 0; round < 1'000; ++round) {
            std::string list;
            for (auto pieces = random() % 5; pieces > 0; --pieces)
                list += any("ab\xD0\xB6" + zero, 4) + (random() % 4 == 0 ? "" : separator);
            const std::string text = any("ab\xD0\xB6" + zero, 6);
            if (list.empty()) // no pieces, where an iterator gives an empty one
                continue;
            const bool expected = match_by_expression(list, text, separator);
            ASSERT_EQ(expected, kr_is_prefix_match(list, text, separator))
                << '[' << list << "] [" << text << "] [" << separator << ']';
            matches += expected ? 1 : 0;
            ++rounds;
        }
    }
    EXPECT_GT(matches, rounds / 10);
    EXPECT_LT(matches, rounds * 9 / 10);
}

TEST(KrIsPrefixMatch, TakesAZeroByteInTheSeparator)
{
    const std::string zero(1, '\0');
    EXPECT_EQ(match_by_expression("a" + zero + "b", "b", zero),
              kr_is_prefix_match("a" + zero + "b", "b", zero));
}

// About a MiB of pieces; the text fits the last one only.
std::string long_list(const std::string& separator)
{
    std::string list;
    while (list.size() < (1U << 20))
        list += "piece" + separator;
    return list + "last";
}

TEST(KrIsPrefixMatch, TakesAListOfAMebibyte)
{
    const struct {
        const char* in_list;
        const char* separator;
    } rows[] = {{",", ","}, {",", "[,;]"}, {" ; ", " *[,;] *"}, {"--", "--"}, {"--", "-{2}"}};
    for (const auto& row : rows) {
        const std::string list = long_list(row.in_list);
        EXPECT_TRUE(kr_is_prefix_match(list, "last one", row.separator)) << row.separator;
        EXPECT_FALSE(kr_is_prefix_match(list, "none", row.separator)) << row.separator;
    }
    EXPECT_TRUE(kr_is_prefix_match(std::string(1U << 20, 'x'), std::string(1U << 20, 'x'), "[,;]"));
    EXPECT_FALSE(kr_is_prefix_match(std::string(1U << 20, 'x'), "x", "[,;]"));
}

TEST(KrIsPrefixMatch, MayBeCalledWithExpressionsFromManyThreads)
{
    const std::string zero(1, '\0');
    const std::string separators[] = {"[,;]", ",|;", "\\W", "[[:punct:]]", "\\b,", "[,;]|" + zero};
    const auto match = [&] {
        for (int round = 0; round < 50; ++round)
            for (const std::string& separator : separators) {
                EXPECT_TRUE(kr_is_prefix_match("cam,mic", "camera", separator)) << separator;
                EXPECT_FALSE(kr_is_prefix_match("cam,mic", "text", separator)) << separator;
            }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back(match);
    for (std::thread& thread : threads)
        thread.join();
}

// Knows "#" as punctuation and no other class of any character.
class Odd_Ctype : public std::ctype<char> {
public:
    Odd_Ctype() : std::ctype<char>(odd_table()) {}

private:
    static const mask* odd_table()
    {
        static mask table[table_size] = {};
        table[static_cast<unsigned char>('#')] = punct;
        return table;
    }
};

TEST(KrIsPrefixMatch, TakesCharactersByTheGlobalLocale)
{
    EXPECT_TRUE(kr_is_prefix_match("a#b,c", "c", "[[:punct:]]"));
    const std::locale before = std::locale::global(std::locale(std::locale(), new Odd_Ctype));
    EXPECT_FALSE(kr_is_prefix_match("a#b,c", "c", "[[:punct:]]"));
    EXPECT_TRUE(kr_is_prefix_match("a#b,c", "b,c", "[[:punct:]]"));
    std::locale::global(before);
    EXPECT_TRUE(kr_is_prefix_match("a#b,c", "c", "[[:punct:]]"));
}

// More than a text can hold; no byte of the data is looked at.
TEST(KrToString, OfMoreBytesThanATextCanShowIsALackOfMemory)
{
    unsigned char byte = 0;
    if (std::uint64_t{2} * 0xFFFF'FFFFU <= std::string().max_size())
        GTEST_SKIP() << "a text can be that long here";
    for (const unsigned length :
         {0x2000'0000U, 0x7FFF'FFFFU, 0x8000'0000U, 0x8000'0001U, 0xFFFF'FFFFU})
        EXPECT_THROW(static_cast<void>(kr_to_string(&byte, length)), std::bad_alloc) << length;
}

} // namespace

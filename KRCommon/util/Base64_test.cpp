#include <KRCommon/util/Base64.h>

#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Temp_Folder.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

namespace {

using kr_platform_testing::Guarded_Memory;

using namespace std::string_literals;

std::string encode(const std::string& bytes, bool line_breaks = false)
{
    std::string text = "what was there before";
    KR_Base64::encode(bytes, text, line_breaks);
    return text;
}

std::string decode(const std::string& text)
{
    std::string bytes = "what was there before";
    KR_Base64::decode(text, bytes);
    return bytes;
}

unsigned count_of(const std::string& text)
{
    unsigned count = 4711;
    KR_Base64::decode(text, nullptr, count);
    return count;
}

// Through a buffer without a byte to spare, for the sanitizer to see.
std::string decode_to_buffer(const std::string& text)
{
    const unsigned room = count_of(text);
    const std::unique_ptr<unsigned char[]> buffer(new unsigned char[room]);
    unsigned count = 0;
    KR_Base64::decode(text, buffer.get(), count);
    EXPECT_EQ(room, count) << text;
    return {reinterpret_cast<const char*>(buffer.get()), std::min(room, count)};
}

// Into a buffer of any size, with what was there before behind the bytes that were written.
struct Bounded_Result {
    bool fits;
    std::size_t length;
    std::string buffer;
};

constexpr unsigned char untouched = 0xEE;

Bounded_Result decode_bounded(const std::string& text, const Guarded_Memory& memory,
                              std::size_t capacity)
{
    std::fill_n(memory.data(), capacity, untouched);
    Bounded_Result result{};
    result.length = 4711;
    result.fits = KR_Base64::decode(text, memory.data(), capacity, result.length);
    result.buffer.assign(memory.data(), memory.data() + capacity);
    return result;
}

std::string every_byte_three_times()
{
    std::string bytes;
    for (int i = 0; i < 768; ++i)
        bytes += static_cast<char>(i * 7);
    return bytes;
}

// The rules character by character.
namespace model {

constexpr std::string_view alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::string encode(std::string_view bytes, bool line_breaks)
{
    std::string text;
    std::size_t characters = 0;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        if (line_breaks && characters > 0 && characters % 76 == 0)
            text += '\n';
        unsigned byte[3] = {0, 0, 0};
        const std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
        for (std::size_t k = 0; k < count; ++k)
            byte[k] = static_cast<unsigned char>(bytes[i + k]);
        text += alphabet[byte[0] >> 2];
        text += alphabet[(byte[0] & 3) << 4 | byte[1] >> 4];
        text += count > 1 ? alphabet[(byte[1] & 15) << 2 | byte[2] >> 6] : '=';
        text += count > 2 ? alphabet[byte[2] & 63] : '=';
        characters += 4;
    }
    return text;
}

unsigned value(char character)
{
    const std::size_t at = alphabet.find(character);
    return at == std::string_view::npos ? 0 : static_cast<unsigned>(at);
}

std::string decode(std::string_view text)
{
    std::string bytes;
    while (true) {
        while (!text.empty() && (text[0] == '\r' || text[0] == '\n'))
            text.remove_prefix(1);
        if (text.empty())
            return bytes;
        std::string group(text.substr(0, 4));
        text.remove_prefix(group.size());
        group.resize(4, '=');
        unsigned r[4];
        for (std::size_t i = 0; i < 4; ++i)
            r[i] = value(group[i]);
        bytes += static_cast<char>((r[0] << 2) ^ ((r[1] >> 4) & 3));
        if (group[2] != '=')
            bytes += static_cast<char>(((r[1] << 4) & 255) ^ ((r[2] >> 2) & 15));
        if (group[3] != '=')
            bytes += static_cast<char>(((r[2] << 6) + r[3]) & 255);
    }
}

} // namespace model

struct Vector {
    const char* bytes;
    const char* text;
};

// RFC 4648, section 10, and two that fill a word and more.
constexpr Vector vectors[] = {
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
    {"M", "TQ=="},
    {"Ma", "TWE="},
    {"Man", "TWFu"},
    {"light work.", "bGlnaHQgd29yay4="},
    {"any carnal pleasure.", "YW55IGNhcm5hbCBwbGVhc3VyZS4="},
};

TEST(Base64, EncodesTheStandardsVectors)
{
    for (const Vector& vector : vectors)
        EXPECT_EQ(vector.text, encode(vector.bytes));
}

TEST(Base64, DecodesTheStandardsVectors)
{
    for (const Vector& vector : vectors) {
        EXPECT_EQ(vector.bytes, decode(vector.text));
        EXPECT_EQ(vector.bytes, decode_to_buffer(vector.text));
        EXPECT_EQ(std::strlen(vector.bytes), count_of(vector.text));
        EXPECT_EQ(std::strlen(vector.bytes), KR_Base64::decode_length(vector.text));
    }
}

TEST(Base64, TablesHoldTheAlphabetAndItsReverse)
{
    EXPECT_STREQ("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/",
                 KR_Base64::bstr);
    ASSERT_EQ(128U, KR_Base64::rstr.size());
    EXPECT_EQ(0, KR_Base64::rstr['A']);
    EXPECT_EQ(25, KR_Base64::rstr['Z']);
    EXPECT_EQ(26, KR_Base64::rstr['a']);
    EXPECT_EQ(51, KR_Base64::rstr['z']);
    EXPECT_EQ(52, KR_Base64::rstr['0']);
    EXPECT_EQ(61, KR_Base64::rstr['9']);
    EXPECT_EQ(62, KR_Base64::rstr['+']);
    EXPECT_EQ(63, KR_Base64::rstr['/']);
    for (std::size_t code = 0; code < 128; ++code)
        EXPECT_EQ(model::value(static_cast<char>(code)),
                  static_cast<unsigned>(KR_Base64::rstr[code]))
            << code;
}

TEST(Base64, BytesAreUnsignedInEveryForm)
{
    const std::string bytes("\x80\xFF\x00\xFE\x7F", 5);
    const char* const text = "gP8A/n8=";
    EXPECT_EQ(text, encode(bytes));
    std::string out;
    KR_Base64::encode(bytes.data(), 5U, out, false);
    EXPECT_EQ(text, out);
    unsigned char data[] = {0x80, 0xFF, 0x00, 0xFE, 0x7F};
    KR_Base64::encode(data, 5U, out, false);
    EXPECT_EQ(text, out);
    EXPECT_EQ(bytes, decode(text));
}

TEST(Base64, NullAndNoBytesGiveTheEmptyText)
{
    const char* const no_text = nullptr;
    unsigned char* const no_bytes = nullptr;
    for (const unsigned length : {0U, 1U, 3U, 100U})
        for (const bool line_breaks : {false, true}) {
            std::string out = "before";
            KR_Base64::encode(no_text, length, out, line_breaks);
            EXPECT_EQ("", out);
            out = "before";
            KR_Base64::encode(no_bytes, length, out, line_breaks);
            EXPECT_EQ("", out);
        }
    std::string out = "before";
    KR_Base64::encode("abc", 0U, out, true);
    EXPECT_EQ("", out);
}

TEST(Base64, DecodingTheEmptyTextGivesNoBytes)
{
    EXPECT_EQ("", decode(""));
    EXPECT_EQ("", decode_to_buffer(""));
    EXPECT_EQ(0U, count_of(""));
}

TEST(Base64, ObjectsCanBeMadeAndCopied)
{
    const KR_Base64 first;
    KR_Base64 second(first);
    second = first;
    std::string out;
    second.encode("Ma"s, out, false);
    EXPECT_EQ("TWE=", out);
}

// Every input of one, two and three bytes, in the order of their texts.

TEST(Base64, EverySingleByteBothWays)
{
    for (unsigned i = 0; i < 256; ++i) {
        const std::string bytes(1, static_cast<char>(i));
        const std::string text{model::alphabet[i >> 2], model::alphabet[i << 4 & 63], '=', '='};
        ASSERT_EQ(text, encode(bytes));
        ASSERT_EQ(bytes, decode(text));
    }
}

TEST(Base64, EveryTwoBytesBothWays)
{
    for (unsigned i = 0; i < 65'536; ++i) {
        const std::string bytes{static_cast<char>(i >> 8), static_cast<char>(i)};
        const std::string text{model::alphabet[i >> 10], model::alphabet[i >> 4 & 63],
                               model::alphabet[i << 2 & 63], '='};
        ASSERT_EQ(text, encode(bytes));
        ASSERT_EQ(bytes, decode(text));
    }
}

// A quarter of all: those whose first byte's upper two bits are the parameter.
class Base64_Three_Bytes : public testing::TestWithParam<unsigned> {};

TEST_P(Base64_Three_Bytes, AloneBothWays)
{
    std::string text;
    std::string bytes;
    for (unsigned i = GetParam() << 22; i < (GetParam() + 1) << 22; ++i) {
        const char three[] = {static_cast<char>(i >> 16), static_cast<char>(i >> 8),
                              static_cast<char>(i)};
        KR_Base64::encode(three, 3U, text, false);
        const char four[] = {model::alphabet[i >> 18], model::alphabet[i >> 12 & 63],
                             model::alphabet[i >> 6 & 63], model::alphabet[i & 63]};
        ASSERT_TRUE(text.size() == 4 && std::memcmp(text.data(), four, 4) == 0) << i;
        KR_Base64::decode(text, bytes);
        ASSERT_TRUE(bytes.size() == 3 && std::memcmp(bytes.data(), three, 3) == 0) << i;
    }
}

TEST_P(Base64_Three_Bytes, InARowBothWays)
{
    std::string all;
    std::string expected;
    for (unsigned i = GetParam() << 22; i < (GetParam() + 1) << 22; ++i) {
        for (const unsigned shift : {16U, 8U, 0U})
            all += static_cast<char>(i >> shift);
        for (const unsigned shift : {18U, 12U, 6U, 0U})
            expected += model::alphabet[i >> shift & 63];
    }
    EXPECT_TRUE(expected == encode(all));
    EXPECT_TRUE(all == decode(expected));
}

INSTANTIATE_TEST_SUITE_P(Quarter, Base64_Three_Bytes, testing::Range(0U, 4U));

// Line breaks.

TEST(Base64, LinesBreakAfter76CharactersAndNotAtTheEnd)
{
    struct Row {
        std::size_t bytes;
        std::size_t characters;
        std::vector<std::size_t> breaks;
    };
    const Row rows[] = {{0, 0, {}},
                        {1, 4, {}},
                        {54, 72, {}},
                        {55, 76, {}},
                        {56, 76, {}},
                        {57, 76, {}},
                        {58, 81, {76}},
                        {60, 81, {76}},
                        {76, 105, {76}},
                        {77, 105, {76}},
                        {113, 153, {76}},
                        {114, 153, {76}},
                        {115, 158, {76, 153}},
                        {171, 230, {76, 153}},
                        {172, 235, {76, 153, 230}}};
    for (const Row& row : rows) {
        const std::string text = encode(std::string(row.bytes, 'a'), true);
        std::vector<std::size_t> breaks;
        for (std::size_t i = 0; i < text.size(); ++i)
            if (text[i] == '\n')
                breaks.push_back(i);
        EXPECT_EQ(row.characters, text.size()) << row.bytes;
        EXPECT_EQ(row.characters, std::strlen(text.c_str())) << "still with its terminator";
        EXPECT_EQ(row.breaks, breaks) << row.bytes;
    }
}

TEST(Base64, LineBreaksAreLineFeedsAlone)
{
    const std::string line = "YWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFh"
                             "YWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFh";
    EXPECT_EQ(line, encode(std::string(57, 'a'), true));
    EXPECT_EQ(line + "\nYQ==", encode(std::string(58, 'a'), true));
    EXPECT_EQ(line + "YQ==", encode(std::string(58, 'a'), false));
}

TEST(Base64, EveryLengthAgreesWithTheRulesInEveryForm)
{
    const std::string all = every_byte_three_times();
    for (std::size_t length = 0; length <= 400; ++length)
        for (const bool line_breaks : {false, true}) {
            const std::string bytes = all.substr(length / 2, length);
            // Exactly as large as the data, for the sanitizer to see.
            const std::unique_ptr<unsigned char[]> data(new unsigned char[length]);
            std::copy(bytes.begin(), bytes.end(), data.get());
            const std::string expected = model::encode(bytes, line_breaks);
            std::string out;
            KR_Base64::encode(data.get(), static_cast<unsigned>(length), out, line_breaks);
            ASSERT_EQ(expected, out);
            KR_Base64::encode(reinterpret_cast<const char*>(data.get()),
                              static_cast<unsigned>(length), out, line_breaks);
            ASSERT_EQ(expected, out);
            ASSERT_EQ(expected, encode(bytes, line_breaks));
            ASSERT_EQ(bytes, decode(expected));
            ASSERT_EQ(bytes, decode_to_buffer(expected));
        }
}

// Files.

struct Close_File {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

std::unique_ptr<std::FILE, Close_File> file_of(const std::string& bytes)
{
    std::unique_ptr<std::FILE, Close_File> file(std::tmpfile());
    if (file != nullptr) {
        std::fwrite(bytes.data(), 1, bytes.size(), file.get());
        std::rewind(file.get());
    }
    return file;
}

TEST(Base64, AFileIsReadToItsEnd)
{
    // The file is read by 14,592 bytes.
    for (const std::size_t size : {0U, 1U, 2U, 3U, 57U, 58U, 14'591U, 14'592U, 14'593U, 14'650U,
                                   16'384U, 29'184U, 29'185U, 100'000U}) {
        std::string bytes(size, '\0');
        for (std::size_t i = 0; i < size; ++i)
            bytes[i] = static_cast<char>(i * i >> 3);
        const auto file = file_of(bytes);
        ASSERT_NE(nullptr, file);
        for (const bool line_breaks : {false, true}) {
            std::rewind(file.get());
            std::string out = "before";
            KR_Base64::encode(file.get(), out, line_breaks);
            EXPECT_TRUE(model::encode(bytes, line_breaks) == out) << size;
            EXPECT_EQ(static_cast<long>(size), std::ftell(file.get())) << "still open";
        }
    }
}

TEST(Base64, AFileIsReadFromItsPosition)
{
    const auto file = file_of("xxMa");
    ASSERT_NE(nullptr, file);
    std::fseek(file.get(), 2, SEEK_SET);
    std::string out;
    KR_Base64::encode(file.get(), out, false);
    EXPECT_EQ("TWE=", out);
}

TEST(Base64, AFileMayReplaceALongerText)
{
    const auto file = file_of("Ma");
    ASSERT_NE(nullptr, file);
    std::string out(100'000, 'x');
    KR_Base64::encode(file.get(), out, true);
    EXPECT_EQ("TWE=", out);
}

TEST(Base64, AFileThatTellsNoSizeIsReadToItsEnd)
{
    for (const std::size_t size : {0U, 1U, 57U, 58U, 14'592U, 14'593U, 1'000'000U}) {
        std::string bytes(size, '\0');
        for (std::size_t i = 0; i < size; ++i)
            bytes[i] = static_cast<char>(i * i >> 3);
        const auto pipe = kr_platform_testing::open_pipe();
        ASSERT_NE(nullptr, pipe.reader);
        ASSERT_NE(nullptr, pipe.writer);
        std::thread writer([&] {
            std::fwrite(bytes.data(), 1, bytes.size(), pipe.writer);
            std::fclose(pipe.writer);
        });
        std::string out = "before";
        KR_Base64::encode(pipe.reader, out, true);
        writer.join();
        std::fclose(pipe.reader);
        EXPECT_TRUE(model::encode(bytes, true) == out) << size;
    }
}

// On Windows such a file gives fewer bytes than it has.
TEST(Base64, AFileOpenedAsTextGivesWhatTheRuntimeHandsOut)
{
    const Temp_Folder folder;
    const std::string path = folder.write("text", "a\r\nb\r\n\r\nc");
    std::unique_ptr<std::FILE, Close_File> file(std::fopen(path.c_str(), "r"));
    ASSERT_NE(nullptr, file);
    char bytes[100];
    const std::size_t size = std::fread(bytes, 1, sizeof bytes, file.get());
    std::rewind(file.get());
    std::string out;
    KR_Base64::encode(file.get(), out, false);
    EXPECT_EQ(model::encode({bytes, size}, false), out);
}

// Of zeros, which most file systems keep without taking room.
TEST(Base64_Slow, AFileOf350MillionBytesIsEncoded)
{
    constexpr std::size_t size = 350'000'000;
    const Temp_Folder folder;
    const std::string path = folder.write("zeros", "");
    std::error_code failure;
    std::filesystem::resize_file(path, size, failure);
    if (failure)
        GTEST_SKIP() << "no file of 350 MB here: " << failure.message();
    std::unique_ptr<std::FILE, Close_File> file(std::fopen(path.c_str(), "rb"));
    ASSERT_NE(nullptr, file);
    std::string out;
    ASSERT_NO_THROW(KR_Base64::encode(file.get(), out, true));
    constexpr std::size_t characters = (size + 2) / 3 * 4;
    ASSERT_EQ(characters + (characters - 1) / 76, out.size());
    const std::string line = std::string(76, 'A') + '\n';
    for (std::size_t at = 0; at + line.size() < out.size(); at += line.size())
        ASSERT_EQ(0, std::memcmp(line.data(), out.data() + at, line.size())) << at;
    EXPECT_EQ("AAA=", out.substr(out.size() - 4));
}

TEST(Base64, ANullFileGivesTheEmptyText)
{
    std::string out = "before";
    KR_Base64::encode(static_cast<std::FILE*>(nullptr), out, false);
    EXPECT_EQ("", out);
}

// One object as input and output.

TEST(Base64, AStringMayBeEncodedIntoItself)
{
    for (const std::size_t size : {2U, 14U, 57U, 58U, 1000U})
        for (const bool line_breaks : {false, true}) {
            const std::string bytes = every_byte_three_times().substr(0, size);
            std::string both = bytes;
            KR_Base64::encode(both, both, line_breaks);
            EXPECT_EQ(model::encode(bytes, line_breaks), both);
        }
}

TEST(Base64, PartOfAStringMayBeEncodedIntoIt)
{
    std::string both = "xxMan, more of it and then still more";
    KR_Base64::encode(both.data() + 2, 3U, both, false);
    EXPECT_EQ("TWFu", both);
}

TEST(Base64, ATextMayBeDecodedIntoItself)
{
    for (const std::size_t size : {2U, 14U, 57U, 58U, 700U}) {
        const std::string bytes = every_byte_three_times().substr(0, size);
        std::string both = model::encode(bytes, true);
        KR_Base64::decode(both, both);
        EXPECT_EQ(bytes, both);
    }
}

// Lenient decoding.

TEST(Base64, LineBreaksBetweenGroupsAreSkipped)
{
    for (const char* text : {"Zm9v\r\nYmFy", "Zm9v\nYmFy", "Zm9v\rYmFy", "\r\n\r\nZm9vYmFy",
                             "Zm9vYmFy\r\n", "\n\rZm9v\n\n\n\n\nYmFy\r\r\r\r\n"}) {
        EXPECT_EQ("foobar", decode(text)) << text;
        EXPECT_EQ("foobar", decode_to_buffer(text)) << text;
    }
    for (const char* text : {"\r", "\n", "\r\n", "\r\n\r\n\r\n\r\n\r\n"}) {
        EXPECT_EQ("", decode(text));
        EXPECT_EQ(0U, count_of(text));
    }
}

TEST(Base64, ALineBreakInsideAGroupCountsAsZero)
{
    EXPECT_EQ(decode("ZmAv"), decode("Zm\nv"));
    EXPECT_EQ(std::string("f`/", 3), decode("Zm\nv"));
    EXPECT_EQ(decode("ZAmv"), decode("Z\rmv"));
}

TEST(Base64, UnknownCharactersCountAsZero)
{
    EXPECT_EQ("\0\0\0"s, decode("    "));
    EXPECT_EQ("\0\0\0"s, decode("!*-_"));
    EXPECT_EQ("\0\0\0"s, decode("\0\0\0\0"s));
    EXPECT_EQ("\x64\x0F\xEF"s, decode("Z!/v"));
    for (unsigned code = 0; code < 256; ++code) {
        const auto character = static_cast<char>(code);
        if (code < 128 && model::alphabet.find(character) != std::string_view::npos)
            continue;
        const bool is_break = code == 10 || code == 13;
        if (!is_break) {
            ASSERT_EQ("\x03\xF0\x40"s, decode(character + "/BA"s)) << code;
        }
        ASSERT_EQ("\xFC\x00\x40"s, decode("/"s + character + "BA")) << code;
        if (code != '=') {
            ASSERT_EQ("\xFF\xF0\x01"s, decode("//"s + character + "B")) << code;
            ASSERT_EQ("\xFF\xFF\xC0"s, decode("///"s + character)) << code;
        }
    }
}

TEST(Base64, CodesAbove127CountAsZero)
{
    EXPECT_EQ("\0\0\0"s, decode("\x80\xC3\xA4\xFF"));
    EXPECT_EQ("\xFF\xF0\x01"s, decode("//\xFF"
                                      "B"));
}

TEST(Base64, PaddingCountsInTheThirdAndFourthPlaceOnly)
{
    struct Row {
        const char* text;
        std::string bytes;
    };
    const Row rows[] = {
        {"====", "\x00"s},         {"=///", "\x03\xFF\xFF"s},
        {"/=//", "\xFC\x0F\xFF"s}, {"//=/", "\xFF\x3F"s},
        {"///=", "\xFF\xFF"s},     {"//==", "\xFF"s},
        {"==//", "\x00\x0F\xFF"s}, {"TQ==TQ==", "MM"},
        {"TWE=TWFu", "MaMan"},     {"TQ==\nTWE=\n", "MMa"},
        {"========", "\x00\x00"s}, {"TWFuTQ==TWFuTWFuTWFu", "ManMManManMan"},
    };
    for (const Row& row : rows) {
        EXPECT_EQ(row.bytes, decode(row.text)) << row.text;
        EXPECT_EQ(row.bytes, decode_to_buffer(row.text)) << row.text;
    }
}

TEST(Base64, AShortLastGroupCountsAsPadded)
{
    struct Row {
        const char* text;
        const char* padded;
        std::string bytes;
    };
    const Row rows[] = {{"T", "T===", "L"},
                        {"TQ", "TQ==", "M"},
                        {"TWE", "TWE=", "Ma"},
                        {"TWFuT", "TWFuT===", "ManL"},
                        {"TWFuTQ", "TWFuTQ==", "ManM"},
                        {"TWFuTWFuTWE", "TWFuTWFuTWE=", "ManManMa"},
                        {"TWFu\nTWE", "TWFu\nTWE=", "ManMa"},
                        {"=", "====", "\0"s},
                        {"TQ=", "TQ==", "M"},
                        {"TW\n", "TW\n=", "M\x60"}};
    for (const Row& row : rows) {
        EXPECT_EQ(row.bytes, decode(row.text)) << row.text;
        EXPECT_EQ(row.bytes, decode(row.padded)) << row.text;
        EXPECT_EQ(row.bytes, decode_to_buffer(row.text)) << row.text;
    }
}

TEST(Base64, ANullBufferCountsOnly)
{
    EXPECT_EQ(2U, count_of("TWE="));
    EXPECT_EQ(1U, count_of("TQ=="));
    EXPECT_EQ(6U, count_of("Zm9v\r\nYmFy\r\n"));
    EXPECT_EQ(2U, count_of("TWE"));
}

TEST(Base64, DecodeLengthOfWholeGroups)
{
    EXPECT_EQ(2U, KR_Base64::decode_length("TWE="));
    EXPECT_EQ(1U, KR_Base64::decode_length("TQ=="));
    EXPECT_EQ(3U, KR_Base64::decode_length("TWFu"));
    EXPECT_EQ(6U, KR_Base64::decode_length("TWFuTWFu"));
    EXPECT_EQ(5U, KR_Base64::decode_length("TWFuTWE="));
    EXPECT_EQ(2U, KR_Base64::decode_length("TQ=u")) << "either place alone";
    EXPECT_EQ(0U, KR_Base64::decode_length(""));
}

TEST(Base64, DecodeLengthQuirkPartialGroupsGiveZero)
{
    EXPECT_EQ(0U, KR_Base64::decode_length("ABC"));
    EXPECT_EQ(0U, KR_Base64::decode_length("TWFuT"));
    EXPECT_EQ(2U, count_of("ABC"));
}

TEST(Base64, DecodeLengthQuirkLineBreaksAreCounted)
{
    EXPECT_EQ(0U, KR_Base64::decode_length("Zm9v\r\nYmFy"));
    EXPECT_EQ(9U, KR_Base64::decode_length("Zm9v\r\n\r\nYmFy"));
    EXPECT_EQ(6U, count_of("Zm9v\r\n\r\nYmFy"));
}

std::string random_text(std::mt19937& random, std::string_view characters, std::size_t size)
{
    std::string text;
    while (text.size() < size)
        text += characters[random() % characters.size()];
    return text;
}

void expect_model(const std::string& text)
{
    const std::string expected = model::decode(text);
    ASSERT_EQ(expected, decode(text)) << testing::PrintToString(text);
    ASSERT_EQ(expected, decode_to_buffer(text)) << testing::PrintToString(text);
}

TEST(Base64, RandomTextsAgreeWithTheRules)
{
    std::string any_byte;
    for (int code = 0; code < 256; ++code)
        any_byte += static_cast<char>(code);
    const std::string often_alphabet = std::string(model::alphabet) + "=\r\n \x80";
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same texts in every run
    for (std::size_t round = 0; round < 20'000; ++round) {
        const std::size_t size = round % 150;
        expect_model(random_text(random, any_byte, size));
        expect_model(random_text(random, often_alphabet, size));
        expect_model(random_text(random, "A/=\n\xFF", size));
    }
}

TEST(Base64, EveryPrefixOfATextAgreesWithTheRules)
{
    const std::string text = model::encode(every_byte_three_times(), true);
    for (std::size_t size = 0; size <= text.size(); ++size)
        expect_model(text.substr(0, size));
}

TEST(Base64, ABufferIsWrittenUpToItsLastByteOnly)
{
    const std::string text = "TWFuTWFuTWFuTWFu\nTWE=\n\n";
    std::vector<unsigned char> buffer(count_of(text) + 8, 0xEE);
    unsigned count = 0;
    KR_Base64::decode(text, buffer.data(), count);
    EXPECT_EQ(14U, count);
    EXPECT_EQ("ManManManManMa", std::string(buffer.begin(), buffer.begin() + 14));
    EXPECT_EQ(std::vector<unsigned char>(8, 0xEE),
              std::vector<unsigned char>(buffer.begin() + 14, buffer.end()));
}

// The room that a text needs.

TEST(Base64, DecodeLengthIsEnoughExactlyForMultiplesOfFour)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same texts in every run
    for (std::size_t round = 0; round < 50'000; ++round) {
        const std::size_t size = round % 40;
        const std::string text = random_text(random, "A/=\n\r", size);
        if (size % 4 == 0) {
            ASSERT_GE(KR_Base64::decode_length(text), count_of(text))
                << testing::PrintToString(text);
        } else {
            ASSERT_EQ(0U, KR_Base64::decode_length(text));
        }
        ASSERT_GE((text.size() + 3) / 4 * 3, count_of(text)) << testing::PrintToString(text);
    }
    EXPECT_EQ(0U, KR_Base64::decode_length("TWFuTWFuTWFuTWFuT"));
    EXPECT_EQ(13U, count_of("TWFuTWFuTWFuTWFuT"));
}

void expect_bounded(const std::string& text)
{
    const std::string expected = model::decode(text);
    for (std::size_t capacity = 0; capacity <= expected.size() + 4; ++capacity) {
        SCOPED_TRACE(testing::PrintToString(text) + " into " + std::to_string(capacity));
        const Guarded_Memory memory(capacity);
        const Bounded_Result result = decode_bounded(text, memory, capacity);
        ASSERT_EQ(expected.size(), result.length);
        ASSERT_EQ(expected.size() <= capacity, result.fits);
        std::string buffer = result.fits ? expected : "";
        buffer.resize(capacity, static_cast<char>(untouched));
        ASSERT_EQ(buffer, result.buffer);
    }
}

TEST(Base64, ABoundedBufferIsWrittenWhollyOrNotAtAll)
{
    for (std::size_t size = 0; size <= 40; ++size) {
        expect_bounded(std::string(size, 'T'));
        expect_bounded(std::string(size, '='));
        expect_bounded(std::string(size, '\n'));
        expect_bounded(std::string(size, '\xFF'));
        expect_bounded(std::string(size, '\n') + "TWFuTWE=");
    }
}

TEST(Base64, ABoundedBufferTakesAnyText)
{
    std::string any_byte;
    for (int code = 0; code < 256; ++code)
        any_byte += static_cast<char>(code);
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same texts in every run
    for (std::size_t round = 0; round < 100; ++round) {
        expect_bounded(random_text(random, any_byte, round % 50));
        expect_bounded(random_text(random, "A/=\n\xFF", round % 50));
    }
}

TEST(Base64, ABoundedBufferMayBeNull)
{
    std::size_t length = 4711;
    EXPECT_FALSE(KR_Base64::decode("TWE=", nullptr, 100, length));
    EXPECT_EQ(2U, length);
    EXPECT_TRUE(KR_Base64::decode("\r\n", nullptr, 0, length));
    EXPECT_EQ(0U, length);
}

// Without a byte to spare, at the end of the process's memory.
TEST(Base64, NoFormWritesBehindTheBytesOfTheText)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same texts in every run
    for (std::size_t size = 0; size < 200; ++size) {
        const std::string text = random_text(random, "TWFu/=\n", size);
        const Guarded_Memory memory(count_of(text));
        unsigned count = 0;
        KR_Base64::decode(text, memory.data(), count);
        ASSERT_EQ(model::decode(text), std::string(memory.data(), memory.data() + count));
    }
}

} // namespace

#include <KRCommon/util/Base64_Stream.h>

#include <KRCommon/platform/Platform_testing.h>
#include <KRCommon/util/Base64.h>
#include <tests/support/Temp_Folder.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace std::string_literals;
using kr_platform_testing::Guarded_End;
using kr_platform_testing::Guarded_Memory;

constexpr auto url_safe = KR_Base64_Alphabet::url_safe;
constexpr auto standard = KR_Base64_Alphabet::standard;
constexpr KR_Base64_Alphabet alphabets[] = {standard, url_safe};
constexpr char untouched = '\x7E';

std::vector<KR_Base64_Format> all_formats()
{
    std::vector<KR_Base64_Format> formats;
    for (const KR_Base64_Alphabet alphabet : alphabets)
        for (const bool padding : {true, false})
            for (const bool line_breaks : {false, true})
                formats.push_back({alphabet, padding, line_breaks});
    return formats;
}

std::string name_of(const KR_Base64_Format& format)
{
    return (format.alphabet == url_safe ? "URL"s : "standard"s) +
           (format.padding ? ", padding" : "") + (format.line_breaks ? ", lines" : "");
}

// All values of all groups come in long ones.
std::string varied(std::size_t size)
{
    std::mt19937 random(
        static_cast<std::uint32_t>(size)); // NOLINT(cert-msc51-cpp): the same always
    std::string bytes(size, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

// KR_Base64's text, and what the format makes of it.
std::string expected_text(const std::string& bytes, const KR_Base64_Format& format)
{
    std::string text;
    KR_Base64::encode(bytes, text, format.line_breaks);
    if (format.alphabet == url_safe) {
        std::replace(text.begin(), text.end(), '+', '-');
        std::replace(text.begin(), text.end(), '/', '_');
    }
    if (!format.padding)
        text.erase(std::min(text.find('='), text.size()));
    return text;
}

// KR_Base64's bytes of a text in either alphabet.
std::string expected_bytes(std::string text, KR_Base64_Alphabet alphabet)
{
    if (alphabet == url_safe)
        for (char& c : text) {
            constexpr std::string_view from = "-_+/";
            const std::size_t at = from.find(c);
            c = at == std::string_view::npos ? c : "+/!!"[at];
        }
    std::string bytes;
    KR_Base64::decode(text, bytes);
    return bytes;
}

std::string encoded(const std::string& bytes, const KR_Base64_Format& format)
{
    std::string text(static_cast<std::size_t>(kr_base64_size(bytes.size(), format)), untouched);
    std::size_t size = 0;
    EXPECT_TRUE(
        kr_encode_base64(bytes.data(), bytes.size(), text.data(), text.size(), size, format));
    EXPECT_EQ(text.size(), size);
    return text;
}

std::string decoded(const std::string& text, KR_Base64_Alphabet alphabet = standard)
{
    std::string bytes(text.size() / 4 * 3 + 3, untouched);
    std::size_t size = 0;
    EXPECT_TRUE(kr_decode_base64(text.data(), text.size(),
                                 reinterpret_cast<unsigned char*>(bytes.data()), bytes.size(), size,
                                 alphabet));
    bytes.resize(size);
    return bytes;
}

// In pieces of `piece` bytes, into `room` characters at a time.
std::string encoded_in_pieces(const std::string& bytes, const KR_Base64_Format& format,
                              std::size_t piece, std::size_t room)
{
    KR_Base64_Encoder encoder(format);
    std::string text;
    std::string out(room, untouched);
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t length = std::min(piece, bytes.size() - at);
        const KR_Base64_Step step = encoder.encode(bytes.data() + at, length, out.data(), room);
        EXPECT_TRUE(step.written <= room && step.read <= length);
        EXPECT_TRUE(step.read == length || step.written + 5 > room) << "there was room";
        text.append(out, 0, step.written);
        at += step.read;
    }
    const KR_Base64_End end = encoder.finish(out.data(), room);
    EXPECT_TRUE(end.is_whole);
    return text.append(out, 0, end.written);
}

struct Decoding {
    std::string bytes;
    std::uint64_t fault;
};

bool operator==(const Decoding& a, const Decoding& b)
{
    return a.bytes == b.bytes && a.fault == b.fault;
}

void PrintTo(const Decoding& decoding, std::ostream* out)
{
    *out << testing::PrintToString(decoding.bytes) << " fault " << decoding.fault;
}

Decoding decoded_in_pieces(const std::string& text, KR_Base64_Alphabet alphabet, std::size_t piece,
                           std::size_t room)
{
    KR_Base64_Decoder decoder(alphabet);
    Decoding result;
    std::vector<unsigned char> out(room);
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = std::min(piece, text.size() - at);
        const KR_Base64_Step step = decoder.decode(text.data() + at, length, out.data(), room);
        EXPECT_TRUE(step.written <= room && step.read <= length);
        EXPECT_TRUE(step.read == length || step.written + 3 > room) << "there was room";
        result.bytes.append(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(step.written));
        at += step.read;
    }
    const KR_Base64_End end = decoder.finish(out.data(), room);
    EXPECT_TRUE(end.is_whole);
    result.bytes.append(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(end.written));
    result.fault = decoder.fault_position();
    EXPECT_EQ(decoder.is_well_formed(), result.fault == ~std::uint64_t{0});
    return result;
}

constexpr std::uint64_t no_fault = ~std::uint64_t{0};

TEST(Base64Stream, TheStandardsExamples)
{
    struct Row {
        const char* bytes;
        const char* text;
        const char* unpadded;
    };
    // RFC 4648 section 10
    for (const Row& row :
         {Row{"", "", ""}, Row{"f", "Zg==", "Zg"}, Row{"fo", "Zm8=", "Zm8"},
          Row{"foo", "Zm9v", "Zm9v"}, Row{"foob", "Zm9vYg==", "Zm9vYg"},
          Row{"fooba", "Zm9vYmE=", "Zm9vYmE"}, Row{"foobar", "Zm9vYmFy", "Zm9vYmFy"}})
        for (const KR_Base64_Alphabet alphabet : alphabets) {
            EXPECT_EQ(row.text, encoded(row.bytes, {alphabet, true, false}));
            EXPECT_EQ(row.unpadded, encoded(row.bytes, {alphabet, false, false}));
            EXPECT_EQ(row.bytes, decoded(row.text, alphabet));
            EXPECT_EQ(row.bytes, decoded(row.unpadded, alphabet));
        }
}

TEST(Base64Stream, TheTwoAlphabetsDifferIn62And63)
{
    const std::string bytes = "\xFB\xEF\xBE\xFF\xFF\xFF\xFB\xFF"s;
    EXPECT_EQ("++++////+/8=", encoded(bytes, {}));
    EXPECT_EQ("----____-_8=", encoded(bytes, {url_safe}));
    EXPECT_EQ("----____-_8", encoded(bytes, {url_safe, false}));
    EXPECT_EQ(bytes, decoded("++++////+/8="));
    EXPECT_EQ(bytes, decoded("----____-_8=", url_safe));
    EXPECT_EQ(bytes, decoded("----____-_8", url_safe));
    EXPECT_EQ("\0\0\0"s, decoded("----"))
        << "each is outside of the other's alphabet, and counts as 0";
    EXPECT_EQ("\0\0\0\0\0\0"s, decoded("++++////", url_safe));
}

TEST(Base64Stream, TextsOfEverySizeAreThoseOfKrBase64)
{
    for (const KR_Base64_Format& format : all_formats())
        for (std::size_t size = 0; size <= 700; ++size) {
            const std::string bytes = varied(size);
            const std::string text = expected_text(bytes, format);
            ASSERT_EQ(text.size(), kr_base64_size(size, format)) << size << name_of(format);
            ASSERT_EQ(text, encoded(bytes, format)) << size << name_of(format);
            ASSERT_EQ(bytes, decoded(text, format.alphabet)) << size << name_of(format);
        }
}

TEST(Base64Stream, LargeTextsAreThoseOfKrBase64)
{
    for (const KR_Base64_Format& format : all_formats())
        for (const std::size_t size : {4'095u, 4'096u, 57u * 1'000u, 100'001u}) {
            const std::string bytes = varied(size);
            const std::string text = expected_text(bytes, format);
            EXPECT_TRUE(text == encoded(bytes, format)) << size << name_of(format);
            EXPECT_TRUE(bytes == decoded(text, format.alphabet)) << size << name_of(format);
        }
}

TEST(Base64Stream, SizesOfMoreThanFitAreKnownToo)
{
    EXPECT_EQ(5'726'623'064u, kr_base64_size(4'294'967'297u));
    EXPECT_EQ(5'726'623'063u, kr_base64_size(4'294'967'297u, {standard, false}));
    EXPECT_EQ(5'726'623'064u + 75'350'303u, kr_base64_size(4'294'967'297u, {standard, true, true}));
    EXPECT_EQ(0u, kr_base64_size(0, {standard, true, true}));
    EXPECT_EQ(76u, kr_base64_size(57, {standard, true, true}));
    EXPECT_EQ(81u, kr_base64_size(58, {standard, true, true}));
}

TEST(Base64Stream, WhatDoesNotFitIsNotWritten)
{
    for (const KR_Base64_Format& format : all_formats())
        for (std::size_t size = 0; size <= 120; ++size) {
            const std::string bytes = varied(size);
            const std::string expected = expected_text(bytes, format);
            for (std::size_t capacity = 0; capacity <= expected.size() + 2; ++capacity) {
                std::string out(expected.size() + 3, untouched);
                std::size_t needed = 0;
                const bool fits = capacity >= expected.size();
                ASSERT_EQ(fits, kr_encode_base64(bytes.data(), size, out.data(), capacity, needed,
                                                 format));
                ASSERT_EQ(expected.size(), needed);
                const std::string written = fits ? expected : "";
                ASSERT_EQ(written + std::string(out.size() - written.size(), untouched), out);
            }
        }
}

TEST(Base64Stream, BytesThatDoNotFitAreNotWritten)
{
    const std::string texts[] = {
        "",       "TWFu",      "TWE=",       "TQ==",    "TWFuTWE=",
        "TWFuTQ", "TWFu\r\nT", "T===TWFu",   "====",    "TW==TWFuT",
        "\n\n\n", "T",         "TWFuTWFu\n", "=TWFu==", "TWFuTWFuTWFuTWFuTW=="};
    for (const KR_Base64_Alphabet alphabet : alphabets)
        for (const std::string& text : texts) {
            const std::string expected = expected_bytes(text, alphabet);
            for (std::size_t capacity = 0; capacity <= expected.size() + 6; ++capacity) {
                std::string out(expected.size() + 7, untouched);
                std::size_t needed = 99;
                const bool fits = capacity >= expected.size();
                ASSERT_EQ(fits, kr_decode_base64(text.data(), text.size(),
                                                 reinterpret_cast<unsigned char*>(out.data()),
                                                 capacity, needed, alphabet))
                    << text;
                ASSERT_EQ(expected.size(), needed) << text;
                const std::string written = fits ? expected : "";
                ASSERT_EQ(written + std::string(out.size() - written.size(), untouched), out);
            }
        }
}

TEST(Base64Stream, NullIsNothing)
{
    std::size_t size = 99;
    EXPECT_TRUE(kr_encode_base64(nullptr, 5, nullptr, 0, size));
    EXPECT_EQ(0u, size);
    EXPECT_TRUE(kr_encode_base64("x", 0, nullptr, 5, size = 99));
    EXPECT_EQ(0u, size);
    EXPECT_FALSE(kr_encode_base64("x", 1, nullptr, 5, size));
    EXPECT_EQ(4u, size);
    EXPECT_TRUE(kr_decode_base64(nullptr, 5, nullptr, 0, size = 99));
    EXPECT_EQ(0u, size);
    EXPECT_FALSE(kr_decode_base64("TWE=", 4, nullptr, 5, size));
    EXPECT_EQ(2u, size);

    KR_Base64_Encoder encoder;
    char text[5] = {untouched, untouched, untouched, untouched, untouched};
    EXPECT_EQ(0u, encoder.encode(nullptr, 5, text, 5).read);
    EXPECT_EQ(2u, encoder.encode("Ma", 2, nullptr, 5).read) << "they are kept";
    EXPECT_EQ(0u, encoder.encode("n", 1, nullptr, 5).read);
    EXPECT_FALSE(encoder.finish(nullptr, 5).is_whole);
    EXPECT_EQ(4u, encoder.finish(text, 5).written);
    EXPECT_EQ("TWE=~", std::string(text, 5));
    KR_Base64_Decoder decoder;
    EXPECT_EQ(0u, decoder.decode(nullptr, 5, nullptr, 5).read);
    EXPECT_EQ(3u, decoder.decode("TWFu", 4, nullptr, 5).read);
    EXPECT_FALSE(decoder.finish(nullptr, 5).is_whole);
    unsigned char bytes[3];
    EXPECT_EQ(2u, decoder.finish(bytes, 2).written);
}

TEST(Base64Encoder, PiecesOfEverySizeGiveTheTextOfTheWhole)
{
    for (const KR_Base64_Format& format : all_formats())
        for (const std::size_t size : {0u, 1u, 2u, 3u, 56u, 57u, 58u, 113u, 114u, 115u, 300u}) {
            const std::string bytes = varied(size);
            const std::string expected = expected_text(bytes, format);
            for (std::size_t piece = 1; piece <= size + 1; piece += piece < 130 ? 1 : 13)
                ASSERT_EQ(expected, encoded_in_pieces(bytes, format, piece, 1'000))
                    << size << ' ' << piece << name_of(format);
        }
}

TEST(Base64Encoder, RoomOfEverySizeFromFiveOnIsEnough)
{
    const std::string bytes = varied(400);
    for (const KR_Base64_Format& format : all_formats()) {
        const std::string expected = expected_text(bytes, format);
        for (std::size_t room = 5; room <= 330; ++room)
            for (const std::size_t piece : {1u, 2u, 57u, 58u, 400u})
                ASSERT_EQ(expected, encoded_in_pieces(bytes, format, piece, room))
                    << room << ' ' << piece << name_of(format);
    }
}

TEST(Base64Encoder, TheRoomThatIsPromisedIsEnough)
{
    for (const KR_Base64_Format& format : all_formats())
        for (std::size_t before = 0; before <= 240; ++before)
            for (const std::size_t length : {1u, 2u, 3u, 57u, 60u, 200u}) {
                KR_Base64_Encoder encoder(format);
                std::string out(1'000, untouched);
                const std::string bytes = varied(200);
                for (std::size_t i = 0; i < before; ++i)
                    (void)encoder.encode("x", 1, out.data(), out.size());
                const auto room = static_cast<std::size_t>(kr_base64_size(length + 2, format)) + 1;
                ASSERT_EQ(length, encoder.encode(bytes.data(), length, out.data(), room).read)
                    << before << ' ' << length << name_of(format);
            }
}

TEST(Base64Encoder, AnEndWithoutRoomCanBeRepeated)
{
    KR_Base64_Encoder encoder({standard, true, true});
    std::string text(77, untouched);
    EXPECT_EQ(58u, encoder.encode(varied(58).data(), 58, text.data(), 77).read);
    char end[5] = {};
    for (std::size_t room = 0; room < 5; ++room)
        EXPECT_FALSE(encoder.finish(end, room).is_whole);
    EXPECT_EQ(5u, encoder.finish(end, 5).written);
    EXPECT_EQ('\n', end[0]);
    EXPECT_EQ("==", std::string(end + 3, 2));
    EXPECT_EQ(0u, encoder.finish(end, 5).written) << "a new message, which is empty";
}

TEST(Base64Encoder, BeginsANewMessageAfterTheEndAndAfterReset)
{
    KR_Base64_Encoder encoder({url_safe, false, true});
    char text[100];
    for (int i = 0; i < 2; ++i) {
        std::size_t size = encoder.encode(varied(56).data(), 56, text, sizeof text).written;
        size += encoder.finish(text + size, sizeof text - size).written;
        EXPECT_EQ(expected_text(varied(56), {url_safe, false, true}), std::string(text, size));
    }
    (void)encoder.encode(varied(59).data(), 59, text, sizeof text);
    encoder.reset();
    EXPECT_EQ(0u, encoder.finish(text, 0).written);
    EXPECT_EQ(4u, encoder.encode("foo", 3, text, 4).written);
    EXPECT_EQ("Zm9v", std::string(text, 4));
}

// Texts of every kind, with what is wrong with them.
struct Text_Row {
    std::string text;
    std::uint64_t fault;
};

const Text_Row texts[] = {
    {"", no_fault},
    {"TWFu", no_fault},
    {"TWE=", no_fault},
    {"TQ==", no_fault},
    {"TWE", no_fault},
    {"TQ", no_fault},
    {"\r\n\nTWFu\r\nTWE=\n", no_fault},
    {"TWFuTWFuTWFuTWFuTWFuTWFuTQ", no_fault},
    {"T", 1},            // cut: no byte can be
    {"TWFuT", 5},        //
    {"TWE=T", 4},        // behind the end
    {"TQ==TWFuTWFu", 4}, //
    {"TQ==TW E", 4},     //
    {"TQ==\nTQ==", 5},   //
    {"TWF=", 2},         // bits left over
    {"TWF", 2},          //
    {"TR==", 1},         //
    {"TR", 1},           //
    {"TQ=", 3},          // cut padding
    {"T=", 1},           //
    {"=", 0},            //
    {"====", 0},         //
    {"T===", 1},         //
    {"TQ=Q", 2},         // "=" where a digit is due
    {"=QQQ", 0},         //
    {"T!Fu", 1},         // outside of the alphabet
    {"TWFu!WFu", 4},     //
    {"TW\nFu", 2},       // a break within a group
    {" TWFu", 0},        // a blank
    {"TWFu\tTWFu", 4},   //
    {"TWF\x80", 3},      //
    {"TWF\0"s, 3},       //
    {"TWFuTWFuTWFuTWFuTWFuTWFuTWFuTWFuTWFu!", 36},
    {std::string(76, 'A') + "\n" + std::string(76, 'A') + "\n" + std::string(75, 'A') + "?", 229},
    {std::string(76, 'A') + "\r\n" + std::string(76, 'A') + "\nTQ==", no_fault},
    {"TQ==" + std::string(200, 'A'), 4},
};

TEST(Base64Decoder, PiecesOfEverySizeGiveTheBytesAndTheFaultOfTheWhole)
{
    for (const Text_Row& row : texts)
        for (const KR_Base64_Alphabet alphabet : alphabets) {
            const Decoding expected{expected_bytes(row.text, alphabet), row.fault};
            for (std::size_t piece = 1; piece <= row.text.size() + 1; ++piece)
                ASSERT_EQ(expected, decoded_in_pieces(row.text, alphabet, piece, 1'000))
                    << testing::PrintToString(row.text) << ' ' << piece;
        }
}

TEST(Base64Decoder, RoomOfEverySizeFromThreeOnIsEnough)
{
    for (const Text_Row& row : texts)
        for (const KR_Base64_Alphabet alphabet : alphabets) {
            const Decoding expected{expected_bytes(row.text, alphabet), row.fault};
            for (std::size_t room = 3; room <= 70; ++room)
                for (const std::size_t piece : {1u, 3u, 77u, 1'000u})
                    ASSERT_EQ(expected, decoded_in_pieces(row.text, alphabet, piece, room))
                        << testing::PrintToString(row.text) << ' ' << piece << ' ' << room;
        }
}

// Of the last characters none is taken before its bytes have room, of the text none is lost.
TEST(Base64Decoder, TakesNoGroupThatHasNoRoom)
{
    KR_Base64_Decoder decoder;
    unsigned char bytes[3] = {};
    EXPECT_EQ(3u, decoder.decode("TWFu", 4, bytes, 0).read);
    for (std::size_t room = 0; room < 3; ++room) {
        const KR_Base64_Step step = decoder.decode("u", 1, bytes, room);
        EXPECT_EQ(0u, step.read);
        EXPECT_EQ(0u, step.written);
    }
    EXPECT_EQ(1u, decoder.decode("u", 1, bytes, 3).read);
    EXPECT_EQ("Man", std::string(bytes, bytes + 3));
    EXPECT_EQ(4u, decoder.decode("TQ==", 4, bytes, 1).read) << "one byte is enough for one";
}

TEST(Base64Decoder, EachAlphabetIsAFaultInTheOther)
{
    for (const char c : {'+', '/'})
        EXPECT_EQ(2u, decoded_in_pieces("TW"s + c + "u", url_safe, 100, 100).fault);
    for (const char c : {'-', '_'})
        EXPECT_EQ(2u, decoded_in_pieces("TW"s + c + "u", standard, 100, 100).fault);
}

TEST(Base64Decoder, EachCharacterIsInTheAlphabetOrAFault)
{
    const std::string letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789";
    for (const KR_Base64_Alphabet alphabet : alphabets)
        for (int code = 0; code < 256; ++code) {
            const auto c = static_cast<char>(code);
            const std::string all = letters + (alphabet == standard ? "+/" : "-_");
            const bool is_known = all.find(c) != std::string::npos;
            for (const std::size_t before : {0u, 8u, 40u, 60u, 128u}) {
                const std::string text = std::string(before, 'Q') + "Q" + c + "QQ" + "QQQQ";
                const Decoding expected{expected_bytes(text, alphabet),
                                        is_known ? no_fault : before + 1};
                ASSERT_EQ(expected, decoded_in_pieces(text, alphabet, 1'000, 1'000)) << code;
            }
        }
}

TEST(Base64Decoder, AnEndWithoutRoomCanBeRepeatedAndResetBeginsAnew)
{
    KR_Base64_Decoder decoder;
    unsigned char bytes[3] = {};
    EXPECT_EQ(3u, decoder.decode("TWE", 3, bytes, 0).read);
    EXPECT_FALSE(decoder.finish(bytes, 1).is_whole);
    EXPECT_EQ(2u, decoder.finish(bytes, 2).written);
    EXPECT_EQ("Ma", std::string(bytes, bytes + 2));
    EXPECT_TRUE(decoder.is_well_formed());
    (void)decoder.decode("TWFu", 4, bytes, 3);
    EXPECT_EQ(3u, decoder.fault_position()) << "behind the end";
    decoder.reset();
    (void)decoder.decode("TWFu", 4, bytes, 3);
    EXPECT_TRUE(decoder.is_well_formed());
    EXPECT_EQ(0u, decoder.finish(bytes, 0).written);
}

TEST(Base64Stream, NothingOutsideOfTheBuffersIsTouched)
{
    for (const KR_Base64_Format& format : all_formats())
        for (const Guarded_End end : {Guarded_End::first, Guarded_End::last})
            for (std::size_t size = 0; size <= 260; size += size < 80 ? 1 : 7) {
                const std::string bytes = varied(size);
                const std::string expected = expected_text(bytes, format);
                const Guarded_Memory data(size, end);
                const Guarded_Memory text(expected.size(), end);
                const Guarded_Memory back(size, end);
                std::memcpy(data.data(), bytes.data(), size);
                std::size_t length = 0;
                ASSERT_TRUE(kr_encode_base64(data.data(), size,
                                             reinterpret_cast<char*>(text.data()), expected.size(),
                                             length, format));
                ASSERT_EQ(expected, std::string(text.data(), text.data() + length));
                ASSERT_TRUE(kr_decode_base64(reinterpret_cast<const char*>(text.data()), length,
                                             back.data(), size, length, format.alphabet));
                ASSERT_EQ(bytes, std::string(back.data(), back.data() + length));
            }
}

// As the header shows it.
TEST(Base64Stream, AFileIsEncodedAndDecodedWithConstantMemory)
{
    const Temp_Folder folder;
    const std::string bytes = varied(1'000'003);
    std::FILE* const input = std::fopen(folder.write("in", bytes).c_str(), "rb");
    std::FILE* const output = std::fopen(folder.path("text").c_str(), "w+b");
    ASSERT_TRUE(input != nullptr && output != nullptr);
    KR_Base64_Encoder encoder({url_safe, false, true});
    std::array<unsigned char, 3000> piece{};
    std::array<char, 4096> text{};
    while (const std::size_t count = std::fread(piece.data(), 1, piece.size(), input)) {
        const KR_Base64_Step step = encoder.encode(piece.data(), count, text.data(), text.size());
        ASSERT_EQ(count, step.read);
        std::fwrite(text.data(), 1, step.written, output);
    }
    std::fwrite(text.data(), 1, encoder.finish(text.data(), text.size()).written, output);
    std::rewind(output);
    KR_Base64_Decoder decoder(url_safe);
    std::string back;
    std::array<unsigned char, 3072> out{};
    while (const std::size_t count = std::fread(text.data(), 1, text.size(), output)) {
        const KR_Base64_Step step = decoder.decode(text.data(), count, out.data(), out.size());
        ASSERT_EQ(count, step.read);
        back.append(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(step.written));
    }
    const std::size_t rest = decoder.finish(out.data(), out.size()).written;
    back.append(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(rest));
    std::fclose(input);
    std::fclose(output);
    EXPECT_TRUE(bytes == back);
    EXPECT_TRUE(decoder.is_well_formed());
}

} // namespace

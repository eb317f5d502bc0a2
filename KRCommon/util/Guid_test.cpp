#include <KRCommon/util/Guid.h>

#include <tests/support/Guid_By_Ace.h>
#include <tests/support/Log_Capture.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <random>
#include <string>

namespace {

const std::string usual = "6f9619ff-8b86-4011-b42d-00c04fc964ff";
const std::string nil_text = "00000000-0000-0000-0000-000000000000";

constexpr KR_GUID usual_guid = {
    0x6F9619FF, 0x8B86, 0x4011, {0xB4, 0x2D, 0x00, 0xC0, 0x4F, 0xC9, 0x64, 0xFF}};

// What is read, as text.
std::string read(const std::string& text)
{
    return kr_to_string(kr_to_guid(text));
}

TEST(KrGuid, IsNilAtFirst)
{
    EXPECT_EQ(nil_text, kr_to_string(KR_GUID()));
    EXPECT_EQ(KR_GUID(), kr_to_guid(nil_text));
}

TEST(KrGuid, HasTheLayoutOfAWindowsGuid)
{
    EXPECT_EQ(16U, sizeof(KR_GUID));
    EXPECT_EQ(0U, offsetof(KR_GUID, Data1));
    EXPECT_EQ(4U, offsetof(KR_GUID, Data2));
    EXPECT_EQ(6U, offsetof(KR_GUID, Data3));
    EXPECT_EQ(8U, offsetof(KR_GUID, Data4));
    const unsigned char bytes[16] = {0xFF, 0x19, 0x96, 0x6F, 0x86, 0x8B, 0x11, 0x40,
                                     0xB4, 0x2D, 0x00, 0xC0, 0x4F, 0xC9, 0x64, 0xFF};
    const KR_GUID guid = kr_to_guid(usual);
    EXPECT_EQ(0, std::memcmp(bytes, &guid, sizeof bytes));
}

TEST(KrGuid, IsEqualWhenEveryByteIs)
{
    EXPECT_TRUE(usual_guid == kr_to_guid(usual));
    EXPECT_FALSE(usual_guid != kr_to_guid(usual));
    for (std::size_t byte = 0; byte < sizeof(KR_GUID); ++byte) {
        unsigned char bytes[sizeof(KR_GUID)];
        std::memcpy(bytes, &usual_guid, sizeof bytes);
        bytes[byte] ^= 0x10;
        KR_GUID other;
        std::memcpy(&other, bytes, sizeof bytes);
        EXPECT_FALSE(usual_guid == other) << byte;
        EXPECT_TRUE(usual_guid != other) << byte;
    }
}

TEST(KrGuidText, HasLowerCaseGroupsWithoutBraces)
{
    EXPECT_EQ("6f9619ff-8b86-4011-b42d-00c04fc964ff", kr_to_string(usual_guid));
    EXPECT_EQ("01234567-89ab-cdef-0123-456789abcdef",
              kr_to_string(KR_GUID{
                  0x01234567, 0x89AB, 0xCDEF, {0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD, 0xEF}}));
}

TEST(KrGuidText, IsReadInEitherCase)
{
    EXPECT_EQ(usual_guid, kr_to_guid("6F9619FF-8B86-4011-B42D-00C04FC964FF"));
    EXPECT_EQ(usual_guid, kr_to_guid("6f9619fF-8B86-4011-b42D-00C04fC964Ff"));
}

TEST(KrGuidText, IsReadWithAndWithoutBraces)
{
    EXPECT_EQ(usual_guid, kr_to_guid(usual));
    EXPECT_EQ(usual_guid, kr_to_guid("{" + usual + "}"));
    EXPECT_EQ(KR_GUID(), kr_to_guid("{" + nil_text + "}"));
}

TEST(KrGuidText, OfAnyByteComesBack)
{
    std::mt19937 random(1);
    for (int round = 0; round < 10'000; ++round) {
        KR_GUID guid;
        guid.Data1 = static_cast<std::uint32_t>(random());
        guid.Data2 = static_cast<std::uint16_t>(random());
        guid.Data3 = static_cast<std::uint16_t>(random());
        for (std::uint8_t& byte : guid.Data4)
            byte = static_cast<std::uint8_t>(random());
        ASSERT_EQ(guid, kr_to_guid(kr_to_string(guid)));
    }
}

TEST(KrGuidText, IsReadWhateverVariantAndVersionSay)
{
    for (const char* text :
         {"6f9619ff-8b86-4011-3333-00c04fc964ff", "6f9619ff-8b86-2011-b42d-00c04fc964ff",
          "6f9619ff-8b86-0011-b42d-00c04fc964ff", "6f9619ff-8b86-5011-b42d-00c04fc964ff",
          "6f9619ff-8b86-7011-b42d-00c04fc964ff", "6f9619ff-8b86-4011-c42d-00c04fc964ff",
          "6f9619ff-8b86-4011-f42d-00c04fc964ff", "ffffffff-ffff-ffff-ffff-ffffffffffff"})
        EXPECT_EQ(text, read(text));
}

TEST(KrGuidText, ThatIsNotAcceptedIsNil)
{
    const std::string rows[] = {
        "",
        "{}",
        "{",
        "}",
        "{x}",
        "x",
        usual.substr(0, 35),
        usual + "}",
        "{" + usual,
        "{{" + usual + "}}",
        "{" + usual + "}}",
        " {" + usual + "}",
        "(" + usual + ")",
        usual + "0",
        usual + " ",
        usual + "-",
        usual + "- \t",
        "6f9619ff8b864011b42d00c04fc964ff",
        "6f9619ff8b864011b42d00c04fc964ffffff",
        "6f9619ff_8b86-4011-b42d-00c04fc964ff",
        "6f9619ff-8b86+4011-b42d-00c04fc964ff",
        "6f9619ff-8b86-4011 b42d-00c04fc964ff",
        "6f9619ff-8b86-4011-b42d:00c04fc964ff",
        "6f9619fg-8b86-4011-b42d-00c04fc964ff",
        "g6f9619f-8b86-4011-b42d-00c04fc964ff",
        "6f9619ff-8b8g-4011-b42d-00c04fc964ff",
        "6f9619ff-8b86-4g11-b42d-00c04fc964ff",
        "6f9619ff-8b86-4011-b42d-00c04fc9g4ff",
        "6f9619ff-8b86-4011-b42d-00c04fc964g0",
        "6f9619ff-8b86-4011-b4-2d00c04fc964ff",
        "6f9619ff-8b86-4011-b42d-00c04fc964\xC3\xBF",
        std::string(36, '-'),
        std::string(36, ' '),
        std::string(36, '\0'),
        std::string(36, 'f'),
    };
    for (const std::string& row : rows)
        EXPECT_EQ(nil_text, read(row)) << row;
}

// A blank or a sign before a number is none of it.
TEST(KrGuidText, BeginsWithADigitABlankOrASignOnly)
{
    const std::string digits = "0123456789ABCDEFabcdef";
    for (int character = 1; character < 256; ++character) {
        const char c = static_cast<char>(character);
        std::string text = "?0000001-8b86-4011-b42d-00c04fc964ff";
        text[0] = c;
        const std::size_t digit = digits.find(c);
        std::string first = "00000000";
        if (digit != std::string::npos)
            first = std::string(1, "0123456789abcdefabcdef"[digit]) + "0000001";
        else if (std::string(" \t\n\v\f\r+").find(c) != std::string::npos)
            first = "00000001";
        else if (c == '-')
            first = "ffffffff";
        EXPECT_EQ(first == "00000000" && c != '0' ? nil_text : first + text.substr(8), read(text))
            << character;
    }
}

TEST(KrGuidText, QuirkATailBehindAHyphenIsIgnored)
{
    for (const char* tail : {"-abc", "-1", "-12-34", "- x", "-\tx y", "-}", "--"})
        EXPECT_EQ(usual, read(usual + tail)) << tail;
    EXPECT_EQ("6f9619ff-8b86-4011-c42d-00c04fc964ff",
              read("6f9619ff-8b86-4011-c42d-00c04fc964ff-12-34"));
    EXPECT_EQ(usual, read("{" + usual + "-abc}"));
}

TEST(KrGuidText, MayHaveATailOfAnyLength)
{
    EXPECT_EQ(usual, read(usual + "-" + std::string(1'000'000, 'x')));
    EXPECT_EQ(nil_text, read(usual + std::string(1'000'000, 'x')));
    EXPECT_EQ(nil_text, read(usual + "-" + std::string(1'000'000, ' ')));
    EXPECT_EQ(nil_text, read(std::string(1'000'000, 'f')));
}

TEST(KrGuidText, QuirkNumbersAreReadAsScanfReadsThem)
{
    const struct {
        const char* text;
        const char* read;
    } rows[] = {
        // the last number stops early
        {"6f9619ff-8b86-4011-b42d-00c04fc9649g", "6f9619ff-8b86-4011-b42d-00c04fc96409"},
        {"6f9619ff-8b86-4011-b42d-00c04fc9649 ", "6f9619ff-8b86-4011-b42d-00c04fc96409"},
        // white space before a number
        {" 6f9619f-8b86-4011-b42d-00c04fc964ff", "06f9619f-8b86-4011-b42d-00c04fc964ff"},
        {"6f9619ff- b86-4011-b42d-00c04fc964ff", "6f9619ff-0b86-4011-b42d-00c04fc964ff"},
        {"6f9619ff-8b86-4011-b42d-\t0c04fc964ff", "6f9619ff-8b86-4011-b42d-0c04fc964f0f"},
        {"6f9619ff-8b86-4011-b42d-\n00c04fc964f", "6f9619ff-8b86-4011-b42d-00c04fc9640f"},
        // a prefix
        {"0x9619ff-8b86-4011-b42d-00c04fc964ff", "009619ff-8b86-4011-b42d-00c04fc964ff"},
        {"0X9619ff-8b86-4011-b42d-00c04fc964ff", "009619ff-8b86-4011-b42d-00c04fc964ff"},
        {"6f9619ff-8b86-4011-0x2d-00c04fc964ff", "6f9619ff-8b86-4011-002d-00c04fc964ff"},
        // a sign
        {"-0000001-8b86-4011-b42d-00c04fc964ff", "ffffffff-8b86-4011-b42d-00c04fc964ff"},
        {"+0000001-8b86-4011-b42d-00c04fc964ff", "00000001-8b86-4011-b42d-00c04fc964ff"},
        {"6f9619ff--b86-4011-b42d-00c04fc964ff", "6f9619ff-f47a-4011-b42d-00c04fc964ff"},
        {"6f9619ff-8b86-4011-b4-d-00c04fc964ff", "6f9619ff-8b86-4011-b4f3-00c04fc964ff"},
        {"-0x00001-8b86-4011-b42d-00c04fc964ff", "ffffffff-8b86-4011-b42d-00c04fc964ff"},
        // fewer digits, filled up to 36 characters
        {"f-8-4-b4-2d00c04fc964ffffffffffffffff", "00000000-0000-0000-0000-000000000000"},
        {"f-8-4-b42d-00c04fc964ff             ", "0000000f-0008-0004-b42d-00c04fc964ff"},
        {"f-8-4-b42d-00c04fc964ff-filled up to", "0000000f-0008-0004-b42d-00c04fc964ff"},
        {"f-8-4-b 2-0 1 2 3 4 5               ", "0000000f-0008-0004-0b02-000102030405"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(row.read, read(row.text)) << row.text;
}

TEST(KrGuidText, EndsAtAZeroByte)
{
    EXPECT_EQ(usual, read(usual + std::string(1, '\0') + "abc"));
    EXPECT_EQ(nil_text, read(usual.substr(0, 30) + std::string(6, '\0')));
    EXPECT_EQ(nil_text, read("{" + usual + "}" + std::string(1, '\0')));
    EXPECT_EQ(usual, read("{" + usual + std::string(1, '\0') + "}"));
}

class Random_Texts {
public:
    std::string next()
    {
        std::string text = random() % 4 == 0 ? nil_text : usual;
        if (random() % 8 == 0)
            text.clear();
        for (auto change = random() % 7; change > 0; --change)
            alter(text);
        if (random() % 3 == 0)
            text += "-abc";
        if (text.size() > 60) // ACE writes a tail without looking at its room
            text.resize(60);
        return text;
    }

private:
    void alter(std::string& text)
    {
        const std::size_t at = random() % (text.size() + 1);
        switch (random() % 5) {
        case 0: text.insert(at, 1, character()); break;
        case 1: text.insert(at, "0x"); break;
        case 2: text.erase(at, 1); break;
        case 3: text += character(); break;
        default:
            if (at < text.size())
                text[at] = character();
        }
    }

    char character()
    {
        constexpr char characters[] = "0123456789abcdefABCDEFxXgG- \t\n\v+-0x\xA0";
        return characters[random() % (sizeof characters - 1)];
    }

    std::mt19937 random{2};
};

TEST(KrGuidText, IsReadAsAceReadsItButWithoutALine)
{
    Random_Texts texts;
    int accepted = 0;
    for (int round = 0; round < 100'000; ++round) {
        const std::string text = texts.next();
        KR_GUID expected;
        {
            const Log_Capture silence;
            expected = read_by_ace(text);
        }
        ASSERT_EQ(kr_to_string(expected), read(text)) << text;
        accepted += expected != KR_GUID() ? 1 : 0;
    }
    EXPECT_GT(accepted, 10'000);
}

TEST(KrGuidText, IsWrittenAsAceWritesIt)
{
    for (const char* text :
         {"6F9619FF-8B86-4011-B42D-00C04FC964FF", "01234567-89ab-1def-8123-456789abcdef"}) {
        const ACE_Utils::UUID uuid{ACE_CString(text)};
        EXPECT_EQ(std::string(uuid.to_string()->c_str()), read(text));
    }
}

TEST(KrGuidText, ThatIsNotAcceptedIsNotLogged)
{
    const Log_Capture log;
    EXPECT_EQ(nil_text, read("short"));
    EXPECT_EQ(nil_text, read(usual + "0"));
    EXPECT_EQ("6f9619ff-8b86-2011-3333-00c04fc964ff", read("6f9619ff-8b86-2011-3333-00c04fc964ff"));
    EXPECT_TRUE(log.lines().empty());
}

} // namespace

#include <KRCommon/xml/Xml_Characters.h>

#include <KRCommon/platform/Platform_testing.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using namespace kr_internal;
using kr_platform_testing::Guarded_End;
using kr_platform_testing::Guarded_Memory;

std::size_t name_length(const std::string& text)
{
    const char* const begin = text.data();
    return static_cast<std::size_t>(skip_name(begin, begin + text.size()) - begin);
}

std::size_t parts_length(const std::string& text)
{
    const char* const begin = text.data();
    return static_cast<std::size_t>(skip_name_parts(begin, begin + text.size()) - begin);
}

// XML 1.0, fifth edition, production 4a, within ASCII.
const std::string ascii_name_parts =
    "-.0123456789:ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz";

TEST(XmlCharacters, EachAsciiCharacterInANameOfAnyLength)
{
    for (std::size_t before = 0; before <= 40; ++before)
        for (int code = 0; code < 128; ++code) {
            const auto c = static_cast<char>(code);
            const bool is_part = ascii_name_parts.find(c) != std::string::npos;
            const std::string text = std::string(before, 'n') + c;
            const std::string more = "ame_continued-here.1 x";
            EXPECT_EQ(before + (is_part ? 1 : 0), parts_length(text)) << before << ' ' << code;
            EXPECT_EQ(is_part ? before + 21 : before, parts_length(text + more))
                << before << ' ' << code;
        }
}

TEST(XmlCharacters, OnlySomeOfThemBeginAName)
{
    for (int code = 0; code < 128; ++code) {
        const auto c = static_cast<char>(code);
        const bool is_start =
            ascii_name_parts.find(c, std::strlen("-.0123456789")) != std::string::npos;
        EXPECT_EQ(is_start ? 4u : 0u, name_length(std::string(1, c) + "a-1=")) << code;
    }
    EXPECT_EQ(0u, name_length(""));
}

TEST(XmlCharacters, NamesBeyondAsciiGoOnAtAnyDistance)
{
    for (std::size_t before = 1; before <= 40; ++before) {
        const std::string name(before, 'n');
        EXPECT_EQ(before + 5, name_length(name + "\xC3\xA4xyz=")) << "a letter, " << before;
        EXPECT_EQ(before + 2, name_length(name + "\xC2\xB7")) << "a middle dot, " << before;
        EXPECT_EQ(before, name_length(name + "\xC3\x97xyz=")) << "a times sign, " << before;
    }
}

TEST(XmlCharacters, NothingOutsideOfTheTextIsRead)
{
    for (const Guarded_End end : {Guarded_End::first, Guarded_End::last})
        for (std::size_t size = 0; size <= 64; ++size) {
            const Guarded_Memory memory(size, end);
            std::memset(memory.data(), 'n', size);
            const auto* const begin = reinterpret_cast<const char*>(memory.data());
            EXPECT_EQ(begin + size, skip_name(begin, begin + size));
            EXPECT_EQ(begin + size, skip_name_parts(begin, begin + size));
        }
}

} // namespace

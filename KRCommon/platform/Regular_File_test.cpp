#include <KRCommon/platform/Regular_File.h>

#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Temp_Folder.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

namespace {

using kr_platform::Regular_File;

// What is read, as a text; nothing when reading fails.
std::optional<std::string> read(const Regular_File& file, std::uint64_t offset, std::size_t count)
{
    std::string text(count, '?');
    const std::optional<std::size_t> size = file.read_at(offset, text.data(), count);
    if (!size)
        return std::nullopt;
    EXPECT_EQ(std::string(count - *size, '?'), text.substr(*size))
        << "written beyond what was read";
    return text.substr(0, *size);
}

TEST(RegularFile, GivesTheBytesOfAnyPlaceAsTheyAre)
{
    const Temp_Folder folder;
    const Regular_File file(folder.write("a file", std::string("ab\r\n\x1A\0c", 7)));
    ASSERT_TRUE(file.is_open());
    EXPECT_EQ(std::string("ab\r\n\x1A\0c", 7), read(file, 0, 7));
    EXPECT_EQ("b\r\n", read(file, 1, 3));
    EXPECT_EQ("a", read(file, 0, 1)) << "after a read at another place";
    EXPECT_EQ("", read(file, 3, 0));
}

TEST(RegularFile, GivesLessAtItsEnd)
{
    const Temp_Folder folder;
    const Regular_File file(folder.write("file", "abc"));
    EXPECT_EQ("abc", read(file, 0, 10));
    EXPECT_EQ("c", read(file, 2, 2));
    EXPECT_EQ("", read(file, 3, 1));
    EXPECT_EQ("", read(file, 1ULL << 33, 1));
    EXPECT_EQ("", read(Regular_File(folder.write("empty", "")), 0, 1));
}

TEST(RegularFile, AboveFourGigabytesIsReadWhereItIsAskedFor)
{
    const Temp_Folder folder;
    const std::string path = folder.write("file", "begin");
    std::filesystem::resize_file(path, (1ULL << 32) + 5);
    const Regular_File file(path);
    EXPECT_EQ("begin", read(file, 0, 5));
    EXPECT_EQ(std::string(5, '\0'), read(file, 1ULL << 32, 10));
}

TEST(RegularFile, TellsItsSize)
{
    const Temp_Folder folder;
    const std::string path = folder.write("file", "abc");
    const Regular_File file(path);
    EXPECT_EQ(3u, file.size());
    std::filesystem::resize_file(path, (1ULL << 32) + 5);
    EXPECT_EQ((1ULL << 32) + 5, file.size()) << "as it is by now";
    EXPECT_EQ(0u, Regular_File(folder.write("empty", "")).size());
    EXPECT_EQ(std::nullopt, Regular_File(folder.path("missing")).size());
}

TEST(RegularFile, ThatIsMissingOrAFolderIsNotOpen)
{
    const Temp_Folder folder;
    for (const std::string& path : {folder.path("missing"), folder.path(), std::string()}) {
        const Regular_File file(path);
        EXPECT_FALSE(file.is_open()) << path;
        EXPECT_EQ(std::nullopt, read(file, 0, 1)) << path;
    }
}

// Were one of them opened as a file is, this test would not end.
TEST(RegularFile, PipesDevicesAndSocketsAreNotOpen)
{
    const Temp_Folder folder;
    const kr_platform_testing::Irregular_Files irregular(folder.path());
    for (const std::string& path : irregular.paths()) {
        const unsigned handles = kr_platform_testing::open_handle_count();
        const Regular_File file(path);
        EXPECT_FALSE(file.is_open()) << path;
        EXPECT_EQ(std::nullopt, read(file, 0, 1)) << path;
        EXPECT_EQ(handles, kr_platform_testing::open_handle_count()) << path;
    }
}

TEST(RegularFile, IsClosedWithTheObject)
{
    const Temp_Folder folder;
    const std::string path = folder.write("file", "abc");
    const unsigned handles = kr_platform_testing::open_handle_count();
    {
        const Regular_File file(path);
        EXPECT_EQ(handles + 1, kr_platform_testing::open_handle_count());
    }
    EXPECT_EQ(handles, kr_platform_testing::open_handle_count());
}

TEST(RegularFile, MayBeWrittenAndDeletedMeanwhile)
{
    const Temp_Folder folder;
    const std::string path = folder.write("file", "abc");
    const Regular_File file(path);
    folder.write("file", "xyz!");
    EXPECT_EQ("xyz!", read(file, 0, 9));
    EXPECT_TRUE(kr_platform::remove_file(path));
}

TEST(RegularFile, ThatRefusesToBeReadIsAnError)
{
    const std::string path = kr_platform_testing::unreadable_file();
    if (path.empty())
        GTEST_SKIP() << "no file here opens and cannot be read";
    const Regular_File file(path);
    ASSERT_TRUE(file.is_open());
    EXPECT_EQ(std::nullopt, read(file, 0, 1));
}

} // namespace

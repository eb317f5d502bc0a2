#include <KRCommon/platform/Append_File.h>

#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Platform_testing.h>
#include <KRCommon/platform/Process_testing.h>
#include <tests/support/Temp_Folder.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

using kr_platform::Append_File;

std::int64_t size_of(const std::string& path)
{
    return static_cast<std::int64_t>(kr_platform::file_info(path)->size);
}

TEST(Append_File, WritesAfterWhatTheFileHolds)
{
    const Temp_Folder folder;
    const std::string path = folder.write("file", "old\n");
    Append_File file;
    EXPECT_EQ(-1, file.size());
    ASSERT_TRUE(file.open(path));
    EXPECT_EQ(4, file.size());
    EXPECT_EQ(4u, file.write("a\nb\n"));
    EXPECT_EQ("old\na\nb\n", read_text(path)) << "while it is open";
    EXPECT_EQ(size_of(path), file.size()) << "bytes on disk";
}

TEST(Append_File, AnEmptyTextIsWritten)
{
    const Temp_Folder folder;
    Append_File file;
    ASSERT_TRUE(file.open(folder.path("file")));
    EXPECT_EQ(0u, file.write(""));
    EXPECT_EQ(0, file.size());
}

TEST(Append_File, TwoWritersOverwriteNothing)
{
    const Temp_Folder folder;
    const std::string path = folder.path("file");
    Append_File first;
    Append_File second;
    ASSERT_TRUE(first.open(path));
    ASSERT_TRUE(second.open(path));
    first.write("a long line of the first\n");
    second.write("second\n");
    first.write("first\n");
    EXPECT_EQ("a long line of the first\nsecond\nfirst\n", read_text(path));
    EXPECT_EQ(size_of(path), second.size());
}

TEST(Append_File, ALineOfAnyLengthIsWrittenWhole)
{
    const Temp_Folder folder;
    Append_File file;
    ASSERT_TRUE(file.open(folder.path("file")));
    std::string all;
    for (const std::size_t length : {1, 4094, 4095, 4096, 4097, 8191, 8192, 100'000}) {
        const std::string line = std::string(length, 'x') + '\n';
        EXPECT_EQ(line.size(), file.write(line));
        all += line;
    }
    const std::string only_line_feeds(10'000, '\n');
    EXPECT_EQ(only_line_feeds.size(), file.write(only_line_feeds));
    EXPECT_EQ(all + only_line_feeds, read_text(folder.path("file")));
}

TEST(Append_File, LongLinesOfManyWritersStayWhole)
{
    constexpr int writers = 4;
    constexpr int count = 200;
    const Temp_Folder folder;
    const std::string path = folder.path("file");
    std::vector<std::thread> threads;
    for (int i = 0; i < writers; ++i)
        threads.emplace_back([&, i] {
            Append_File file;
            ASSERT_TRUE(file.open(path));
            for (int line = 0; line < count; ++line)
                file.write(std::string(4'000, static_cast<char>('a' + i)) + '\n');
        });
    for (std::thread& thread : threads)
        thread.join();
    std::istringstream lines(read_text(path));
    std::map<std::string, int> seen;
    for (std::string line; std::getline(lines, line);)
        ++seen[line];
    ASSERT_EQ(std::size_t{writers}, seen.size()) << "torn lines";
    for (const auto& [line, number] : seen)
        EXPECT_EQ(count, number) << line.substr(0, 1);
}

TEST(Append_File, OpeningAnotherFileClosesTheFirst)
{
    const Temp_Folder folder;
    Append_File file;
    ASSERT_TRUE(file.open(folder.path("a")));
    const unsigned handles = kr_platform_testing::open_handle_count();
    ASSERT_TRUE(file.open(folder.path("b")));
    EXPECT_EQ(handles, kr_platform_testing::open_handle_count());
    EXPECT_TRUE(kr_platform::remove_file(folder.path("a")));
}

TEST(Append_File, WhatCannotBeOpenedGivesAnErrorAndNoFile)
{
    const Temp_Folder folder;
    for (const std::string& path :
         {folder.path(), folder.path("missing") + kr_platform::path_separator() + "file",
          std::string(),
          kr_platform_testing::unwritable_folder() + kr_platform::path_separator() + "file"}) {
        Append_File file;
        EXPECT_FALSE(file.open(path)) << path;
        EXPECT_FALSE(file.is_open());
        EXPECT_NE(0, file.error()) << path;
    }
}

TEST(Append_File, AFullDiskTakesNothingAndGivesItsError)
{
    const std::string full = "/dev/full";
    if (!std::filesystem::exists(full))
        GTEST_SKIP() << "this system has no device that is always full";
    Append_File file;
    ASSERT_TRUE(file.open(full));
    EXPECT_EQ(0u, file.write("text"));
    EXPECT_EQ(ENOSPC, file.error());
}

TEST(Append_File, AMoveTakesTheFileAlong)
{
    const Temp_Folder folder;
    Append_File file;
    ASSERT_TRUE(file.open(folder.path("a")));
    Append_File other;
    ASSERT_TRUE(other.open(folder.path("b")));
    other = std::move(file);
    EXPECT_TRUE(kr_platform::remove_file(folder.path("b"))) << "closed";
    const Append_File last(std::move(other));
    EXPECT_TRUE(last.is_at(folder.path("a")));
}

TEST(Append_File, KnowsWhetherAPathStillLeadsToIt)
{
    const Temp_Folder folder;
    const std::string path = folder.path("file");
    Append_File file;
    EXPECT_FALSE(file.is_at(path)) << "not open";
    ASSERT_TRUE(file.open(path, Append_File::Sharing::give_name));
    EXPECT_TRUE(file.is_at(path));
    std::filesystem::rename(path, folder.path("renamed"));
    EXPECT_FALSE(file.is_at(path));
    EXPECT_TRUE(file.is_at(folder.path("renamed")));
    folder.write("file", "another");
    EXPECT_FALSE(file.is_at(path));
    EXPECT_TRUE(kr_platform::remove_file(folder.path("renamed")));
    if (std::filesystem::exists(folder.path("renamed")))
        GTEST_SKIP() << "this system keeps the name of a deleted file that is open";
    EXPECT_FALSE(file.is_at(folder.path("renamed")));
    EXPECT_EQ(4u, file.write("text")) << "it lives on without a name";
}

TEST(Append_File, KeepsItsNameWhereTheSystemCanTellSo)
{
    const Temp_Folder folder;
    Append_File file;
    ASSERT_TRUE(file.open(folder.path("file")));
    EXPECT_EQ(kr_platform_testing::can_delete_open_files(),
              kr_platform::remove_file(folder.path("file")));
}

TEST(Append_File, NoChildInheritsIt)
{
    const Temp_Folder folder;
    const unsigned before = kr_platform_testing::inheritable_handle_count();
    Append_File file;
    ASSERT_TRUE(file.open(folder.path("file")));
    EXPECT_EQ(before, kr_platform_testing::inheritable_handle_count());
}

// In a process of its own, for its standard files go.
TEST(Append_FileDeathTest, TakesNoneOfTheStandardDescriptors)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            const Temp_Folder folder;
            for (int i = 0; i < 3; ++i)
                kr_platform_testing::close_standard_file(i);
            Append_File file;
            const bool is_open = file.open(folder.path("file"));
            kr_platform_testing::write_to_standard_files("foreign");
            file.write("own");
            const bool is_right = is_open && read_text(folder.path("file")) == "own";
            kr_platform::end_process(is_right ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace

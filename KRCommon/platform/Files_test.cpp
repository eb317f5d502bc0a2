#include <KRCommon/platform/Files.h>

#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Platform_testing.h>
#include <KRCommon/platform/Process_testing.h>
#include <tests/support/Temp_Folder.h>

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

using kr_platform::open_for_writing;
using kr_platform::Write_Mode;

std::streamoff position(std::filebuf& file)
{
    return std::ostream(&file).tellp();
}

void write(std::filebuf& file, const std::string& text)
{
    std::ostream(&file) << text << std::flush;
}

TEST(Files, AFileIsMadeAndWrittenInTextMode)
{
    for (const Write_Mode mode : {Write_Mode::append, Write_Mode::replace}) {
        const Temp_Folder folder;
        const std::string path = folder.path("file");
        std::filebuf file;
        ASSERT_TRUE(open_for_writing(file, path, mode));
        EXPECT_EQ(0, position(file));
        write(file, "a\nb\n");
        EXPECT_EQ("a\nb\n", read_text(path)) << "while it is open";
        const auto size = static_cast<std::streamoff>(kr_platform::file_info(path)->size);
        EXPECT_EQ(size, position(file)) << "bytes on disk";
    }
}

TEST(Files, AppendingBeginsAtTheEndAndReplacingWithNothing)
{
    const Temp_Folder folder;
    const std::string path = folder.write("file", "old\n");
    {
        std::filebuf file;
        ASSERT_TRUE(open_for_writing(file, path, Write_Mode::append));
        EXPECT_EQ(4, position(file));
        write(file, "new\n");
        EXPECT_EQ("old\nnew\n", read_text(path));
    }
    std::filebuf file;
    ASSERT_TRUE(open_for_writing(file, path, Write_Mode::replace));
    EXPECT_EQ(0, position(file));
    EXPECT_EQ("", read_text(path));
}

TEST(Files, AppendingGoesAfterWhatOthersHaveAppended)
{
    const Temp_Folder folder;
    const std::string path = folder.path("file");
    std::filebuf first;
    std::filebuf second;
    ASSERT_TRUE(open_for_writing(first, path, Write_Mode::append));
    ASSERT_TRUE(open_for_writing(second, path, Write_Mode::append));
    write(first, "a long line of the first\n");
    write(second, "second\n");
    write(first, "first\n");
    write(second, "second\n");
    EXPECT_EQ("a long line of the first\nsecond\nfirst\nsecond\n", read_text(path));
    EXPECT_EQ(static_cast<std::streamoff>(kr_platform::file_info(path)->size), position(second));
}

TEST(Files, ALineOfAnyLengthIsWrittenWhole)
{
    const Temp_Folder folder;
    std::filebuf file;
    ASSERT_TRUE(open_for_writing(file, folder.path("file"), Write_Mode::append));
    std::string all;
    for (const std::size_t length : {1, 510, 511, 512, 1023, 1024, 2047, 4095, 8191, 100'000}) {
        const std::string line = std::string(length, 'x') + '\n';
        write(file, line);
        all += line;
    }
    EXPECT_EQ(all, read_text(folder.path("file")));
}

TEST(Files, OpeningAnotherFileClosesTheFirst)
{
    const Temp_Folder folder;
    std::filebuf file;
    ASSERT_TRUE(open_for_writing(file, folder.path("a"), Write_Mode::append));
    const unsigned handles = kr_platform_testing::open_handle_count();
    write(file, "in a");
    ASSERT_TRUE(open_for_writing(file, folder.path("b"), Write_Mode::append));
    write(file, "in b");
    EXPECT_EQ(handles, kr_platform_testing::open_handle_count());
    EXPECT_TRUE(kr_platform::remove_file(folder.path("a")));
    EXPECT_EQ("in b", read_text(folder.path("b")));
}

TEST(Files, WhatCannotBeOpenedLeavesTheBufferAsItWas)
{
    const Temp_Folder folder;
    std::filebuf file;
    ASSERT_TRUE(open_for_writing(file, folder.path("a"), Write_Mode::append));
    const unsigned handles = kr_platform_testing::open_handle_count();
    for (const std::string& path :
         {folder.path(), folder.path("missing") + kr_platform::path_separator() + "file",
          std::string(),
          kr_platform_testing::unwritable_folder() + kr_platform::path_separator() + "file"})
        for (const Write_Mode mode : {Write_Mode::append, Write_Mode::replace})
            EXPECT_FALSE(open_for_writing(file, path, mode)) << path;
    write(file, "still in a");
    EXPECT_EQ("still in a", read_text(folder.path("a")));
    EXPECT_EQ(handles, kr_platform_testing::open_handle_count());
}

TEST(Files, OthersReadWhatIsWritten)
{
    const Temp_Folder folder;
    std::filebuf file;
    ASSERT_TRUE(open_for_writing(file, folder.path("file"), Write_Mode::append));
    std::ifstream reader(folder.path("file"));
    write(file, "text");
    std::string text;
    EXPECT_TRUE(reader >> text);
    EXPECT_EQ("text", text);
    EXPECT_EQ(kr_platform_testing::can_delete_open_files(),
              kr_platform::remove_file(folder.path("file")));
}

TEST(Files, NoChildInheritsThem)
{
    const Temp_Folder folder;
    const unsigned before = kr_platform_testing::inheritable_handle_count();
    std::filebuf log;
    std::filebuf table;
    ASSERT_TRUE(open_for_writing(log, folder.path("log"), Write_Mode::append));
    ASSERT_TRUE(open_for_writing(table, folder.path("table"), Write_Mode::replace));
    EXPECT_EQ(before, kr_platform_testing::inheritable_handle_count());
}

// In a process of its own, for its standard files go.
TEST(FilesDeathTest, TheyTakeNoneOfTheStandardDescriptors)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(
        {
            const Temp_Folder folder;
            std::filebuf files[4];
            for (int i = 0; i < 3; ++i)
                kr_platform_testing::close_standard_file(i);
            bool is_right = true;
            for (int i = 0; i < 4; ++i)
                is_right = is_right &&
                           open_for_writing(files[i], folder.path(std::to_string(i)),
                                            i % 2 == 0 ? Write_Mode::append : Write_Mode::replace);
            kr_platform_testing::write_to_standard_files("foreign");
            for (int i = 0; i < 4; ++i) {
                write(files[i], "own");
                is_right = is_right && read_text(folder.path(std::to_string(i))) == "own";
            }
            kr_platform::end_process(is_right ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
}

} // namespace

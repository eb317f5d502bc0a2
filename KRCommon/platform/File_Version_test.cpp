#include <KRCommon/platform/Version_Info.h>

#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Ends_Within.h>
#include <tests/support/Temp_Folder.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <iterator>
#include <memory>
#include <optional>
#include <string>

namespace {

using kr_platform::file_version;
using kr_platform::File_Version;

std::string sample(const std::string& name)
{
    return std::string(KR_VERSION_SAMPLES) + "/" + name + ".dll";
}

std::string read_bytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// The version that is read with errno as a call of before may have left it. Reading that does not
// end is a failure, and the test goes on without its result.
std::optional<File_Version> version_after(int error, const std::string& path)
{
    const auto version = std::make_shared<std::optional<File_Version>>();
    EXPECT_TRUE(ends_within(std::chrono::seconds(30), [version, error, path] {
        errno = error;
        *version = file_version(path);
    })) << path;
    return *version;
}

TEST(FileVersion, IsReadFromLibrariesOfBothSizes)
{
    EXPECT_EQ((File_Version{6, 3, 2, 15}), file_version(sample("x86_6.3.2.15")));
    EXPECT_EQ((File_Version{6, 3, 2, 15}), file_version(sample("x64_6.3.2.15")));
    EXPECT_EQ((File_Version{40000, 1, 65535, 0}), file_version(sample("x64_40000.1.65535.0")));
    EXPECT_EQ((File_Version{1, 2, 3, 4}), file_version(sample("x86_several_1.2.3.4")));
}

TEST(FileVersion, OfWhatHasNoneIsNothing)
{
    const Temp_Folder folder;
    EXPECT_EQ(std::nullopt, file_version(sample("x86_other_resource")));
    EXPECT_EQ(std::nullopt, file_version(sample("x64_no_resources")));
    EXPECT_EQ(std::nullopt, file_version(folder.write("text.dll", "6.3.2.15\n")));
    EXPECT_EQ(std::nullopt, file_version(folder.write("empty.dll", "")));
    EXPECT_EQ(std::nullopt, file_version(folder.path("missing.dll")));
    EXPECT_EQ(std::nullopt, file_version(folder.path()));
    EXPECT_EQ(std::nullopt, file_version(""));
}

TEST(FileVersion, OfAFileThatEndsWithinItIsNothing)
{
    const std::string whole = read_bytes(sample("x64_6.3.2.15"));
    ASSERT_EQ(1024u, whole.size());
    const Temp_Folder folder;
    for (const std::size_t size : {0x284u, 0x288u, 0x28Cu, 0x290u, 0x2B3u})
        EXPECT_EQ(std::nullopt, file_version(folder.write("cut.dll", whole.substr(0, size))))
            << size;
}

TEST(FileVersion, IsThatOfTheFileNamedBeforeTheFirstZero)
{
    using namespace std::string_literals;
    EXPECT_EQ((File_Version{6, 3, 2, 15}), file_version(sample("x86_6.3.2.15") + "\0.dll"s));
}

TEST(FileVersion, LeavesNoFileOpen)
{
    const Temp_Folder folder;
    const std::string text = folder.write("text.dll", "6.3.2.15\n");
    EXPECT_EQ(std::nullopt, file_version(text)); // whatever the first one brings along
    const unsigned before = kr_platform_testing::open_handle_count();
    EXPECT_NE(std::nullopt, file_version(sample("x86_6.3.2.15")));
    EXPECT_EQ(std::nullopt, file_version(text));
    EXPECT_EQ(std::nullopt, file_version(folder.path()));
    EXPECT_EQ(std::nullopt, file_version(folder.path("missing.dll")));
    EXPECT_EQ(before, kr_platform_testing::open_handle_count());
}

TEST(FileVersion, OfAPipeThatNobodyWritesToIsNothingAtOnce)
{
    const Temp_Folder folder;
    const std::string pipe = folder.path("pipe.dll");
    if (!kr_platform_testing::make_pipe(pipe))
        GTEST_SKIP() << "folders hold no pipes here";
    EXPECT_EQ(std::nullopt, version_after(0, pipe));
}

TEST(FileVersion, OfAFileThatRefusesToBeReadIsNothing)
{
    const std::string path = kr_platform_testing::unreadable_file();
    if (path.empty())
        GTEST_SKIP() << "no file here opens and cannot be read";
    EXPECT_EQ(std::nullopt, version_after(0, path));
    EXPECT_EQ(std::nullopt, version_after(EINTR, path));
}

TEST(FileVersion, ACallThatWasInterruptedBeforeDoesNotCount)
{
    const Temp_Folder folder;
    EXPECT_EQ(std::nullopt, version_after(EINTR, folder.write("empty.dll", "")));
    EXPECT_EQ(std::nullopt, version_after(EINTR, folder.write("short.dll", "MZ")));
    EXPECT_EQ((File_Version{6, 3, 2, 15}), version_after(EINTR, sample("x64_6.3.2.15")));
}

} // namespace

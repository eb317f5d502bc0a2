#include <KRCommon/platform/Version_Info.h>

#include <KRCommon/platform/Pe_Version.h>
#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Temp_Folder.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace {

using kr_platform::file_version;
using kr_platform::File_Version;
using kr_platform_testing::has_version_reader;
using kr_platform_testing::system_file_version;

std::string sample_path(const std::string& name)
{
    return std::string(KR_VERSION_SAMPLES) + "/" + name + ".dll";
}

std::string bytes_of(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string text_of(const std::optional<File_Version>& version)
{
    std::string text;
    if (version)
        for (const std::uint16_t part : *version)
            text += (text.empty() ? "" : ".") + std::to_string(part);
    return text;
}

std::string version_in_memory(const std::string& file)
{
    return text_of(kr_platform::pe_file_version(
        [&](std::uint64_t offset, unsigned char* out, std::size_t count) {
            if (offset > file.size() || count > file.size() - offset)
                return false;
            std::memcpy(out, file.data() + offset, count);
            return true;
        }));
}

std::string with_number(std::string file, std::size_t at, std::uint32_t number)
{
    for (std::size_t i = 0; i < 4 && at + i < file.size(); ++i)
        file[at + i] = static_cast<char>(number >> 8 * i);
    return file;
}

// Each number of a file replaced, one after the other, by ones that lead too far. The process
// survives, and both systems say the same of how many files.
TEST(VersionInfo_Slow, OfDamagedFilesIsTheSameEverywhere)
{
    const Temp_Folder folder;
    const struct {
        std::uint32_t number;
        bool is_written; // to disk as well, which takes its time under Wine
    } damages[] = {{0, false},          {0x1000, true},      {0xFFFF, false},
                   {0x7FFFFFFF, false}, {0x80000018, false}, {0xFFFFFFFF, true}};
    int files = 0;
    int versions = 0;
    for (const char* name : {"x86_6.3.2.15", "x64_6.3.2.15"}) {
        const std::string intact = bytes_of(sample_path(name));
        ASSERT_EQ("6.3.2.15", version_in_memory(intact));
        for (std::size_t at = 0; at < intact.size(); at += 4)
            for (const auto& damage : damages) {
                SCOPED_TRACE(name + (" " + std::to_string(at)) + " " +
                             std::to_string(damage.number));
                const std::string damaged = with_number(intact, at, damage.number);
                const std::string version = version_in_memory(damaged);
                ++files;
                versions += version.empty() ? 0 : 1;
                if (damage.is_written) {
                    const std::string path = folder.write("damaged.dll", damaged);
                    ASSERT_EQ(version, text_of(file_version(path)));
                }
            }
    }
    EXPECT_EQ(3'072, files);
    EXPECT_EQ(2'756, versions);
}

// The sizes that end a process that has Windows' own reader in Wine read them.
TEST(VersionInfo, OfAResourceThatEndsBehindTheFileIsRead)
{
    const Temp_Folder folder;
    constexpr std::size_t data_size = 0x24C; // in x64_6.3.2.15.dll
    const std::string intact = bytes_of(sample_path("x64_6.3.2.15"));
    for (const std::uint32_t size : {0x1000U, 0x10000U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU})
        EXPECT_EQ("6.3.2.15", text_of(file_version(folder.write(
                                  "damaged.dll", with_number(intact, data_size, size)))))
            << size;
}

TEST(VersionInfo, OfCutFilesNeedsTheFixedBlock)
{
    const Temp_Folder folder;
    const std::string intact = bytes_of(sample_path("x86_6.3.2.15"));
    for (std::size_t size = 0; size <= intact.size(); size += 32) {
        const std::string cut = intact.substr(0, size);
        EXPECT_EQ(version_in_memory(cut), text_of(file_version(folder.write("cut.dll", cut))));
    }
}

TEST(VersionInfo, OfIntactFilesIsWhatTheSystemsReaderSays)
{
    if (!has_version_reader())
        GTEST_SKIP() << "this system has no reader of version resources";
    for (const char* name :
         {"x86_6.3.2.15", "x64_6.3.2.15", "x86_40000.1.65535.0", "x64_40000.1.65535.0",
          "x86_several_1.2.3.4", "x86_other_resource", "x64_no_resources"})
        EXPECT_EQ(system_file_version(sample_path(name)), text_of(file_version(sample_path(name))))
            << name;
}

TEST(VersionInfo, OfTheSystemsOwnFilesIsWhatTheSystemsReaderSays)
{
    if (!has_version_reader())
        GTEST_SKIP() << "this system has no reader of version resources";
    int versions = 0;
    for (const auto& entry : std::filesystem::directory_iterator("C:\\windows\\system32")) {
        if (!entry.is_regular_file())
            continue;
        const std::string path = entry.path().string();
        const std::string version = text_of(file_version(path));
        EXPECT_EQ(system_file_version(path), version) << path;
        versions += version.empty() ? 0 : 1;
    }
    EXPECT_GT(versions, 10);
}

TEST(VersionInfo, OfABareNameIsLookedForWhereLibrariesAre)
{
    if (!has_version_reader())
        GTEST_SKIP() << "this system looks in the working folder only";
    for (const char* name : {"kernel32.dll", "kernel32", "KERNEL32.DLL", "ntdll"}) {
        const std::string version = text_of(file_version(name));
        EXPECT_EQ(system_file_version(name), version) << name;
        EXPECT_NE("", version) << name;
    }
    EXPECT_EQ("", text_of(file_version("kernel33")));
}

TEST(VersionInfo, OfAFileInTheWorkingFolderIsRead)
{
    const Temp_Folder folder;
    const auto before = std::filesystem::current_path();
    const std::string bytes = bytes_of(sample_path("x86_6.3.2.15"));
    folder.write("with.extension", bytes);
    folder.write("without", bytes);
    std::filesystem::current_path(folder.path());
    EXPECT_EQ("6.3.2.15", text_of(file_version("with.extension")));
    EXPECT_EQ("6.3.2.15", text_of(file_version("without")));
    EXPECT_EQ("", text_of(file_version("missing")));
    EXPECT_EQ("", text_of(file_version("")));
    EXPECT_EQ("", text_of(file_version(".")));
    std::filesystem::current_path(before);
}

TEST(VersionInfo, GivesItsHandlesBack)
{
    const std::string path = sample_path("x86_6.3.2.15");
    static_cast<void>(file_version(path));
    const unsigned before = kr_platform_testing::open_handle_count();
    for (int i = 0; i < 10; ++i)
        static_cast<void>(file_version(path));
    EXPECT_EQ(before, kr_platform_testing::open_handle_count());
}

} // namespace

#include <KRCommon/util/Program_Version.h>

#include <KRCommon/platform/Platform.h>

#include <tests/support/Temp_Folder.h>

#include <gtest/gtest.h>

#include <string>

namespace {

using Source = KR_Program_Version::Source;

std::string sample(const std::string& name)
{
    return std::string(KR_VERSION_SAMPLES) + "/" + name + ".dll";
}

TEST(KrProgramVersion, OfAFileForWindowsIsItsResources)
{
    const KR_Program_Version version = kr_program_version(sample("x64_6.3.2.15"));
    EXPECT_EQ("6.3.2.15", version.version);
    EXPECT_EQ(Source::resource, version.source);
    EXPECT_EQ(sample("x64_6.3.2.15"), version.path);
    EXPECT_EQ("", version.soname + version.build_id);
    EXPECT_EQ("40000.1.65535.0", kr_program_version(sample("x86_40000.1.65535.0")).version);
}

// The build gives this program the version note 7.6.5 where there are such notes.
TEST(KrProgramVersion, OfThisProgramIsItsNote)
{
    const KR_Program_Version version = kr_running_program_version();
    EXPECT_EQ(kr_platform::program_path(), version.path);
    EXPECT_EQ(KR_HAS_VERSION_NOTES ? "7.6.5" : "", version.version);
    EXPECT_EQ(KR_HAS_VERSION_NOTES ? Source::note : Source::none, version.source);
    EXPECT_EQ("", version.soname);
    // the code of this test is the library's
    EXPECT_EQ(version.version, kr_library_version().version);
}

TEST(KrProgramVersion, OfWhatIsNoneIsEmpty)
{
    const Temp_Folder folder;
    for (const std::string& path :
         {std::string(), folder.path(), folder.path("missing"), folder.write("empty", ""),
          folder.write("text", "6.3.2.15"),
          folder.write("short", "\x7F"
                                "ELF"),
          folder.write("zeros", std::string(4'096, '\0')), sample("x64_no_resources")}) {
        const KR_Program_Version version = kr_program_version(path);
        EXPECT_EQ(path, version.path);
        EXPECT_EQ("", version.version + version.soname + version.build_id) << path;
        EXPECT_EQ(Source::none, version.source);
    }
}

TEST(KrProgramVersion, OfASonameIsItsNumbers)
{
    using kr_internal::version_in_soname;
    const struct {
        const char* soname;
        const char* version;
    } rows[] = {{"libcamera.so.1", "1"},
                {"libcamera.so.1.2.3", "1.2.3"},
                {"libACE-7.0.8.so", "7.0.8"},
                {"libcamera-7.so.1.2", "1.2"},
                {"lib-x-3.so", "3"},
                {"libcamera.so", ""},
                {"libcamera", ""},
                {"libcamera.so.", ""},
                {"libcamera.so.1.", ""},
                {"libcamera.so..1", ""},
                {"libcamera.so.x", ""},
                {"libcamera.so1", ""},
                {"libcamera-.so", ""},
                {"libcamera-7a.so", ""},
                {".so.5", "5"},
                {"", ""}};
    for (const auto& row : rows)
        EXPECT_EQ(row.version, version_in_soname(row.soname)) << row.soname;
}

TEST(KrProgramVersion, HasATextForLogs)
{
    KR_Program_Version version;
    version.path = std::string("folder") + kr_platform::path_separator() + "kr_server";
    EXPECT_EQ("kr_server of unknown version", kr_to_string(version));
    version.version = "2.1.0";
    EXPECT_EQ("kr_server 2.1.0", kr_to_string(version));
    version.build_id = "14b693e3e38e4c1cf6d6c499d08ed45a24f41b49";
    EXPECT_EQ("kr_server 2.1.0 (build 14b693e3e38e)", kr_to_string(version));
    version.build_id = "14b6";
    EXPECT_EQ("kr_server 2.1.0 (build 14b6)", kr_to_string(version));
}

} // namespace

// What a process sees when it loads the library: from folders with and without a configuration
// file, through a child process that loads a copy of the library itself.

#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Child_Process.h>
#include <tests/support/Log_Text_Matching.h>

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace {

// KR_LIBRARY_NAME is the library's file name.
std::string put_library(const std::string& folder, const std::string& name = KR_LIBRARY_NAME)
{
    std::filesystem::create_directories(folder);
    const std::string path = folder + kr_platform::path_separator() + name;
    std::filesystem::copy_file(program_folder() + KR_LIBRARY_NAME, path);
    return path;
}

void put_configuration(const std::string& folder, const std::string& text)
{
    std::ofstream(folder + kr_platform::path_separator() + "KRCommon.xml", std::ios::binary)
        << text;
}

constexpr const char* good_configuration =
    "<configuration><colors><presets>\n"
    "<preset color='red' rgb='FF0000' hue_from='340' hue_to='15' sat_from='0.4' sat_to='1'"
    " val_from='0.3' val_to='1'/>\n"
    "</presets></colors></configuration>\n";

std::string emergency(const std::string& folder, const std::string& error)
{
    return "*EMR Failed to read '" + folder + kr_platform::path_separator() +
           "KRCommon.xml' file: " + error + "\n";
}

// The one line that stands between nothing and "loaded", without its stamp and thread number.
std::string line_at_load(const Child_Result& child)
{
    const std::string::size_type end = child.output.find("loaded\nunloaded\n");
    EXPECT_NE(std::string::npos, end) << child.output;
    EXPECT_EQ(0, child.exit_code);
    const std::string before = child.output.substr(0, end);
    return before.empty() ? before : before.substr(before.find('*'));
}

TEST(Attach, AFolderWithAGoodFileLoadsInSilence)
{
    const Temp_Folder folder;
    const std::string library = put_library(folder.path("bin"));
    put_configuration(folder.path("bin"), good_configuration);
    EXPECT_EQ("", line_at_load(run_child("loader", {library})));
}

TEST(Attach, AFolderWithoutTheFileGivesOneLineAndLoads)
{
    const Temp_Folder folder;
    const std::string library = put_library(folder.path("bin"));
    const Child_Result child = run_child("loader", {library});
    EXPECT_EQ(emergency(folder.path("bin"), "line:0-''-Unable to open file"), line_at_load(child));
    EXPECT_TRUE(std::regex_search(child.output,
                                  std::regex("^[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6} T[0-9]{4,}"
                                             "\\*EMR Failed to read ")))
        << child.output;
}

TEST(Attach, AMalformedFileGivesOneLineAndLoads)
{
    const Temp_Folder folder;
    const std::string library = put_library(folder.path("bin"));
    put_configuration(folder.path("bin"), "<configuration>\n<colors>\n</configuration>\n");
    EXPECT_EQ(emergency(folder.path("bin"), "line:2-'colors'-Bad end of element"),
              line_at_load(run_child("loader", {library})));
}

TEST(Attach, ABadColourIsNamedWithItsLine)
{
    const Temp_Folder folder;
    const std::string library = put_library(folder.path("bin"));
    put_configuration(folder.path("bin"),
                      "<?xml version='1.0'?>\n<configuration>\n<colors>\n<presets>\n\n\n"
                      "<preset color='Red'/>\n</presets>\n</colors>\n</configuration>\n");
    EXPECT_EQ(emergency(folder.path("bin"), "line:7-'color'-Value does not match enumerations"),
              line_at_load(run_child("loader", {library})));
}

TEST(Attach, AFolderInPlaceOfTheFileGivesOneLine)
{
    const Temp_Folder folder;
    const std::string library = put_library(folder.path("bin"));
    std::filesystem::create_directory(folder.path("bin") + "/KRCommon.xml");
    EXPECT_EQ(emergency(folder.path("bin"), "line:0-''-Unable to open file"),
              line_at_load(run_child("loader", {library})));
}

// Nobody writes to the pipe: a reader that waits would keep the process from starting.
TEST(Attach, APipeInPlaceOfTheFileGivesOneLine)
{
    const Temp_Folder folder;
    const std::string library = put_library(folder.path("bin"));
    if (!kr_platform_testing::make_pipe(folder.path("bin") + "/KRCommon.xml"))
        GTEST_SKIP() << "folders of this system hold no pipes";
    EXPECT_EQ(emergency(folder.path("bin"), "line:0-''-Unable to open file"),
              line_at_load(run_child("loader", {library})));
}

TEST(Attach, APathWithBlanksIsFound)
{
    const Temp_Folder folder;
    const std::string bin = folder.path(" a folder  with blanks");
    const std::string library = put_library(bin);
    EXPECT_EQ(emergency(bin, "line:0-''-Unable to open file"),
              line_at_load(run_child("loader", {library})));
    put_configuration(bin, good_configuration);
    EXPECT_EQ("", line_at_load(run_child("loader", {library})));
}

TEST(Attach, TheLibraryMayHaveAnyName)
{
    const Temp_Folder folder;
    const std::string library = put_library(folder.path("bin"), "another name.dll");
    put_configuration(folder.path("bin"), good_configuration);
    EXPECT_EQ("", line_at_load(run_child("loader", {library})));
}

// The module's path is asked for with room for 255 characters; its folder is what matters.
TEST(Attach, PathsNearTheLimitOfTheNameAreFound)
{
    for (const std::size_t length : {252, 253, 254, 255, 256, 259}) {
        const Temp_Folder folder;
        const std::size_t room = length - folder.path().size() - sizeof "KRCommon.xml";
        const std::string bin = folder.path(std::string(room - 1, 'x'));
        const std::string library = put_library(bin, "KRCommon.dll");
        ASSERT_EQ(length, library.size());
        EXPECT_EQ(emergency(bin, "line:0-''-Unable to open file"),
                  line_at_load(run_child("loader", {library})))
            << length;
        put_configuration(bin, good_configuration);
        EXPECT_EQ("", line_at_load(run_child("loader", {library}))) << length;
    }
}

// What a host is told that asks the library itself.
std::string status_at_load(const std::string& library)
{
    const Child_Result child = run_child("loader", {library, "status"});
    EXPECT_EQ(0, child.exit_code);
    const std::string::size_type begin = child.output.rfind("*EMR Failed to read ");
    if (begin == std::string::npos)
        return child.output;
    return child.output.substr(child.output.find('\n', begin) + 1);
}

TEST(Attach, AHostCanAskWhatBecameOfTheFile)
{
    const Temp_Folder folder;
    const std::string bin = folder.path("bin");
    const std::string library = put_library(bin);
    const std::string path = bin + kr_platform::path_separator() + "KRCommon.xml";
    EXPECT_EQ("not read\n" + path + "\nline:0-''-Unable to open file\n", status_at_load(library));
    put_configuration(bin, "<configuration>\n<colors color='red'/></configuration>\n");
    EXPECT_EQ("not read\n" + path + "\nline:2-'color'-Unexpected attribute\n",
              status_at_load(library));
    put_configuration(bin, good_configuration);
    EXPECT_EQ("read\n" + path + "\n\n", status_at_load(library));
}

TEST(Attach, AThousandLoadsAndUnloadsLeaveNoHandleOpen)
{
    const Temp_Folder folder;
    const std::string library = put_library(folder.path("bin"));
    put_configuration(folder.path("bin"), good_configuration);
    const Child_Result child = run_child("loader", {library, "1000"});
    EXPECT_EQ(0, child.exit_code);
    std::smatch handles;
    ASSERT_TRUE(std::regex_match(child.output, handles,
                                 std::regex("handles: ([0-9]+)\nhandles: ([0-9]+)\n")))
        << child.output;
    EXPECT_EQ(handles[1], handles[2]);
}

} // namespace

// What threads leave behind, and where the lines of their ends go, in processes that use the
// library itself: it is told of threads on Windows.

#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Child_Process.h>
#include <tests/support/Sanitizers.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

/// The messages of all log files in a folder, in the order of the files' names.
std::vector<std::string> messages(const Temp_Folder& folder)
{
    std::vector<std::string> messages;
    for (const std::string& name : folder.names()) {
        std::istringstream lines(read_text(folder.path(name)));
        for (std::string line; std::getline(lines, line);)
            messages.push_back(line.substr(line.find(" INF ") + 5));
    }
    return messages;
}

class Threads_Of_Kind_Slow : public testing::TestWithParam<const char*> {};

TEST_P(Threads_Of_Kind_Slow, TenThousandLeaveNoHandleAndNoMemory)
{
    const Temp_Folder folder;
    const Child_Result child =
        run_child("host", {"threads", folder.path(), GetParam(), "10000"}, std::chrono::minutes(4));
    EXPECT_EQ(0, child.exit_code);
    std::smatch figures;
    ASSERT_TRUE(std::regex_match(child.output, figures,
                                 std::regex("([0-9]+) handles, ([0-9]+) bytes\n"
                                            "([0-9]+) handles, ([0-9]+) bytes\n")))
        << child.output;
    EXPECT_EQ(figures[1], figures[3]) << "open handles after 1,000 and after 10,000 threads";
    if (gives_memory_back) {
        EXPECT_LT(std::stoll(figures[4]), std::stoll(figures[2]) + 200'000) << "bytes of memory";
    }
}

INSTANTIATE_TEST_SUITE_P(Threads_Slow, Threads_Of_Kind_Slow,
                         testing::Values("std", "system", "runtime", "ace"));

class Threads_Of_Kind : public testing::TestWithParam<const char*> {};

TEST_P(Threads_Of_Kind, LinesOfAnEndingThreadGoToTheFile)
{
    const Temp_Folder folder;
    const Child_Result child = run_child("host", {"last_words", folder.path(), GetParam()});
    EXPECT_EQ(0, child.exit_code);
    std::vector<std::string> expected{"the thread", "the thread's object", "the thread's end",
                                      "the process's object"};
    if (!kr_platform_testing::are_thread_starts_reported())
        expected.emplace_back("the thread's very end");
    EXPECT_THAT(messages(folder), testing::UnorderedElementsAreArray(expected));
}

TEST_P(Threads_Of_Kind, AnEndingThreadWhoseStreamWasTakenAwayStaysWithout)
{
    const Temp_Folder folder;
    const Child_Result child = run_child("host", {"last_words", folder.path(), GetParam(), "away"});
    EXPECT_EQ(0, child.exit_code);
    EXPECT_THAT(messages(folder), ElementsAre("the thread", "the process's object"));
}

INSTANTIATE_TEST_SUITE_P(Threads, Threads_Of_Kind,
                         testing::Values("std", "system", "runtime", "ace"));

// A module that uses the library comes and goes; so does the library, until a log has been opened.
TEST(Threads, AThreadThatOutlivesAnUnloadingLogsToTheNextFile)
{
    const Temp_Folder folder;
    const Child_Result child =
        run_child("plugin_host", {program_folder() + KR_PLUGIN_NAME, "reload", folder.path(), "4"});
    EXPECT_EQ(0, child.exit_code);
    EXPECT_THAT(folder.names(), testing::SizeIs(4));
    EXPECT_THAT(messages(folder), ElementsAre("main 0", "worker 0", "main 1", "worker 1", "main 2",
                                              "worker 2", "main 3", "worker 3"));
    std::smatch handles;
    ASSERT_TRUE(std::regex_match(child.output, handles,
                                 std::regex("([0-9]+) handles\n([0-9]+) handles\n"
                                            "([0-9]+) handles\n([0-9]+) handles\n")))
        << child.output;
    EXPECT_EQ(handles[1], handles[4]) << "open handles, in each of the loads";
}

} // namespace

// How processes end that have not closed their log, with threads that know nothing of the end.

#include <KRCommon/platform/Platform.h>
#include <tests/support/Child_Process.h>
#include <tests/support/Sanitizers.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

void leave_while_16_threads_log(int times, const char* lines)
{
    for (int i = 0; i < times; ++i) {
        const Temp_Folder folder;
        const Child_Result child =
            run_child("host", {"leave", folder.path(), lines}, std::chrono::seconds(30));
        ASSERT_EQ(0, child.exit_code) << child.output << "in run " << i;
    }
}

TEST(Exit, SixteenThreadsMayLogWhileMainReturns)
{
    leave_while_16_threads_log(3, "by ACE");
}

TEST(Exit, SixteenThreadsMayLogFastLinesWhileMainReturns)
{
    leave_while_16_threads_log(3, "fast");
}

TEST(Exit_Slow, FiftyTimesSixteenThreadsMayLogWhileMainReturns)
{
    leave_while_16_threads_log(50, "by ACE");
}

TEST(Exit_Slow, FiftyTimesSixteenThreadsMayLogFastLinesWhileMainReturns)
{
    leave_while_16_threads_log(50, "fast");
}

// The log's objects are older than what is left of the process, ACE's not: its log lock is gone.
TEST(Exit, NoThreadEntersAceOnceItsObjectsAreGone)
{
    if (!kr_platform::do_threads_outlive_exit())
        GTEST_SKIP() << "the other threads have ended before objects of a DLL are destroyed";
    const Temp_Folder folder;
    const Child_Result child =
        run_child("plugin_host", {program_folder() + KR_PLUGIN_NAME, "leave", folder.path()});
    EXPECT_EQ(0, child.exit_code);
    EXPECT_EQ("0 lines after the end\n", child.output);
}

TEST(Exit, AThreadMayHoldTheLogLockForEver)
{
    if (is_under_thread_sanitizer)
        GTEST_SKIP() << "ThreadSanitizer reports that ACE destroys a lock that is held";
    const Temp_Folder folder;
    const Child_Result child =
        run_child("host", {"stuck", folder.path(), "lock"}, std::chrono::seconds(30));
    EXPECT_EQ(0, child.exit_code);
    EXPECT_EQ("main returns\n", child.output);
}

class Exit_With_A_Stuck_Line : public testing::TestWithParam<const char*> {};

TEST_P(Exit_With_A_Stuck_Line, EndsAfterASecond)
{
    if (!kr_platform::do_threads_outlive_exit())
        GTEST_SKIP() << "the C runtime itself waits for a thread that writes to stderr at exit, "
                        "before the library is told of anything";
    if (is_under_thread_sanitizer)
        GTEST_SKIP() << "ThreadSanitizer cannot end a process whose stderr is stuck";
    const Temp_Folder folder;
    const Child_Result child =
        run_child("host", {"stuck", folder.path(), GetParam()}, std::chrono::seconds(30));
    EXPECT_EQ(0, child.exit_code);
    EXPECT_EQ("main returns\n", child.output);
}

INSTANTIATE_TEST_SUITE_P(Exit, Exit_With_A_Stuck_Line, testing::Values("pipe", "reactor"));

} // namespace

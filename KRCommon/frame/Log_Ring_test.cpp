// What led up to an error: lines that the level dropped.

#include <KRCommon/frame/Log_Ring.h>

#include <KRCommon/frame/Log_Disk_testing.h>
#include <KRCommon/frame/Log_Manager_testing.h>
#include <KRCommon/platform/Process_testing.h>
#include <tests/support/Log_Text_Matching.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace {

using kr_internal::Log_Ring;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;

void keep(Log_Ring& ring, const std::string& line)
{
    ring.keep([&](Log_Ring::Text& text) { return line.copy(text.data(), text.size()); });
}

std::vector<std::string> taken_from(Log_Ring& ring)
{
    std::vector<std::string> lines;
    ring.take([&](std::string_view line) { lines.emplace_back(line); });
    return lines;
}

TEST(Log_Ring, KeepsTheLastLinesInTheirOrderAndForgetsThemWhenTheyAreTaken)
{
    Log_Ring ring(3);
    EXPECT_TRUE(ring.is_empty());
    EXPECT_THAT(taken_from(ring), ElementsAre());
    keep(ring, "a");
    EXPECT_FALSE(ring.is_empty());
    keep(ring, "b");
    EXPECT_THAT(taken_from(ring), ElementsAre("a", "b"));
    EXPECT_TRUE(ring.is_empty());
    EXPECT_THAT(taken_from(ring), ElementsAre());
    for (const char* const line : {"c", "d", "e", "f", "g"})
        keep(ring, line);
    EXPECT_THAT(taken_from(ring), ElementsAre("e", "f", "g"));
}

TEST(Log_Ring, OfOneLineKeepsTheLast)
{
    Log_Ring ring(1);
    keep(ring, "a");
    keep(ring, "b");
    EXPECT_THAT(taken_from(ring), ElementsAre("b"));
}

TEST(Log_Ring, WhoKeepsAndTakesWaitsForNobody)
{
    Log_Ring ring(2);
    keep(ring, "a");
    ring.keep([&](Log_Ring::Text& text) {
        keep(ring, "b"); // the other place
        keep(ring, "dropped, for this place is in use");
        EXPECT_THAT(taken_from(ring), ElementsAre("b"));
        text[0] = 'c';
        return std::size_t{1};
    });
}

TEST(Log_Ring, AForkedChildForgetsWhatOthersWereWriting)
{
    Log_Ring ring(2);
    ring.keep([&](Log_Ring::Text&) {
        ring.forget_other_threads();
        return std::size_t{0};
    });
    keep(ring, "a");
    keep(ring, "b");
    EXPECT_THAT(taken_from(ring), ElementsAre("a", "b"));
}

TEST(Log_Ring, LinesOfManyThreadsAreWhole)
{
    Log_Ring ring(16);
    std::atomic<bool> is_over{false};
    std::vector<std::thread> threads;
    for (char c = 'a'; c < 'e'; ++c)
        threads.emplace_back([&, c] {
            while (!is_over)
                keep(ring, std::string(300, c));
        });
    for (int i = 0; i < 2'000; ++i)
        ring.take([](std::string_view line) { EXPECT_EQ(std::string(300, line[0]), line); });
    is_over = true;
    for (std::thread& thread : threads)
        thread.join();
}

class Log_Kept : public Both_Kinds_Of_Lines {
protected:
    void SetUp() override
    {
        KR_Log_Options options = with_lines();
        options.ring_lines = 5;
        manager_.set_options(options);
        manager_.open_in(folder_.path());
        manager_.set_debug_level(1);
    }
    void TearDown() override
    {
        manager_.set_options({});
        release_files();
    }

    static void fail() { kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR failed\n"); }
    // The file's lines without stamp and thread.
    std::vector<std::string> lines() const
    {
        std::vector<std::string> lines;
        const std::string text = read_text(manager_.status().file);
        for (std::size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
            const std::string line = text.substr(at, text.find('\n', at) - at);
            EXPECT_THAT(line, FullyMatches(R"(\d\d:\d\d:\d\d\.\d{6} T\d{4,}[ *][A-Z]{3} .*)"));
            lines.push_back(line.substr(line.find_first_of(" *", line.find(" T") + 1)));
        }
        return lines;
    }

    Temp_Folder folder_;
    Test_Log_Manager manager_;
};

TEST_P(Log_Kept, AnErrorBringsTheLinesThatTheLevelDropped)
{
    say("one");
    kr_log(KR_LOG_SITE(LM_DEBUG), "%T T%04t DBG two %d %f %s\n", 2, 0.5, std::string("a\nb"));
    EXPECT_THAT(lines(), ElementsAre());
    fail();
    EXPECT_THAT(lines(),
                ElementsAre(" INF KR_LOG_MANAGER: Lines that the level held back:", " INF one",
                            " DBG two 2 0.500000 a\\nb",
                            " INF KR_LOG_MANAGER: End of 2 lines that the level held back.",
                            "*ERR failed"));
    fail();
    EXPECT_EQ(6u, lines().size()) << "they come once";
}

TEST_P(Log_Kept, TheyAreTheLastOnes)
{
    for (int i = 0; i < 20; ++i)
        say(std::to_string(i));
    fail();
    ASSERT_EQ(8u, lines().size());
    EXPECT_EQ(" INF 15", lines()[1]);
    EXPECT_EQ(" INF 19", lines()[5]);
}

TEST_P(Log_Kept, TheyGoIntoTheFileAlone)
{
    say("one");
    testing::internal::CaptureStderr();
    ACE_Log_Msg::instance()->set_flags(ACE_Log_Msg::STDERR);
    fail();
    ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::STDERR);
    const std::string said = testing::internal::GetCapturedStderr();
    EXPECT_THAT(said, HasSubstr("failed"));
    EXPECT_THAT(said, Not(HasSubstr("one")));
}

TEST_P(Log_Kept, AnErrorThatTheLevelDropsBringsNothingAndIsKeptItself)
{
    manager_.set_debug_level(0);
    say("one");
    fail();
    EXPECT_THAT(lines(), ElementsAre());
    kr_log(KR_LOG_SITE(LM_EMERGENCY), "%T T%04t*EMR end\n");
    EXPECT_THAT(lines(),
                ElementsAre(" INF KR_LOG_MANAGER: Lines that the level held back:", " INF one",
                            "*ERR failed",
                            " INF KR_LOG_MANAGER: End of 2 lines that the level held back.",
                            "*EMR end"));
}

TEST_P(Log_Kept, LongLinesAreCutAndErrnoStays)
{
    errno = EACCES;
    say(std::string(2'000, 'x'));
    EXPECT_EQ(EACCES, errno);
    fail();
    ASSERT_EQ(4u, lines().size());
    EXPECT_LT(900u, lines()[1].size());
    EXPECT_EQ("xxx...", lines()[1].substr(lines()[1].size() - 6));
}

TEST_P(Log_Kept, FloodsAreNotKept)
{
    kr_log_limited(KR_LOG_SITE(LM_INFO), "%T T%04t INF flood\n");
    fail();
    EXPECT_THAT(lines(), ElementsAre("*ERR failed"));
}

TEST_P(Log_Kept, NothingIsKeptWhenItIsOff)
{
    manager_.set_options({});
    say("one");
    fail();
    EXPECT_THAT(lines(), ElementsAre("*ERR failed"));
}

TEST_P(Log_Kept, ThreadsThatKeepRotateAndFailAtOnceTearNoLine)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&, i] {
            for (int line = 0; line < 300; ++line) {
                say("text");
                if (line % 10 == i)
                    fail();
                if (i == 0 && line % 50 == 0)
                    manager_.reopen();
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_LT(120u, lines().size());
}

TEST_P(Log_Kept, AFullDiskKeepsNobodyWaiting)
{
    Fake_Disk disk;
    say("one");
    disk.set_room(60);
    fail();
    EXPECT_FALSE(manager_.status().is_good);
    say("two");
    fail();
}

TEST_P(Log_Kept, AForkedChildHasThemToo)
{
    if (!kr_platform_testing::can_fork())
        GTEST_SKIP() << "this system has no fork()";
    say("of the parent");
    EXPECT_EQ(0, kr_platform_testing::run_in_fork([] {
                  say("of the child");
                  fail();
                  return 0;
              }));
    EXPECT_THAT(lines(), testing::Contains(" INF of the child"));
    EXPECT_THAT(lines(), testing::Contains(" INF of the parent"));
}

INSTANTIATE_BOTH_KINDS_OF_LINES(Log_Kept);

} // namespace

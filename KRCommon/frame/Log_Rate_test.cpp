// Lines that may come in floods: kr_log_limited().

#include <KRCommon/frame/Log.h>

#include <tests/support/Log_Capture.h>
#include <tests/support/Log_Text_Matching.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <limits>
#include <string>
#include <thread>
#include <vector>

namespace {

using kr_internal::Log_Rate;

TEST(Log_Rate, AdmitsTheFirstAndThenOneWithinASecond)
{
    Log_Rate rate;
    std::uint64_t held_back = 7;
    EXPECT_TRUE(rate.admits(5'000, held_back));
    EXPECT_EQ(0u, held_back);
    held_back = 7;
    EXPECT_FALSE(rate.admits(5'000, held_back));
    EXPECT_FALSE(rate.admits(5'999, held_back));
    EXPECT_EQ(7u, held_back) << "stays";
    EXPECT_TRUE(rate.admits(6'000, held_back));
    EXPECT_EQ(2u, held_back);
    EXPECT_FALSE(rate.admits(6'999, held_back));
    EXPECT_TRUE(rate.admits(100'000, held_back));
    EXPECT_EQ(1u, held_back);
    EXPECT_TRUE(rate.admits(200'000, held_back));
    EXPECT_EQ(0u, held_back);
}

TEST(Log_Rate, AdmitsAtAnyTimeAtFirst)
{
    for (const std::int64_t now : {std::numeric_limits<std::int64_t>::min(), std::int64_t{-1},
                                   std::int64_t{0}, std::int64_t{1}}) {
        Log_Rate rate;
        std::uint64_t held_back = 0;
        EXPECT_TRUE(rate.admits(now, held_back));
    }
}

TEST(Log_Rate, CountsEachCallOfManyThreadsOnce)
{
    constexpr int threads = 4;
    constexpr int calls = 20'000;
    Log_Rate rate;
    std::atomic<std::int64_t> now{0};
    std::atomic<std::uint64_t> admitted{0};
    std::atomic<std::uint64_t> held_back{0};
    std::vector<std::thread> callers;
    for (int i = 0; i < threads; ++i)
        callers.emplace_back([&] {
            for (int call = 0; call < calls; ++call) {
                std::uint64_t before = 0;
                if (rate.admits(now++, before)) {
                    ++admitted;
                    held_back += before;
                }
            }
        });
    for (std::thread& caller : callers)
        caller.join();
    std::uint64_t rest = 0;
    EXPECT_TRUE(rate.admits(10 * threads * calls, rest));
    EXPECT_EQ(std::uint64_t{threads * calls}, admitted + held_back + rest);
    EXPECT_GE(std::uint64_t{threads * calls / 1'000 + 1}, admitted);
}

// The count that a line tells, 0 when it tells none.
unsigned long held_back_in(const std::string& line)
{
    const std::size_t at = line.rfind(" held back)\n");
    return at == std::string::npos ? 0 : std::stoul(line.substr(line.rfind('(', at) + 1));
}

class Log_Limited : public testing::Test {
protected:
    void SetUp() override { ACE_Log_Msg::instance()->priority_mask(0x7ff, ACE_Log_Msg::PROCESS); }

    static void flood(int number)
    {
        kr_log_limited(KR_LOG_SITE(LM_INFO), "%T T%04t INF frame %d of %s lost\n", number,
                       std::string("camera-7"));
    }
    static void pass_a_second() { std::this_thread::sleep_for(std::chrono::milliseconds(1'050)); }

    Log_Capture capture_;
};

using Log_Limited_Slow = Log_Limited;

TEST_F(Log_Limited_Slow, AFloodIsOneLineASecondAndTheNextTellsWhatWasHeldBack)
{
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 1'000; ++i)
        flood(i);
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - begin);
    EXPECT_GE(static_cast<std::size_t>(seconds.count()) + 2, capture_.lines().size());
    EXPECT_EQ(thread_mark() + " INF frame 0 of camera-7 lost\n", capture_.unstamped(0));
    pass_a_second();
    flood(1'000);
    std::size_t all = capture_.lines().size();
    for (const Log_Capture::Line& line : capture_.lines())
        all += held_back_in(line.text);
    EXPECT_EQ(1'001u, all);
    EXPECT_THAT(capture_.lines().back().text,
                FullyMatches(R"(.* INF frame 1000 of camera-7 lost \(\d+ held back\)\n)"));
    pass_a_second();
    flood(1'001);
    EXPECT_EQ(thread_mark() + " INF frame 1001 of camera-7 lost\n",
              capture_.unstamped(capture_.lines().size() - 1))
        << "none was held back";
}

TEST_F(Log_Limited_Slow, FloodsOfManyThreadsAreOne)
{
    std::atomic<int> lines{0};
    std::vector<std::thread> threads;
    const auto begin = std::chrono::steady_clock::now();
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([&] {
            const Log_Capture capture;
            for (int line = 0; line < 5'000; ++line)
                kr_log_limited(KR_LOG_SITE(LM_INFO), "%T T%04t INF text\n");
            lines += static_cast<int>(capture.lines().size());
        });
    for (std::thread& thread : threads)
        thread.join();
    const auto seconds =
        std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - begin);
    EXPECT_LE(1, lines);
    EXPECT_GE(static_cast<int>(seconds.count()) + 2, lines);
}

TEST_F(Log_Limited_Slow, MaskedLinesNeitherComeNorCount)
{
    const auto line = [](int number) {
        kr_log_limited(KR_LOG_SITE(LM_INFO), "%T T%04t INF %d\n", number);
    };
    ACE_Log_Msg::instance()->priority_mask(LM_ERROR, ACE_Log_Msg::PROCESS);
    line(1);
    line(2);
    ACE_Log_Msg::instance()->priority_mask(0x7ff, ACE_Log_Msg::PROCESS);
    line(3);
    ACE_Log_Msg::instance()->priority_mask(LM_ERROR, ACE_Log_Msg::PROCESS);
    line(4);
    ACE_Log_Msg::instance()->priority_mask(0x7ff, ACE_Log_Msg::PROCESS);
    pass_a_second();
    line(5);
    ASSERT_EQ(2u, capture_.lines().size());
    EXPECT_EQ(thread_mark() + " INF 3\n", capture_.unstamped(0));
    EXPECT_EQ(thread_mark() + " INF 5\n", capture_.unstamped(1));
}

TEST_F(Log_Limited_Slow, TheCountComesBeforeTheLastLineFeedsAndLongTextsAreCut)
{
    const auto line = [](const std::string& text) {
        kr_log_limited(KR_LOG_SITE(LM_INFO), "%T T%04t INF 100%% %s\n\n", text);
    };
    line("a");
    line("b");
    pass_a_second();
    line("c");
    ASSERT_EQ(2u, capture_.lines().size());
    EXPECT_EQ(thread_mark() + " INF 100% a\n\n", capture_.unstamped(0));
    EXPECT_EQ(thread_mark() + " INF 100% c (1 held back)\n\n", capture_.unstamped(1));
    line("d");
    pass_a_second();
    line(std::string(5'000, 'x'));
    const std::string last = capture_.lines().back().text;
    EXPECT_EQ("... (1 held back)\n\n", last.substr(last.size() - 19));
}

TEST_F(Log_Limited, PlacesAreLimitedEachByItself)
{
    kr_log_limited(KR_LOG_SITE(LM_INFO), "%T T%04t INF one\n");
    kr_log_limited(KR_LOG_SITE(LM_INFO), "%T T%04t INF two\n");
    EXPECT_EQ(2u, capture_.lines().size());
}

TEST_F(Log_Limited, ErrnoIsTakenAndStays)
{
    const auto line = [] { kr_log_limited(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR %p\n", "text"); };
    errno = EACCES;
    line();
    EXPECT_EQ(EACCES, errno);
    line(); // held back
    EXPECT_EQ(EACCES, errno);
    EXPECT_EQ(EACCES, capture_.lines().at(0).error);
}

} // namespace

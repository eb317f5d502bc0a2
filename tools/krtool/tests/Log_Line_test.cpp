#include "../log/Line_Filter.h"
#include "../log/Lock_Stalls.h"
#include "../log/Log_Line.h"
#include "../log/Message_Shape.h"
#include "../log/Part_Reader.h"
#include "../log/Time_Text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

using namespace krtool;

namespace {

std::int64_t stamp(std::string_view line)
{
    return stamp_of(line.data(), line.size());
}

constexpr std::int64_t march_5 = 16'134; // 2014-03-05

} // namespace

TEST(LogLine, BeginsWithStampAndThread)
{
    EXPECT_EQ(45'001'250'000, stamp("12:30:01.250000 T0042*ERR m"));
    EXPECT_EQ(0, stamp("00:00:00.000000 T1"));
    EXPECT_EQ(86'399'999'999, stamp("23:59:59.999999 T0042 DBG"));
    EXPECT_EQ(60'000'000, stamp("00:00:60.000000 T0042 DBG")); // a leap second
}

TEST(LogLine, AnythingElseIsNoBegin)
{
    for (const char* text :
         {"", "12:30:01.250000", "12:30:01.250000 T", "12:30:01.250000 X0042", "24:00:00.000000 T1",
          "12:60:00.000000 T1", "12:30:61.000000 T1", "12-30-01.250000 T1", "12:30:01,250000 T1",
          "1a:30:01.250000 T1", "12:30:0:.250000 T1", "12:30:01.25000/ T1", " 12:30:01.250000 T1",
          "12:30:01.250000\tT1", "\xb1\xb2:30:01.250000 T1"})
        EXPECT_EQ(-1, stamp(text)) << text;
}

TEST(LogLine, EveryByteInEveryPlaceIsLookedAt)
{
    const std::string good = "12:30:01.250000 T0042 INF message";
    for (std::size_t place = 0; place < least_head; ++place)
        for (int code = 0; code < 256; ++code) {
            std::string line = good;
            line[place] = static_cast<char>(code);
            const bool is_digit_place = good[place] >= '0' && good[place] <= '9';
            const bool is_digit = code >= '0' && code <= '9';
            const bool may_be = is_digit_place ? is_digit : line[place] == good[place];
            if (!may_be) {
                EXPECT_EQ(-1, stamp(line)) << place << " " << code;
            }
        }
}

TEST(LogLine, HasThreadLevelAndMessage)
{
    const auto head = parse_head("12:30:01.250000 T0042*ERR camera-7: no route");
    ASSERT_TRUE(head);
    EXPECT_EQ(42u, head->thread);
    EXPECT_EQ(Level::error, head->level);
    EXPECT_EQ(26u, head->message);
    EXPECT_EQ(Level::debug, parse_head("12:30:01.250000 T0042 DBG x")->level);
    EXPECT_EQ(Level::info, parse_head("12:30:01.250000 T0042 INF x")->level);
    EXPECT_EQ(Level::emergency, parse_head("12:30:01.250000 T0042*EMR x")->level);
}

TEST(LogLine, AnUnknownMarkBelongsToTheMessage)
{
    const auto head = parse_head("12:30:01.250000 T12345678 NOT a mark");
    ASSERT_TRUE(head);
    EXPECT_EQ(12'345'678u, head->thread);
    EXPECT_EQ(Level::unknown, head->level);
    EXPECT_EQ(26u, head->message);
}

TEST(LogLine, AThreadBeyond64BitsIsTheGreatest)
{
    EXPECT_EQ(UINT64_MAX, parse_head("12:30:01.250000 T99999999999999999999999 INF x")->thread);
}

TEST(LogLine, KnowsItsHeldBackLines)
{
    EXPECT_EQ(319u, held_back_of("the queue is full (319 held back)"));
    for (const char* text : {"", "(319 held back)", "x ( held back)", "x (1 held back) ",
                             "x (-1 held back)", "x (1 held back", "x (1a held back)"})
        EXPECT_EQ(0u, held_back_of(text)) << text;
}

TEST(LogLine, TheHeaderTellsTheDate)
{
    EXPECT_EQ(march_5,
              date_of_header("12:30:01.250000 T0042 INF KR_LOG_MANAGER: Log of host 'cam01', "
                             "program '/usr/bin/server', process 1234, 2014-03-05, "
                             "UTC+01:00."));
    for (const char* text :
         {"", "12:30:01.250000 T0042 INF KR_LOG_MANAGER: Log of host '",
          "12:30:01.250000 T0042 INF KR_LOG_MANAGER: Log of host 'a', UTC",
          "12:30:01.250000 T0042 INF KR_LOG_MANAGER: Log of host 'a', 2014-13-05, UTC+01:00.",
          "KR_LOG_MANAGER: Log of host 'a', 2014-03-05, UTC+01:00."})
        EXPECT_FALSE(date_of_header(text)) << text;
}

TEST(LogPartName, HasPrefixDateAndPart)
{
    const auto name = parse_part_name("my server_2014_03_05_part_03.log");
    ASSERT_TRUE(name);
    EXPECT_EQ("my server", name->prefix);
    EXPECT_EQ(march_5, name->date);
    EXPECT_EQ(3u, name->part);
    EXPECT_FALSE(name->is_compressed);
    EXPECT_EQ(100u, parse_part_name("a_2014_03_05_part_100.log")->part);
    EXPECT_TRUE(parse_part_name("a_2014_03_05_part_00.log.gz")->is_compressed);
    EXPECT_EQ("a_part_1", parse_part_name("a_part_1_2014_03_05_part_00.log")->prefix);
    EXPECT_EQ("", parse_part_name("_2014_03_05_part_00.log")->prefix);
}

TEST(LogPartName, OtherNamesAreNone)
{
    for (const char* text :
         {"", ".log", "part_00.log", "_part_00.log", "server.log", "a_2014_03_05_part_.log",
          "a_2014_02_30_part_00.log", "a_2014_13_01_part_00.log", "a_2014_03_05_part_00.txt",
          "a_2014_03_05_part_00.log.1", "a_2014_03_05_part_99999999999999999999.log",
          "a_2014_03_05part_00.log", "2014_03_05_part_00.log"})
        EXPECT_FALSE(parse_part_name(text)) << text;
}

TEST(LogTime, TellsDatesAsTheCalendarHasThem)
{
    EXPECT_EQ("1970-01-01T00:00:00.000000", time_text(0));
    EXPECT_EQ("2014-03-05T12:30:01.250000", time_text(march_5 * one_day + 45'001'250'000));
    EXPECT_EQ("2024-02-29", date_text(days_of_date(2024, 2, 29) * one_day));
    EXPECT_EQ("2100-03-01", date_text((days_of_date(2100, 2, 28) + 1) * one_day));
    for (std::int64_t day = -1000; day < 60'000; day += 7) {
        const std::string text = date_text(day * one_day);
        EXPECT_EQ(day,
                  days_of_date(std::stoi(text), static_cast<unsigned>(std::stoi(text.substr(5))),
                               static_cast<unsigned>(std::stoi(text.substr(8)))));
    }
}

TEST(LogTime, IsReadAsPeopleWriteIt)
{
    const Local_Time now = march_5 * one_day + 12 * one_hour;
    const auto text = [now](const char* given) {
        const auto time = parse_time(given, now);
        return time ? time_text(*time, ' ') : std::string("none");
    };
    EXPECT_EQ("2014-03-05 11:30:00.000000", text("30 min ago"));
    EXPECT_EQ("2014-03-05 11:30:00.000000", text(" 30MIN AGO "));
    EXPECT_EQ("2014-03-05 11:59:45.000000", text("15 s ago"));
    EXPECT_EQ("2014-03-04 12:00:00.000000", text("1 day ago"));
    EXPECT_EQ("2014-02-19 12:00:00.000000", text("2 weeks ago"));
    EXPECT_EQ("2014-03-05 00:00:00.000000", text("today"));
    EXPECT_EQ("2014-03-04 00:00:00.000000", text("yesterday"));
    EXPECT_EQ("2014-03-05 12:00:00.000000", text("now"));
    EXPECT_EQ("2014-03-05 05:00:00.000000", text("05:00"));
    EXPECT_EQ("2014-03-05 05:00:30.500000", text("5:00:30.5"));
    EXPECT_EQ("2026-11-22 05:00:00.000000", text("2026/11/22 05:00"));
    EXPECT_EQ("2026-11-22 05:00:01.250000", text("2026-11-22T05:00:01.250000"));
    EXPECT_EQ("2026-11-22 00:00:00.000000", text("2026-11-22"));
    for (const char* bad :
         {"", " ", "ago", "min ago", "30 ago", "30 moons ago", "-3 min ago", "5", "24:00", "05:60",
          "05:00:61", "05:00 x", "2026/11-22", "2026/02/30", "2026/11/22 ", "2026/11/22 05",
          "9999999 days ago", "1.5 hours ago", "tomorrow"})
        if (std::string(bad) != "2026/11/22 ") { // blanks at the ends do not count
            EXPECT_EQ("none", text(bad)) << bad;
        }
}

TEST(LogClock, AStampFarBackIsTheNextDay)
{
    Line_Clock clock;
    clock.begin_part(march_5, 86'399 * one_second);
    EXPECT_EQ("2014-03-05T23:59:59.000000", time_text(clock.place(86'399 * one_second).time));
    EXPECT_EQ("2014-03-06T00:00:01.000000", time_text(clock.place(one_second).time));
    // Another thread's line, which was made before midnight, is not of the evening after.
    const Line_Place late = clock.place(one_day - 1);
    EXPECT_EQ("2014-03-05T23:59:59.999999", time_text(late.time));
    EXPECT_EQ("2014-03-06T00:00:01.000000", time_text(late.place));
    EXPECT_EQ("2014-03-06T00:00:02.000000", time_text(clock.place(2 * one_second).time));
}

TEST(LogClock, ASmallStepBackKeepsThePlace)
{
    Line_Clock clock;
    clock.begin_part(march_5, 100);
    const Line_Place before = clock.place(100);
    EXPECT_EQ(before.place, clock.place(50).place);
    EXPECT_LT(clock.last().time, clock.last().place);
    EXPECT_EQ(march_5 * one_day + 200, clock.place(200).place);
}

TEST(LogClock, AnHourThatComesTwiceBelongsBeforeTheNext)
{
    Line_Clock clock;
    clock.begin_part(march_5, 0);
    static_cast<void>(clock.place(2 * one_hour + 59 * one_minute));
    const Line_Place second_time = clock.place(2 * one_hour + one_minute);
    EXPECT_EQ(march_5 * one_day + 3 * one_hour - 1, second_time.place);
    EXPECT_EQ(march_5 * one_day + 2 * one_hour + one_minute, second_time.time);
    EXPECT_EQ(second_time.place, clock.place(2 * one_hour + 30 * one_minute).place);
    EXPECT_EQ(march_5 * one_day + 3 * one_hour, clock.place(3 * one_hour).place);
}

TEST(LogShape, FoldsWhatDiffers)
{
    EXPECT_EQ("camera-<n>: frame <n>", shape_of("camera-7: frame 1,234"));
    EXPECT_EQ("<n> ms, <n>", shape_of("2.5 ms, 1.5e+09"));
    EXPECT_EQ("cannot open <text>: No route", shape_of("cannot open 'rtsp://a/b\\n': No route"));
    EXPECT_EQ("<text> and <text>", shape_of("\"a 1\" and 'b'"));
    EXPECT_EQ("object <guid>.", shape_of("object 01234567-89ab-cdef-0123-456789ABCDEF."));
    EXPECT_EQ("lock <address> held", shape_of("lock 0x55d0c8 held"));
    EXPECT_EQ("key <hex> is gone", shape_of("key deadbeef00 is gone"));
    EXPECT_EQ("it doesn't matter, nor does it's", shape_of("it doesn't matter, nor does it's"));
    EXPECT_EQ("an open 'quote", shape_of("an open 'quote"));
    EXPECT_EQ("full", shape_of("full (319 held back)\r\n"));
    EXPECT_EQ("first", shape_of("first\nsecond 2"));
    EXPECT_EQ("", shape_of(""));
    EXPECT_EQ(303u, shape_of(std::string(5000, 'x')).size());
}

TEST(LogShape, CountsStandForHeldBackLinesToo)
{
    Shape_Counts counts;
    counts.add(Level::error, "full (9 held back)", 20);
    counts.add(Level::error, "full", 10);
    counts.add(Level::info, "full", 15);
    const auto all = counts.result();
    ASSERT_EQ(2u, all.size());
    EXPECT_EQ(2u, all[0].lines);
    EXPECT_EQ(9u, all[0].held_back);
    EXPECT_EQ(10, all[0].first);
    EXPECT_EQ(20, all[0].last);
    EXPECT_EQ("full (9 held back)", all[0].example);
}

namespace {

void add(Lock_Stalls& stalls, std::string_view line, const char* source = "server")
{
    const auto head = parse_head(line);
    ASSERT_TRUE(head) << line;
    stalls.add(source, *head, line.substr(head->message), march_5 * one_day + head->stamp);
}

constexpr const char* delay = "12:30:11.250000 T0042*ERR KR_GUARD:[0] mutex_ - Lock acquire delay "
                              "(10 seconds passed) at A.cpp:42 "
                              "(locked 2 time(s) by T1234 first on 12:30:01.250000 at B.cpp:7).\n";

} // namespace

TEST(LogStalls, DelayAndAcquiredAreOneWait)
{
    Lock_Stalls stalls;
    add(stalls, delay);
    EXPECT_TRUE(stalls.take_over().empty());
    add(stalls, "12:30:16.250000 T0042*ERR KR_GUARD:[1] mutex_ - Lock eventually acquired after 15 "
                "seconds at A.cpp:42.\r\n");
    const auto over = stalls.take_over();
    ASSERT_EQ(1u, over.size());
    const Lock_Stall& stall = over[0];
    EXPECT_EQ(Stall_End::acquired, stall.end);
    EXPECT_EQ("2014-03-05T12:30:01.250000", time_text(stall.begin));
    EXPECT_EQ(15u, stall.seconds);
    EXPECT_EQ("mutex_", stall.mutex);
    EXPECT_EQ(42u, stall.waiter);
    EXPECT_EQ("A.cpp:42", stall.waiter_site);
    EXPECT_EQ(1234u, stall.holder);
    EXPECT_EQ("B.cpp:7", stall.holder_site);
    EXPECT_EQ("12:30:01.250000", stall.holder_since);
    EXPECT_EQ(2u, stall.holder_depth);
    EXPECT_TRUE(stalls.take_open().empty());
}

TEST(LogStalls, ADeadLockTakesTheReportThatFollowsAlong)
{
    Lock_Stalls stalls;
    add(stalls, delay);
    add(stalls, "12:32:11.250000 T0042*EMR KR_GUARD:[0] mutex_ - Lock acquire failed (130 seconds "
                "passed) at "
                "A.cpp:42 (locked 1 time(s) by T77 first on 12:31:00.000000 at C.cpp:9).");
    add(stalls, "12:32:11.250100 T0042*ERR KR_GUARD: Locks: 1 held, 1 waiting.");
    add(stalls,
        "12:32:11.250200 T0042*ERR KR_GUARD: Lock 0x55d0c8 held by T0077 for 71.250 seconds at "
        "C.cpp:9, 1 waiting: T0042 for mutex_ at A.cpp:42 for 130.000 seconds.");
    const auto all = stalls.take_open();
    ASSERT_EQ(1u, all.size());
    EXPECT_EQ(Stall_End::failed, all[0].end);
    EXPECT_EQ(130u, all[0].seconds);
    EXPECT_EQ("C.cpp:9", all[0].holder_site); // who holds it at the end
    ASSERT_EQ(1u, all[0].locks.size());
    EXPECT_EQ(
        "Lock 0x55d0c8 held by T0077 for 71.250 seconds at C.cpp:9, 1 waiting: T0042 for mutex_ at "
        "A.cpp:42 for 130.000 seconds.",
        all[0].locks[0]);
}

TEST(LogStalls, APanicAndALockOrderStandAlone)
{
    Lock_Stalls stalls;
    add(stalls,
        "12:30:11.250000 T0042*EMR KR_GUARD:[0] mutex_ - Lock panic at A.cpp:42, ace error 22, OS: "
        "Invalid argument.");
    add(stalls,
        "12:30:12.250000 T0043*ERR KR_GUARD:[0] b_ - Lock order: acquired at A.cpp:42 while "
        "holding "
        "the lock of A.cpp:40, but before it was the other way round: at B.cpp:9 while holding the "
        "lock of B.cpp:7.");
    const auto over = stalls.take_over();
    ASSERT_EQ(1u, over.size());
    EXPECT_EQ(Stall_End::order, over[0].end);
    EXPECT_EQ("A.cpp:40", over[0].holder_site);
    const auto open = stalls.take_open();
    ASSERT_EQ(1u, open.size());
    EXPECT_EQ(Stall_End::panic, open[0].end);
    EXPECT_EQ("ace error 22, OS: Invalid argument.", open[0].detail);
}

TEST(LogStalls, WaitsOfOtherThreadsLocksAndLogsAreOthers)
{
    Lock_Stalls stalls;
    add(stalls, delay);
    add(stalls, "12:30:16.250000 T0043*ERR KR_GUARD:[1] mutex_ - Lock eventually acquired after 15 "
                "seconds at "
                "A.cpp:42.");
    add(stalls, "12:30:16.250000 T0042*ERR KR_GUARD:[1] other_ - Lock eventually acquired after 15 "
                "seconds at "
                "A.cpp:42.");
    add(stalls, "12:30:16.250000 T0042*ERR KR_GUARD:[1] mutex_ - Lock eventually acquired after 15 "
                "seconds at "
                "A.cpp:43.");
    add(stalls,
        "12:30:16.250000 T0042*ERR KR_GUARD:[1] mutex_ - Lock eventually acquired after 15 seconds "
        "at "
        "A.cpp:42.",
        "web");
    EXPECT_EQ(4u, stalls.take_over().size());
    ASSERT_EQ(1u, stalls.take_open().size());
}

TEST(LogStalls, EveryPrefixOfALineIsTakenOrPassedOver)
{
    for (const std::string& line :
         {std::string(delay),
          std::string("12:30:16.250000 T0042*ERR KR_GUARD:[1] m - Lock eventually acquired "
                      "after 15 seconds at A.cpp:42."),
          std::string("12:30:16.250000 T0042*ERR KR_GUARD: Lock 0x55d0c8 held by T0077")})
        for (std::size_t size = 26; size <= line.size(); ++size) {
            Lock_Stalls stalls;
            add(stalls, line.substr(0, size));
            EXPECT_GE(1u, stalls.take_over().size() + stalls.take_open().size());
        }
}

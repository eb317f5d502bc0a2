#include "../log/Log_Commands.h"

#include "Run.h"

#include "../../../tests/support/Temp_Folder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <zlib.h>

#include <cstdio>
#include <filesystem>
#include <random>
#include <sstream>
#include <string>
#include <vector>

using namespace krtool;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

std::string packed(const std::string& text)
{
    z_stream state{};
    EXPECT_EQ(Z_OK, deflateInit2(&state, 6, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY));
    std::string out(deflateBound(&state, static_cast<uLong>(text.size())) + 100, '\0');
    std::string in = text;
    state.next_in = reinterpret_cast<Bytef*>(in.data());
    state.avail_in = static_cast<uInt>(in.size());
    state.next_out = reinterpret_cast<Bytef*>(out.data());
    state.avail_out = static_cast<uInt>(out.size());
    EXPECT_EQ(Z_STREAM_END, deflate(&state, Z_FINISH));
    out.resize(state.total_out);
    deflateEnd(&state);
    return out;
}

std::string line(const char* time, const std::string& message)
{
    return std::string(time) + " T0042 INF " + message + "\n";
}

// The messages of what came out, each with a blank behind it.
std::string messages(const std::string& out)
{
    std::string all;
    std::istringstream stream(out);
    for (std::string one; std::getline(stream, one);)
        all += (one.size() > 26 ? one.substr(26) : one) + " ";
    return all;
}

struct Log_Command : testing::Test {
    Temp_Folder folder;

    void part(const std::string& day_and_part, const std::string& text,
              const char* prefix = "server")
    {
        folder.write(prefix + ("_2026_11_" + day_and_part) + ".log", text);
    }
    std::string merged(std::vector<std::string> more = {})
    {
        more.insert(more.begin(), {"log", folder.path()});
        const Ran ran = run(more);
        EXPECT_EQ("", ran.errors);
        return messages(ran.out);
    }
};

} // namespace

TEST_F(Log_Command, PrefixesAreMergedByTheirTimes)
{
    part("21_part_00", line("10:00:00.000000", "a") + line("10:00:02.000000", "c"));
    part("21_part_00", line("10:00:01.000000", "b") + line("10:00:03.000000", "d"), "web");
    EXPECT_EQ("a b c d ", merged());
}

TEST_F(Log_Command, PartsAreReadInTheirOrderAndDaysAfterEachOther)
{
    part("21_part_00", line("10:00:00.000000", "a"));
    part("21_part_01", line("11:00:00.000000", "b"));
    part("21_part_100", line("12:00:00.000000", "c"));
    part("22_part_00", line("09:00:00.000000", "d"));
    part("21_part_00", line("11:30:00.000000", "x"), "web");
    part("22_part_00", line("08:00:00.000000", "y"), "web");
    EXPECT_EQ("a b x c y d ", merged());
}

TEST_F(Log_Command, APartRunsOverMidnight)
{
    part("21_part_00", line("23:59:59.000000", "a") + line("00:00:03.000000", "d"));
    part("22_part_00", line("00:00:05.000000", "f"));
    part("21_part_00", line("23:59:59.500000", "b") + line("00:00:01.000000", "c"), "web");
    part("22_part_00", line("00:00:04.000000", "e"), "web");
    EXPECT_EQ("a b c d e f ", merged());
}

TEST_F(Log_Command, ALineFromBeforeMidnightMayBeginANewFile)
{
    part("22_part_00", line("23:59:59.900000", "a") + line("00:00:00.100000", "b") +
                           line("08:00:00.000000", "d"));
    part("22_part_00", line("07:00:00.000000", "c"), "web");
    EXPECT_EQ("a b c d ", merged());
    const Ran dated = run({"log", folder.path(), "--with-date", "--text", "a"});
    EXPECT_EQ("2026-11-21 23:59:59.900000 T0042 INF a\n", dated.out);
}

TEST_F(Log_Command, AnHourThatComesTwiceKeepsTheOrderOfTheFiles)
{
    part("21_part_00", line("02:10:00.000000", "a1") + line("02:50:00.000000", "a2") +
                           line("02:10:00.000000", "a3") + line("02:50:00.000000", "a4") +
                           line("03:10:00.000000", "a5"));
    part("21_part_00",
         line("02:20:00.000000", "b1") + line("02:55:00.000000", "b2") +
             line("02:20:00.000000", "b3") + line("03:05:00.000000", "b4"),
         "web");
    EXPECT_EQ("a1 b1 a2 b2 a3 b3 a4 b4 a5 ", merged());
}

TEST_F(Log_Command, AnHourThatComesTwiceIsSeenBetweenPartsToo)
{
    part("21_part_00", line("02:10:00.000000", "a1") + line("02:50:00.000000", "a2"));
    part("21_part_01", line("02:10:00.000000", "a3"));
    part("21_part_00", line("02:55:00.000000", "b"), "web");
    EXPECT_EQ("a1 a2 b a3 ", merged());
}

TEST_F(Log_Command, AClockThatWasSetBackKeepsTheOrderOfTheFile)
{
    part("21_part_00", line("10:30:00.000000", "a") + line("10:29:00.000000", "b") +
                           line("10:31:00.000000", "d"));
    part("21_part_00", line("10:30:30.000000", "c"), "web");
    EXPECT_EQ("a b c d ", merged());
}

TEST_F(Log_Command, PartsOfTwoProcessesOverlap)
{
    // One goes on with part 00 for a while after the other has begun part 01.
    part("21_part_00", line("10:00:00.000000", "a") + line("10:00:02.000000", "c") +
                           line("10:00:04.000000", "e"));
    part("21_part_01", line("10:00:01.000000", "b") + line("10:00:03.000000", "d") +
                           line("10:00:05.000000", "f"));
    EXPECT_EQ("a b c d e f ", merged());
}

TEST_F(Log_Command, ContinuationsStayWithTheirLine)
{
    part("21_part_00",
         line("10:00:00.000000", "a\nmore\n\n  and more") + line("10:00:02.000000", "c"));
    part("21_part_00", line("10:00:01.000000", "b"), "web");
    EXPECT_EQ("a more    and more b c ", merged());
    EXPECT_EQ("a more    and more ", merged({"--text", "and more"}));
    EXPECT_EQ("a more    and more ", merged({"--regex", "^more$"}));
}

TEST_F(Log_Command, WhatIsNoLogLineIsShownWhereItIs)
{
    std::string strange = "torn\n" + line("10:00:00.000000", "a");
    strange +=
        std::string("nul \0 byte\n", 11) + "\xff\xfe\x80\n" + std::string(1'500'000, 'x') + "\n";
    strange += line("10:00:02.000000", "c") + "10:00:03.00000";
    part("21_part_00", strange);
    part("21_part_00", line("10:00:01.000000", "b"), "web");
    const Ran ran = run({"log", folder.path()});
    const std::size_t web = ran.out.find(line("10:00:01.000000", "b"));
    ASSERT_NE(std::string::npos, web);
    std::string rest = ran.out;
    rest.erase(web, line("10:00:01.000000", "b").size());
    EXPECT_EQ(strange + "\n", rest); // the last line gets its end
    EXPECT_EQ(ran.out.find(line("10:00:02.000000", "c")),
              web + line("10:00:01.000000", "b").size());
}

TEST_F(Log_Command, ALineOfManyMegabytesComesThrough)
{
    const std::string text =
        line("10:00:00.000000", std::string(10'000'000, 'y')) + line("10:00:01.000000", "b");
    part("21_part_00", text);
    EXPECT_EQ(text, run({"log", folder.path()}).out);
    EXPECT_EQ(text.substr(0, text.find("\n") + 1),
              run({"log", folder.path(), "--text", "yyy"}).out);
}

TEST_F(Log_Command, LineEndsOfWindowsStay)
{
    part("21_part_00", "10:00:00.000000 T0042 INF a\r\n10:00:01.000000 T0042 INF b\r\n");
    EXPECT_EQ("10:00:00.000000 T0042 INF a\r\n10:00:01.000000 T0042 INF b\r\n",
              run({"log", folder.path()}).out);
    EXPECT_THAT(run({"log", folder.path(), "--json"}).out, HasSubstr("\"message\":\"a\""));
}

TEST_F(Log_Command, FiltersByLevelThreadTextAndRegex)
{
    part("21_part_00", "10:00:00.000000 T0042 DBG alpha\n10:00:01.000000 T0043 INF beta 17\n"
                       "10:00:02.000000 T0042*ERR gamma\n10:00:03.000000 T0044*EMR Delta\n");
    EXPECT_EQ("gamma Delta ", merged({"--level", "err"}));
    EXPECT_EQ("beta 17 gamma Delta ", merged({"--level", "INF"}));
    EXPECT_EQ("alpha gamma Delta ", merged({"--thread", "42,T0044"}));
    EXPECT_EQ("beta 17 ", merged({"--text", "beta"}));
    EXPECT_EQ("Delta ", merged({"--text", "DELTA", "-i"}));
    EXPECT_EQ("beta 17 ", merged({"--regex", "[a-z]+ \\d+$"}));
    EXPECT_EQ("beta 17 ", merged({"--text", "bet", "--text", "17"}));
    EXPECT_EQ("", merged({"--text", "DELTA"}));
    EXPECT_EQ(1, run({"log", folder.path(), "--text", "none of it"}).code);
}

TEST_F(Log_Command, FiltersByTime)
{
    part("21_part_00", line("10:00:00.000000", "a") + line("23:00:00.000000", "b"));
    part("22_part_00", line("10:00:00.000000", "c"));
    part("23_part_00", line("10:00:00.000000", "d"));
    EXPECT_EQ("b c d ", merged({"--since", "2026/11/21 23:00"}));
    EXPECT_EQ("a b ", merged({"--until", "2026-11-22 10:00"}));
    EXPECT_EQ("b c ", merged({"--since", "2026-11-21T12:00:00", "--until", "2026/11/23"}));
}

TEST_F(Log_Command, ARegexThatTakesAgesElsewhereTakesNoTime)
{
    part("21_part_00", line("10:00:00.000000", std::string(200'000, 'a')));
    EXPECT_EQ("", merged({"--regex", "(a|aa)*b"}));
}

TEST_F(Log_Command, CompressedPartsAreRead)
{
    folder.write("server_2026_11_21_part_00.log.gz", packed(line("10:00:00.000000", "a")) +
                                                         packed(line("10:00:01.000000", "b")) +
                                                         std::string(512, '\0'));
    part("21_part_01", line("10:00:02.000000", "c"));
    EXPECT_EQ("a b c ", merged());
}

TEST_F(Log_Command, APartThatIsThereBothWaysIsReadOnce)
{
    folder.write("server_2026_11_21_part_00.log.gz", packed(line("10:00:00.000000", "a")));
    part("21_part_00", line("10:00:00.000000", "a"));
    EXPECT_EQ("a ", merged());
    EXPECT_EQ("a ", merged({folder.path("server_2026_11_21_part_00.log")}));
}

TEST_F(Log_Command, EveryCutCompressedFileSaysSo)
{
    const std::string whole = packed(line("10:00:00.000000", "a") + line("10:00:01.000000", "b"));
    for (std::size_t size = 2; size < whole.size(); ++size) {
        const std::string path = folder.write("cut.gz", whole.substr(0, size));
        const Ran ran = run({"log", path});
        EXPECT_THAT(ran.errors, HasSubstr("are cut off after")) << size;
        EXPECT_THAT(ran.errors, StartsWith("krtool: warning: the compressed data of '"));
    }
}

TEST_F(Log_Command, DamagedCompressedDataAreToldAndTheRestIsShown)
{
    std::string text;
    for (int i = 0; i < 5000; ++i)
        text += line("10:00:00.000000", std::to_string(i * 7919 % 10007));
    std::string bytes = packed(text);
    bytes[bytes.size() / 2] ^= 0x55;
    bytes[bytes.size() / 2 + 1] ^= 0x55;
    const Ran ran = run({"log", folder.write("server_2026_11_21_part_00.log.gz", bytes)});
    EXPECT_THAT(ran.errors, HasSubstr(" are damaged after "));
    EXPECT_EQ(0u, ran.out.find(text.substr(0, 1000)));
    const Ran json = run({"log", folder.path(), "--json"});
    EXPECT_THAT(
        json.out,
        HasSubstr("{\"schema_version\":1,\"kind\":\"warning\",\"text\":\"the compressed data"));
    EXPECT_EQ("", json.errors);
}

TEST_F(Log_Command, JsonHasWhatTheLineTells)
{
    part("21_part_00", "junk\n10:00:00.250000 T0042*ERR full \xff (9 held back)\n");
    const Ran ran = run({"log", folder.path(), "--json"});
    std::istringstream lines(ran.out);
    std::string text;
    std::getline(lines, text);
    const auto junk = nlohmann::json::parse(text);
    EXPECT_EQ("junk", junk["message"]);
    EXPECT_EQ(0u, junk.count("thread"));
    std::getline(lines, text);
    const auto full = nlohmann::json::parse(text);
    EXPECT_EQ(1, full["schema_version"]);
    EXPECT_EQ("line", full["kind"]);
    EXPECT_EQ("2026-11-21T10:00:00.250000", full["time"]);
    EXPECT_EQ(42, full["thread"]);
    EXPECT_EQ("ERR", full["level"]);
    EXPECT_EQ(9, full["held_back"]);
    EXPECT_EQ("full \xef\xbf\xbd (9 held back)", full["message"]);
}

TEST_F(Log_Command, CountsByShape)
{
    part("21_part_00", "10:00:00.000000 T0042 DBG frame 1\n10:00:01.000000 T0042 DBG frame 2\n"
                       "10:00:02.000000 T0042*ERR full (9 held back)\n");
    EXPECT_EQ("       10  ERR  full\n        2  DBG  frame <n>\n",
              run({"log", folder.path(), "--count"}).out);
    EXPECT_EQ("       10  ERR  full\n", run({"log", folder.path(), "--count", "--top", "1"}).out);
    EXPECT_THAT(
        run({"log", folder.path(), "--count", "--json"}).out,
        HasSubstr("\"kind\":\"shape\",\"count\":10,\"lines\":1,\"held_back\":9,\"level\":\"ERR\","
                  "\"shape\":\"full\",\"example\":\"full (9 held back)\","
                  "\"first\":\"2026-11-21T10:00:02.000000\""));
}

TEST_F(Log_Command, PairsStallsAcrossParts)
{
    part(
        "21_part_00",
        "12:30:11.250000 T0042*ERR KR_GUARD:[0] mutex_ - Lock acquire delay (10 seconds passed) at "
        "A.cpp:42 (locked 2 time(s) by T1234 first on 12:30:01.250000 at B.cpp:7).\n");
    part(
        "21_part_01",
        "12:30:16.250000 T0042*ERR KR_GUARD:[1] mutex_ - Lock eventually acquired after 15 seconds "
        "at A.cpp:42.\n");
    const Ran ran = run({"log", folder.path(), "--stalls"});
    EXPECT_EQ(0, ran.code);
    EXPECT_EQ("2026-11-21 12:30:01.250000  T0042 at A.cpp:42 waited for mutex_: acquired after 15 "
              "seconds\n"
              "    held by T1234 at B.cpp:7 since 12:30:01.250000, locked 2 times\n"
              "B.cpp:7 held mutex_: 1 stall, 15 seconds in all, the longest 15 seconds\n",
              ran.out);
    const Ran json = run({"log", folder.path(), "--stalls", "--json"});
    EXPECT_THAT(
        json.out,
        HasSubstr("\"end\":\"acquired\",\"ends_process\":false,\"seconds\":15,\"mutex\":\"mutex_\","
                  "\"waiter\":{\"thread\":42,\"site\":\"A.cpp:42\"},"
                  "\"holder\":{\"thread\":1234,\"site\":\"B.cpp:7\""));
    part("21_part_00", line("10:00:00.000000", "nothing"));
    part("21_part_01", line("10:00:00.000000", "nothing"));
    EXPECT_EQ(1, run({"log", folder.path(), "--stalls"}).code);
}

TEST_F(Log_Command, ATerminalObeysNoLine)
{
    part("21_part_00", "10:00:00.000000 T0042*ERR a\x1b[2Jb\n");
    EXPECT_EQ("\033[31m10:00:00.000000 T0042*ERR a\\x1b[2Jb\033[0m\n",
              run({"log", folder.path(), "--color", "always"}).out);
}

TEST_F(Log_Command, FileAndDateStandBeforeTheLine)
{
    part("21_part_00", line("10:00:00.000000", "a\nmore"));
    EXPECT_EQ("server_2026_11_21_part_00.log: 2026-11-21 10:00:00.000000 T0042 INF a\n"
              "server_2026_11_21_part_00.log:            more\n",
              run({"log", folder.path(), "--with-date", "--with-file"}).out);
}

TEST_F(Log_Command, AFileOfAnotherNameHasItsHeadersDate)
{
    const std::string path = folder.write(
        "renamed.txt", line("10:00:00.000000",
                            "KR_LOG_MANAGER: Log of host 'a', program 'b', process 1, 2014-03-05, "
                            "UTC+01:00."));
    EXPECT_THAT(run({"log", path, "--json"}).out,
                HasSubstr("\"time\":\"2014-03-05T10:00:00.000000\""));
}

TEST_F(Log_Command, WhatCannotBeReadIsOneSentence)
{
    const auto expect_error = [](const std::vector<std::string>& arguments,
                                 const std::string& sentence) {
        const Ran ran = run(arguments);
        EXPECT_EQ(2, ran.code);
        EXPECT_EQ("", ran.out);
        EXPECT_EQ("krtool: " + sentence + "\n", ran.errors);
    };
    const std::string missing = folder.path("missing.log");
    expect_error({"log", missing}, "cannot open '" + missing + "': No such file or directory");
    part("21_part_00", line("10:00:00.000000", "a"));
    expect_error({"log", folder.path(), "--regex", "("},
                 "'(' is no regular expression that can be used");
    expect_error({"log", folder.path(), "--since", "soon"},
                 "'soon' is no time, such as \"30 min ago\", 05:00 or \"2026/11/22 05:00\"");
    expect_error({"log", folder.path(), "--thread", "main"},
                 "'main' is no thread's number, such as 42 or T0042");
    EXPECT_EQ(2, run({"log"}).code);
    EXPECT_EQ(2, run({"log", folder.path(), "--level", "loud"}).code);
    EXPECT_EQ(2, run({"log", folder.path(), "--count", "--follow"}).code);
}

TEST_F(Log_Command, AFolderWithoutLogsHasNothingToShow)
{
    folder.write("notes.txt", "x");
    const Ran ran = run({"log", folder.path()});
    EXPECT_EQ(1, ran.code);
    EXPECT_EQ("", ran.out);
}

TEST_F(Log_Command, EmptyFilesAreNoTrouble)
{
    part("21_part_00", "");
    part("21_part_01", line("10:00:00.000000", "a"));
    part("21_part_02", "");
    folder.write("web_2026_11_21_part_00.log.gz", "");
    EXPECT_EQ("a ", merged());
}

namespace {

// Follows, with something done before each look.
std::string follow(Temp_Folder& folder, std::vector<std::function<void()>> steps,
                   Log_Call call = {})
{
    call.files = {folder.path()};
    call.is_following = true;
    std::size_t look = 0;
    call.pause = [&] {
        // Parts are looked for at every fifth look.
        if (look % 5 == 0 && look / 5 < steps.size())
            steps[look / 5]();
        return look++ < 5 * steps.size() + 5;
    };
    const Output_File file;
    Output output(file.stream(), false, false);
    static_cast<void>(show_log(call, output));
    return messages(file.text());
}

void append(const std::string& path, const std::string& text)
{
    std::ofstream(path, std::ios::binary | std::ios::app) << text;
}

} // namespace

TEST_F(Log_Command, FollowsNewLinesAndNewParts)
{
    const std::string first = folder.path("server_2026_11_21_part_00.log");
    part("21_part_00", line("10:00:00.000000", "old"));
    EXPECT_EQ("a b c d e ",
              follow(folder, {[&] { append(first, line("10:00:01.000000", "a")); },
                              [&] { append(first, "10:00:02.000000 T0042 INF "); },
                              [&] { append(first, "b\n"); },
                              [&] { part("21_part_01", line("10:00:03.000000", "c")); },
                              [&] { part("22_part_00", line("10:00:00.000000", "d")); },
                              [&] { part("22_part_00", line("10:00:01.000000", "e"), "web"); }}));
}

TEST_F(Log_Command, FollowsWhatAnotherProcessAddsToThePartBefore)
{
    part("21_part_00", "");
    EXPECT_EQ("a b c ", follow(folder, {[&] { part("21_part_01", line("10:00:01.000000", "a")); },
                                        [&] {
                                            append(folder.path("server_2026_11_21_part_00.log"),
                                                   line("10:00:02.000000", "b"));
                                            append(folder.path("server_2026_11_21_part_01.log"),
                                                   line("10:00:03.000000", "c"));
                                        }}));
}

TEST_F(Log_Command, FollowsAFileThatWasReplaced)
{
    const std::string path = folder.path("server_2026_11_21_part_00.log");
    part("21_part_00", "");
    EXPECT_EQ(
        "a b c ",
        follow(folder,
               {[&] { append(path, line("10:00:01.000000", "a") + "10:00:02.000000 T0042 INF b"); },
                [&] { std::filesystem::rename(path, folder.path("moved")); },
                [&] { part("21_part_00", line("10:00:03.000000", "c")); }}));
}

TEST_F(Log_Command, FollowsAFileThatWasCut)
{
    part("21_part_00", line("10:00:00.000000", "a long line before"));
    EXPECT_EQ("b ", follow(folder, {[&] { part("21_part_00", line("10:00:03.000000", "b")); }}));
}

TEST_F(Log_Command, FollowsFromATimeOn)
{
    part("21_part_00", line("10:00:00.000000", "a") + line("10:00:01.000000", "b"));
    part("21_part_01", line("10:00:02.000000", "c"));
    Log_Call call;
    call.conditions.since = days_of_date(2026, 11, 21) * one_day + 10 * one_hour + one_second;
    EXPECT_EQ("b c d ", follow(folder, {[&] {
                                   append(folder.path("server_2026_11_21_part_01.log"),
                                          line("10:00:03.000000", "d"));
                               }},
                               call));
}

// Whatever stands in a file: nothing breaks, and without a filter nothing is lost.
TEST_F(Log_Command, MutatedFilesComeThroughWhole)
{
    std::mt19937 random(20261122);
    const auto pick = [&random](std::size_t limit) {
        return static_cast<std::size_t>(random()) % limit;
    };
    const std::vector<std::string> seeds{
        line("23:59:59.999999", "x"),
        line("00:00:00.000000", "'quoted' 0x12 12.5e+3 (7 held back)"),
        "12:30:11.250000 T0042*ERR KR_GUARD:[0] mutex_ - Lock acquire delay (10 seconds passed) at "
        "A.cpp:42 (locked 2 "
        "time(s) by T1234 first on 12:30:01.250000 at B.cpp:7).\n",
        "12:30:16.250000 T0042*ERR KR_GUARD:[1] mutex_ - Lock eventually acquired after 15 seconds "
        "at A.cpp:42.\n",
        "12:30:16.250000 T0042*EMR KR_GUARD:[0] mutex_ - Lock panic at A.cpp:42, ace error 22, OS: "
        "x.\r\n",
        "12:30:16.250000 T0042*ERR KR_GUARD: Lock 0x55 held by T1 for 1.000 seconds at B.cpp:7.\n",
        line("12:00:00.000000",
             "KR_LOG_MANAGER: Log of host 'a', program 'b', process 1, 2014-03-05, UTC+01:00."),
        "continued\n",
        "\n",
        std::string("\0\xff\x80\n", 4)};
    for (int round = 0; round < 150; ++round) {
        std::size_t bytes = 0;
        for (const char* name :
             {"a_2026_11_21_part_00.log", "a_2026_11_21_part_01.log", "b_2026_11_22_part_00.log"}) {
            std::string text;
            for (std::size_t i = pick(40); i > 0; --i)
                text += seeds[pick(seeds.size())];
            for (std::size_t i = pick(12); i > 0 && !text.empty(); --i)
                text[pick(text.size())] = static_cast<char>(random());
            text.resize(text.size() -
                        (text.empty() ? 0 : pick(std::min<std::size_t>(text.size(), 30))));
            if (!text.empty() && text.back() != '\n')
                text += '\n';
            bytes += text.size();
            folder.write(name, text);
        }
        EXPECT_EQ(bytes, run({"log", folder.path()}).out.size()) << round;
        const std::vector<std::vector<std::string>> calls{
            {"--json"},
            {"--count"},
            {"--stalls"},
            {"--stalls", "--json"},
            {"--count", "--json"},
            {"--regex", "T[0-9]+.*a", "--color", "always"},
            {"--level", "dbg", "--with-date"},
            {"--since", "2026/11/21 12:00"}};
        std::vector<std::string> call = calls[pick(calls.size())];
        call.insert(call.begin(), {"log", folder.path()});
        EXPECT_NE(2, run(call).code) << round;
        std::string bad = packed(read_text(folder.path("a_2026_11_21_part_00.log")));
        for (std::size_t i = 1 + pick(3); i > 0; --i)
            bad[pick(bad.size())] = static_cast<char>(random());
        bad.resize(bad.size() - pick(bad.size()));
        EXPECT_NE(2, run({"log", folder.write("x.gz", bad)}).code) << round;
        std::filesystem::remove(folder.path("x.gz"));
    }
}

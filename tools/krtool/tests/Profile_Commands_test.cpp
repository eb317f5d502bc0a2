#include "../profile/Profile_Data.h"
#include "../profile/Profile_Page.h"

#include "Run.h"

#include "../../../tests/support/Temp_Folder.h"

#include <KRCommon/frame/ProfileHelper.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <random>
#include <string>

using namespace krtool;
using testing::HasSubstr;
using testing::Not;

namespace {

constexpr const char* header = "tag,timeStamp,totalMs,count,averageMs,highMs\n";
constexpr const char* percentiles_header = "tag,timeStamp,count,p50Ms,p90Ms,p99Ms\n";

struct Profile_Command : testing::Test {
    Temp_Folder folder;
};

// The data of a page.
nlohmann::json data_of(const std::string& page)
{
    const std::string begin = "<script type=\"application/json\" id=\"data\">";
    const std::size_t from = page.find(begin) + begin.size();
    return nlohmann::json::parse(page.substr(from, page.find("</script>", from) - from));
}

} // namespace

TEST(ProfileRow, TheNumbersAreBehindTheLastFiveCommas)
{
    const auto row = parse_profile_row("decode, fast,1394020860000,1000,400,2.5,17");
    ASSERT_TRUE(row);
    EXPECT_EQ("decode, fast", row->tag);
    EXPECT_EQ(1'394'020'860'000, row->time);
    EXPECT_EQ(1000, row->values[0]);
    EXPECT_EQ(400, row->values[1]);
    EXPECT_EQ(2.5, row->values[2]);
    EXPECT_EQ(17, row->values[3]);
    EXPECT_EQ(1.43166e+09, parse_profile_row("a,1,2,3,1.43166e+09,5")->values[2]);
    EXPECT_EQ("", parse_profile_row(",1,2,3,4,5")->tag);
}

TEST(ProfileRow, OtherTextsAreNone)
{
    for (const char* text : {"", ",", "1,2,3,4,5", "a,1,2,3,4", "a,1,2,3,4,", "a,1,2,3,4,x",
                             "a,1,2,3,4,5 ", "a,1,2,3,nan,5", "a,1,2,3,inf,5", "a,1,2,3,-4,5",
                             "a,1,2,3,1e999,5", "a,99999999999999999999,2,3,4,5", "a,1,2,3,0x4,5"})
        EXPECT_FALSE(parse_profile_row(text)) << text;
}

TEST(ProfileHost, IsTheNameWithoutItsTime)
{
    EXPECT_EQ("camera", profile_host("logs/camera_1394020800000.csv"));
    EXPECT_EQ("camera", profile_host("camera_1394020800000_percentiles.csv"));
    EXPECT_EQ("my", profile_host("my.csv"));
    EXPECT_EQ("7", profile_host("7.csv"));
    EXPECT_EQ("-", profile_host("-"));
}

TEST(ProfileSeries, ManyPointsBecomeFewer)
{
    Point_Series<Profile_Point> series;
    for (int i = 0; i < 100'000; ++i)
        series.add({i, 1, 2, static_cast<double>(i)});
    EXPECT_GE(1024u, series.points().size());
    EXPECT_LE(512u, series.points().size());
    double calls = 0;
    std::int64_t before = -1;
    for (const Profile_Point& point : series.points()) {
        calls += point.calls;
        EXPECT_LT(before, point.time);
        EXPECT_EQ(static_cast<double>(point.time), point.high_ms);
        before = point.time;
    }
    EXPECT_EQ(100'000, calls);
    EXPECT_EQ(99'999, before);
}

TEST_F(Profile_Command, TheTableHasWhereTheTimeGoesFirst)
{
    const std::string path = folder.write(
        "camera_1394020800000.csv",
        std::string(header) +
            "decode,1394020860000,1000,400,2.5,17\nwrite,1394020860000,3000,100,30,90\n"
            "decode,1394020920000,2500,1000,2.5,21\nwrite,1394020920000,3900,130,30,90\n");
    folder.write("camera_1394020800000_percentiles.csv",
                 std::string(percentiles_header) + "decode,1394020920000,1000,2.25,4.608,17.152\n");
    const Ran ran = run({"profile", path});
    EXPECT_EQ(0, ran.code);
    EXPECT_EQ("", ran.errors);
    EXPECT_EQ("tag     count  total ms  average ms  high ms  p50 ms  p90 ms  p99 ms  reports\n"
              "write     130      3900          30       90       -       -       -        2\n"
              "decode   1000      2500         2.5       21    2.25   4.608  17.152        2\n"
              "Reports from 2014-03-05T12:01:00.000Z to 2014-03-05T12:02:00.000Z.\n",
              ran.out);
    EXPECT_THAT(
        run({"profile", folder.path(), "--json"}).out,
        HasSubstr("{\"schema_version\":1,\"kind\":\"tag\",\"host\":\"camera\",\"tag\":\"decode\","
                  "\"count\":1000,"
                  "\"total_ms\":2500,\"average_ms\":2.5,\"high_ms\":21,\"reports\":2,\"resets\":0,"
                  "\"first\":\"2014-03-05T12:01:00.000Z\",\"last\":\"2014-03-05T12:02:00.000Z\","
                  "\"p50_ms\":2.25,\"p90_ms\":4.608,\"p99_ms\":17.152}\n"));
}

TEST_F(Profile_Command, PointsAreWhatCameBetweenReports)
{
    const std::string path = folder.write(
        "camera_1.csv", std::string(header) + "a,1000,100,10,10,50\r\na,2000,160,12,13.3,50\n"
                                              "a,3000,160,12,13.3,50\na,4000,8,1,8,8\n");
    const std::string page = folder.path("page.html");
    EXPECT_EQ(0, run({"profile", path, "--html", page}).code);
    const auto data = data_of(read_text(page));
    EXPECT_EQ(
        nlohmann::json::parse("[[1000,10.0,100.0,50.0],[2000,2.0,60.0,50.0],[3000,0.0,0.0,50.0],"
                              "[4000,1.0,8.0,8.0]]"),
        data["tags"][0]["points"]);
    EXPECT_EQ(1, data["tags"][0]["resets"]);
}

TEST_F(Profile_Command, ATotalThatWrapsGoesOn)
{
    const std::string path =
        folder.write("camera_1.csv", std::string(header) +
                                         "a,1000,4294967290,10,429496729,50\na,2000,4,11,0.3,50\n");
    EXPECT_THAT(run({"profile", path, "--json"}).out, HasSubstr("\"total_ms\":4294967300,"));
}

TEST_F(Profile_Command, HostsKeepTheirTagsApart)
{
    folder.write("camera_1.csv", std::string(header) + "a,1000,1,1,1,1\n");
    folder.write("web_1.csv", std::string(header) + "a,1000,2,1,2,2\n");
    const std::string out = run({"profile", folder.path()}).out;
    EXPECT_THAT(out, HasSubstr("\nweb: a "));
    EXPECT_THAT(out, HasSubstr("\ncamera: a "));
}

TEST_F(Profile_Command, WhatIsNoRowIsToldOnce)
{
    const std::string path = folder.write(
        "camera_1.csv", std::string(header) + "a tag with\na line feed,1,2,3,4,5\ntorn,1,2");
    const Ran ran = run({"profile", path});
    EXPECT_EQ(0, ran.code);
    EXPECT_EQ("krtool: warning: '" + path + "' has 2 lines that are no rows, the first is line 2\n",
              ran.errors);
    EXPECT_EQ(1, run({"profile", folder.write("empty.csv", "")}).code);
    EXPECT_EQ(1, run({"profile", folder.write("long.csv", std::string(3'000'000, 'x'))}).code);
}

TEST_F(Profile_Command, APageIsWholeWhateverATagHolds)
{
    const std::string path =
        folder.write("camera_1.csv", std::string(header) + "</script><!--\"'&\xff,1000,1,1,1,1\n");
    const std::string name = folder.path("page.html");
    run({"profile", path, "--html", name});
    const std::string page = read_text(name);
    EXPECT_EQ("</script><!--\"'&\xef\xbf\xbd", data_of(page)["tags"][0]["tag"]);
    EXPECT_THAT(page, Not(HasSubstr("</script><!--")));
    EXPECT_THAT(page, Not(HasSubstr("src=")));
    EXPECT_THAT(page, Not(HasSubstr("https:")));
    EXPECT_THAT(page, HasSubstr("</html>\n"));
}

TEST_F(Profile_Command, WhatCannotBeReadOrWrittenIsOneSentence)
{
    const std::string missing = folder.path("missing.csv");
    EXPECT_EQ("krtool: cannot open '" + missing + "': No such file or directory\n",
              run({"profile", missing}).errors);
    const std::string good = folder.write("camera_1.csv", std::string(header) + "a,1000,1,1,1,1\n");
    const std::string nowhere = folder.path("no folder/page.html");
    const Ran ran = run({"profile", good, "--html", nowhere});
    EXPECT_EQ(2, ran.code);
    EXPECT_EQ("krtool: cannot write '" + nowhere + "': No such file or directory\n", ran.errors);
}

TEST_F(Profile_Command, ReadsWhatTheLibraryWrites)
{
    {
        ProfileHelper profile(0, folder.path("camera"));
        profile.WritePercentiles();
        profile.AddSampleMicroseconds("decode, fast", 2500);
        profile.AddSample("write", 40);
        profile.ReportStat();
        profile.AddSampleMicroseconds("decode, fast", 3500);
        profile.ReportStat();
        profile.Reset();
        profile.AddSample("write", 10);
        profile.ReportStat();
    }
    const Ran ran = run({"profile", folder.path()});
    EXPECT_EQ(0, ran.code);
    EXPECT_EQ("", ran.errors);
    EXPECT_THAT(ran.out, HasSubstr("\nwrite             2        50          25       40 "));
    EXPECT_THAT(ran.out, HasSubstr("\ndecode, fast      2         5         2.5        3 "));
    EXPECT_THAT(run({"profile", folder.path(), "--json"}).out, HasSubstr("\"resets\":1,"));
}

TEST_F(Profile_Command, MutatedFilesBreakNothing)
{
    std::mt19937 random(7);
    const std::string whole = std::string(header) +
                              "a,1000,100,10,10,50\nb,c,2000,160,12,13.3,50\n" +
                              percentiles_header + "a,3000,160,12,13.3,50\na,4000,8,1,8,8\n";
    for (int round = 0; round < 300; ++round) {
        std::string text = whole;
        for (int i = 0; i < 4; ++i)
            text[random() % text.size()] = static_cast<char>(random());
        text.resize(random() % (text.size() + 1));
        const std::string path = folder.write("x_1.csv", text);
        EXPECT_NE(2, run({"profile", path, "--html", folder.path("page.html")}).code);
        EXPECT_NO_THROW(data_of(read_text(folder.path("page.html"))));
    }
}

#include "Search_Testing.h"
#include "search/Color_Names.h"
#include "search/Criteria.h"
#include "search/Format.h"
#include "search/Index_Progress.h"
#include "search/Table.h"

#include <cmath>

using namespace video_search;

namespace {

Hit hit(std::uint64_t id, ns__ObjectClass object_class, float score, std::uint32_t duration)
{
    Hit hit;
    hit.sensor.word1 = 3;
    hit.first_seen = second(static_cast<int>(id));
    hit.object_class = object_class;
    hit.score = score;
    hit.result.objectId = id;
    hit.result.duration = duration;
    hit.instance_count = 10 * duration;
    return hit;
}

} // namespace

TEST(Search_Table, ColumnsAreAsWideAsTheirCells)
{
    Result result;
    result.hits.push_back(hit(7, ns__ObjectClass__person, 0.875F, 4));
    result.hits.push_back(hit(12, ns__ObjectClass__unknown, 0, 125));
    result.hits[0].colors = {{ns__ColorPreset__dark_blue, 42, {}},
                             {ns__ColorPreset__red, 10, {}},
                             {ns__ColorPreset__gray, 9.9F, {}}};
    result.matches = 2;
    result.objects = 40;
    EXPECT_EQ(
        table_of(result),
        "id  sensor  first seen (UTC)         duration  class    score  main colours   instances\n"
        " 7     3.1  2024/03/05 07:08:16.000       4 s  person    0.87  dark_blue red         40\n"
        "12     3.1  2024/03/05 07:08:21.000     125 s  unknown   0.00  -                   1250\n"
        "2 of 40 objects match\n");
}

TEST(Search_Table, AtMostThreeColorsAreNamed)
{
    Result result;
    result.hits.push_back(hit(1, ns__ObjectClass__person, 1, 1));
    for (const ns__ColorPreset preset : {ns__ColorPreset__red, ns__ColorPreset__pink,
                                         ns__ColorPreset__gray, ns__ColorPreset__white})
        result.hits[0].colors.push_back({preset, 25, {}});
    const std::string table = table_of(result);
    EXPECT_NE(table.find("  red pink gray  "), std::string::npos) << table;
    EXPECT_EQ(table.find("white"), std::string::npos) << table;
}

TEST(Search_Table, WithoutHitsThereIsTheSummaryAlone)
{
    Result result;
    result.objects = 40;
    EXPECT_EQ(table_of(result), "0 of 40 objects match\n");
}

TEST(Search_Table, SummaryTellsOfTheLimitAndOfDamage)
{
    Result result;
    result.matches = 3;
    result.objects = 9;
    result.hits.resize(1);
    result.damaged = 1;
    EXPECT_EQ(summary_of(result), "3 of 9 objects match, 1 shown, 1 damaged record left out");
    result.hits.resize(3);
    result.damaged = 2;
    EXPECT_EQ(summary_of(result), "3 of 9 objects match, 2 damaged records left out");
    result = {};
    result.objects = 1;
    EXPECT_EQ(summary_of(result), "0 of 1 object matches");
}

TEST(Search_Table, NamesThePartsOfTheStoreThatDidNotAnswer)
{
    Result result;
    result.unanswered = {"shard 1 (a:1): timed out", "shard 3 (c:3): HTTP 500"};
    EXPECT_EQ(summary_of(result), "0 of 0 objects match; without shard 1 (a:1): timed out; without "
                                  "shard 3 (c:3): HTTP 500");
}

TEST(Search_Criteria, AreToldInWords)
{
    using Words = std::vector<std::string>;
    Criteria criteria;
    EXPECT_EQ(in_words(criteria), (Words{"all objects"}));
    criteria.object_class = ns__ObjectClass__person;
    criteria.colors = {set_of(ns__ColorPreset__light_blue)};
    criteria.min_area = 20;
    criteria.min_score = 0.35F;
    criteria.min_duration = 2.5F;
    criteria.from = second(0);
    criteria.to = second(60);
    criteria.order = Order::duration;
    criteria.limit = 5;
    EXPECT_EQ(in_words(criteria),
              (Words{"persons", "light blue on 20 % or more", "score 0.35 or more",
                     "2.5 s or longer", "first seen from 2024/03/05 07:08:09.000",
                     "first seen to 2024/03/05 07:09:09.000", "longest first", "at most 5"}));
}

TEST(Search_Format, NumbersAndDurations)
{
    EXPECT_EQ(decimal(2.5, 2), "2.50");
    EXPECT_EQ(decimal(-0.04, 1), "-0.0");
    EXPECT_EQ(decimal(1e300, 0).size(), 301U);
    EXPECT_EQ(decimal(NAN, 2), "-");
    EXPECT_EQ(shortest(0.35F), "0.35");
    EXPECT_EQ(shortest(20), "20");
    EXPECT_EQ(shortest(INFINITY), "-");
    EXPECT_EQ(duration_text(0), "0 s");
    EXPECT_EQ(duration_text(59), "59 s");
    EXPECT_EQ(duration_text(60), "1 min 0 s");
    EXPECT_EQ(duration_text(3599), "59 min 59 s");
    EXPECT_EQ(duration_text(7500), "2 h 5 min");
    EXPECT_EQ(time_text(ACE_Time_Value(1709622489, 123999)), "2024/03/05 07:08:09.123");
    EXPECT_EQ(clock_text(ACE_Time_Value(1709622489, 999999)), "07:08:09");
}

TEST(Search_Table, SummaryOfASearchThatEndedAtItsLimit)
{
    Result result;
    result.hits.resize(2);
    result.matches = 3;
    result.objects = 40;
    EXPECT_EQ(summary_of(result), "3 of 40 objects match, 2 shown");
    result.has_all_matches = false;
    EXPECT_EQ(summary_of(result), "more than 2 of 40 objects match, 2 shown");
}

// What is shown is found when it is asked for.
TEST(Search_Table, NumbersAreShownAsTheyAreCompared)
{
    EXPECT_EQ(reached(19.5F, 0), "19");
    EXPECT_EQ(reached(19.999F, 0), "19");
    EXPECT_EQ(reached(20.0F, 0), "20");
    EXPECT_EQ(reached(0.496F, 2), "0.49");
    EXPECT_EQ(reached(0.29F, 2), "0.29"); // the float lies below 0.29
    EXPECT_EQ(reached(0.57F, 2), "0.57");
    EXPECT_EQ(reached(1.0F, 2), "1.00");
    EXPECT_EQ(reached(0.0F, 2), "0.00");
    EXPECT_EQ(reached(-0.5F, 0), "-1");
    EXPECT_EQ(reached(NAN, 0), "-");
    EXPECT_EQ(reached(INFINITY, 0), "-");
    for (int k = 0; k <= 10'000; ++k) {
        const float value = static_cast<float>(k) / 10'000.0F;
        EXPECT_LE(std::stof(reached(value, 2)), value);
        EXPECT_GT(std::stod(reached(value, 2)) + 0.01, double{value});
    }
}

TEST(Search_Table, CriteriaThatAreNewHaveWordsToo)
{
    Criteria criteria;
    criteria.colors = {*color_of_name("red"), *color_of_name("blue")};
    criteria.max_duration = 9.5F;
    criteria.area = {rectangle({0, 300}, {767, 575}), Presence::crossed};
    criteria.sensors.resize(2);
    criteria.sensors[1].word1 = 4;
    criteria.hours = Hours{22, 6};
    criteria.order = Order::latest;
    EXPECT_EQ(
        in_words(criteria),
        (std::vector<std::string>{"all objects", "red or blue on 20 % or more", "9.5 s or shorter",
                                  "crossed 0,300 767,300 767,575 0,575", "sensor 0.1 or 4.1",
                                  "first seen between 22:00 and 6:00", "latest first"}));
    criteria.wants_all_colors = true;
    criteria.area->presence = Presence::stood;
    EXPECT_EQ(in_words(criteria)[1], "red and blue on 20 % or more");
    EXPECT_EQ(in_words(criteria)[3], "stood in 0,300 767,300 767,575 0,575");
}

TEST(Search_Table, IndexProgressIsABarWithNumbers)
{
    EXPECT_EQ(index_line(0, 1000),
              "making the index  [--------------------]    0 %  0 of 1000 objects");
    EXPECT_EQ(index_line(500, 1000),
              "making the index  [##########----------]   50 %  500 of 1000 objects");
    EXPECT_EQ(index_line(1200, 1000),
              "making the index  [####################]  100 %  1200 of 1000 objects");
    EXPECT_EQ(index_line(0, 0), "making the index  [####################]  100 %  0 of 0 objects");
}

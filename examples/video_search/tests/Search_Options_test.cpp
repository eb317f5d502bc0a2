#include "host/Program.h"
#include "search/Options.h"

#include <KRCommon/util/Time_Text.h>

#include <gtest/gtest.h>

#include <sstream>
#include <vector>

using namespace video_search;

namespace {

using Words = std::vector<const char*>;

std::optional<Options> parsed(Words words)
{
    words.insert(words.begin(), "kr_search");
    std::ostringstream help;
    return parse_options(static_cast<int>(words.size()), words.data(), "1.2.3", help);
}

Options options_of(Words words)
{
    words.insert(words.end(), {"--store", "folder/a.db"});
    return parsed(words).value();
}

std::string complaint_about(Words words)
{
    try {
        (void)options_of(std::move(words));
    } catch (const Usage_Error& error) {
        return error.what();
    }
    return "none";
}

} // namespace

TEST(Search_Options, StoreAloneLeavesTheDefaults)
{
    const Options options = options_of({});
    EXPECT_EQ(options.store, "folder/a.db");
    EXPECT_EQ(options.logs, "folder/");
    EXPECT_EQ(options.html, "");
    EXPECT_FALSE(options.criteria.from);
    EXPECT_FALSE(options.criteria.to);
    EXPECT_EQ(options.criteria.object_class, ns__ObjectClass__unknown);
    EXPECT_EQ(options.criteria.min_score, 0.0F);
    EXPECT_TRUE(options.criteria.colors.empty());
    EXPECT_EQ(options.criteria.min_area, 20.0F);
    EXPECT_EQ(options.criteria.min_duration, 0.0F);
    EXPECT_EQ(options.criteria.window, 8);
    EXPECT_EQ(options.criteria.order, Order::time);
    EXPECT_FALSE(options.criteria.limit);
}

TEST(Search_Options, LogsGoToTheWorkingFolderWhenTheStoreIsThere)
{
    EXPECT_EQ(parsed({"--store", "a.db"})->logs, ".");
    EXPECT_EQ(parsed({"--store", "/a.db"})->logs, "/");
    EXPECT_EQ(parsed({"--store", "a.db", "--logs", "elsewhere"})->logs, "elsewhere");
}

TEST(Search_Options, LogsGoToTheWorkingFolderForACluster)
{
    EXPECT_EQ(parsed({"--store", "clickhouse://one:8123/kr?cluster=a"})->logs, ".");
}

TEST(Search_Options, WholeAnswersAloneMustBeAskedFor)
{
    EXPECT_FALSE(options_of({}).is_strict);
    EXPECT_TRUE(options_of({"--strict"}).is_strict);
}

TEST(Search_Options, EveryOptionIsTakenOver)
{
    const Options options = options_of({"--from",         "2024/03/05 07:08:09",
                                        "--to",           "2024/03/05 07:08:10.000001",
                                        "--class",        "vehicle",
                                        "--color",        "light_blue",
                                        "--min-score",    "0.25",
                                        "--min-area",     "35",
                                        "--min-duration", "2.5",
                                        "--window",       "-1",
                                        "--limit",        "7",
                                        "--sort",         "duration",
                                        "--title",        "A day",
                                        "--html",         "a.html",
                                        "--logs",         "l"});
    EXPECT_EQ(*options.criteria.from, ACE_Time_Value(1709622489));
    EXPECT_EQ(*options.criteria.to, ACE_Time_Value(1709622490, 1));
    EXPECT_EQ(options.criteria.object_class, ns__ObjectClass__vehicle);
    EXPECT_EQ(options.criteria.colors, std::vector{set_of(ns__ColorPreset__light_blue)});
    EXPECT_EQ(options.criteria.min_score, 0.25F);
    EXPECT_EQ(options.criteria.min_area, 35.0F);
    EXPECT_EQ(options.criteria.min_duration, 2.5F);
    EXPECT_EQ(options.criteria.window, -1);
    EXPECT_EQ(options.criteria.limit, 7U);
    EXPECT_EQ(options.criteria.order, Order::duration);
    EXPECT_EQ(options.title, "A day");
    EXPECT_EQ(options.html, "a.html");
    EXPECT_EQ(options.logs, "l");
}

TEST(Search_Options, ClassAloneAsksForAHalf)
{
    EXPECT_EQ(options_of({"--class", "person"}).criteria.min_score, 0.5F);
    EXPECT_EQ(options_of({"--class", "person", "--min-score", "0"}).criteria.min_score, 0.0F);
}

TEST(Search_Options, ColorNamesAreThoseOfTheLibrary)
{
    const Words names{"white", "black",       "gray",       "light_blue", "dark_blue",
                      "brown", "light_green", "dark_green", "yellow",     "orange",
                      "red",   "pink",        "purple"};
    for (std::size_t k = 0; k < names.size(); ++k)
        EXPECT_EQ(options_of({"--color", names[k]}).criteria.colors,
                  std::vector{set_of(static_cast<ns__ColorPreset>(k + 1))})
            << names[k];
}

TEST(Search_Options, SeveralColorsAreJoinedByCommasOrRepeated)
{
    const std::vector<Preset_Set> both{set_of(ns__ColorPreset__red),
                                       set_of(ns__ColorPreset__light_blue) |
                                           set_of(ns__ColorPreset__dark_blue)};
    EXPECT_EQ(options_of({"--color", "red,blue"}).criteria.colors, both);
    EXPECT_EQ(options_of({"--color", "red", "--color", "blue"}).criteria.colors, both);
    EXPECT_FALSE(options_of({"--color", "red,blue"}).criteria.wants_all_colors);
    EXPECT_TRUE(options_of({"--color", "red,blue", "--colors", "all"}).criteria.wants_all_colors);
    EXPECT_FALSE(options_of({"--color", "red,blue", "--colors", "any"}).criteria.wants_all_colors);
    EXPECT_EQ(options_of({"--color", "green"}).criteria.colors.at(0),
              set_of(ns__ColorPreset__light_green) | set_of(ns__ColorPreset__dark_green));
}

TEST(Search_Options, PlacesTimesOfTheDayAndFilesAreTakenOver)
{
    const Options options =
        options_of({"--sensor", "3,4.2", "--hours", "22-6", "--stood-in", "0,300.5 767,575",
                    "--max-duration", "9.5", "--sort", "latest", "--limit", "100", "--count",
                    "--csv", "a.csv", "--json", "a.json"});
    ASSERT_EQ(options.criteria.sensors.size(), 2U);
    EXPECT_EQ(options.criteria.sensors[0].word1, 3);
    EXPECT_EQ(options.criteria.sensors[0].word2, 1);
    EXPECT_EQ(options.criteria.sensors[1].word1, 4);
    EXPECT_EQ(options.criteria.sensors[1].word2, 2);
    EXPECT_EQ(options.criteria.hours->from, 22);
    EXPECT_EQ(options.criteria.hours->to, 6);
    ASSERT_EQ(options.criteria.area->corners.size(), 4U);
    EXPECT_EQ(options.criteria.area->corners[0].y, 300.5F);
    EXPECT_EQ(options.criteria.area->corners[2].x, 767.0F);
    EXPECT_EQ(options.criteria.area->presence, Presence::stood);
    EXPECT_EQ(options.criteria.max_duration, 9.5F);
    EXPECT_EQ(options.criteria.order, Order::latest);
    EXPECT_TRUE(options.criteria.counts_all);
    EXPECT_EQ(options.csv, "a.csv");
    EXPECT_EQ(options.json, "a.json");
}

TEST(Search_Options, PolygonHasThreeCornersOrMore)
{
    const Options options = options_of({"--crossed", "1,2 3,4 -5,6e1"});
    ASSERT_EQ(options.criteria.area->corners.size(), 3U);
    EXPECT_EQ(options.criteria.area->corners[2].x, -5.0F);
    EXPECT_EQ(options.criteria.area->corners[2].y, 60.0F);
    EXPECT_EQ(options.criteria.area->presence, Presence::crossed);
}

TEST(Search_Options, WhatIsNoAreaIsRefused)
{
    for (const char* const text : {"1,2", "1 2 3 4", "1,2 3", "1,2 3,4,5", "a,b c,d", "1,2 nan,4",
                                   "1,2 inf,4", "1,2 3,4 ,", ", 1,2 3,4"})
        EXPECT_EQ(complaint_about({"--stood-in", text}),
                  "--stood-in: '" + std::string(text) +
                      "' is no area; write two opposite corners of a rectangle, like \"0,300 "
                      "767,575\", or three corners and more of a polygon");
    EXPECT_EQ(complaint_about({"--stood-in", "1,2 3,4", "--crossed", "1,2 3,4"}),
              "--crossed: not together with --stood-in");
}

TEST(Search_Options, WhatAreNoHoursOrNoSensorIsRefused)
{
    for (const char* const text : {"8", "8-", "-17", "24-3", "8-25", "8-17h", "8 - 17", "-1-5"})
        EXPECT_EQ(complaint_about({"--hours", text}),
                  "--hours: '" + std::string(text) +
                      "' are no hours of the day; write 8-17 or 22-6");
    for (const char* const text : {"x", "3.", ".1", "3.1.1", "-3", "3.-1", "99999999999"})
        EXPECT_EQ(complaint_about({"--sensor", text}),
                  "--sensor: '" + std::string(text) + "' is no sensor; write 3 or 3.1");
}

TEST(Search_Options, BoundsOfTheNumbersAreAllowed)
{
    EXPECT_EQ(complaint_about({"--min-score", "0"}), "none");
    EXPECT_EQ(complaint_about({"--min-score", "1"}), "none");
    EXPECT_EQ(complaint_about({"--color", "red", "--min-area", "0"}), "none");
    EXPECT_EQ(complaint_about({"--color", "red", "--min-area", "100"}), "none");
    EXPECT_EQ(complaint_about({"--min-duration", "0"}), "none");
    EXPECT_EQ(complaint_about({"--window", "-1"}), "none");
    EXPECT_EQ(complaint_about({"--limit", "1"}), "none");
    EXPECT_EQ(complaint_about({"--from", "2024/03/05 07:08:09", "--to", "2024/03/05 07:08:09"}),
              "none");
}

TEST(Search_Options, EachBadWordHasItsSentence)
{
    const struct {
        Words words;
        std::string sentence;
    } rows[] = {
        {{"--class", "Person"},
         "--class: 'Person' is no class; the classes are person, vehicle, object"},
        {{"--class", ""}, "--class: '' is no class; the classes are person, vehicle, object"},
        {{"--color", "violet"},
         "--color: 'violet' is no colour; the colours are white, black, gray, light_blue, "
         "dark_blue, "
         "brown, light_green, dark_green, yellow, orange, red, pink, purple, blue, green"},
        {{"--sort", "size"},
         "--sort: 'size' is no order; the orders are time, latest, duration, score"},
        {{"--min-score", "1.01"}, "--min-score: the score must be from 0 to 1"},
        {{"--min-score", "-0.1"}, "--min-score: the score must be from 0 to 1"},
        {{"--min-score", "nan"}, "--min-score: the score must be from 0 to 1"},
        {{"--color", "red", "--min-area", "101"},
         "--min-area: the area must be from 0 to 100 percent"},
        {{"--min-area", "30"}, "--min-area: needs a --color"},
        {{"--colors", "all"}, "--colors: needs a --color"},
        {{"--color", "red", "--colors", "both"}, "--colors: write any or all"},
        {{"--min-duration", "3", "--max-duration", "2"},
         "--max-duration: the duration must be that of --min-duration or more"},
        {{"--max-duration", "nan"},
         "--max-duration: the duration must be that of --min-duration or more"},
        {{"--min-duration", "-1"}, "--min-duration: the duration must be 0 seconds or more"},
        {{"--min-duration", "nan"}, "--min-duration: the duration must be 0 seconds or more"},
        {{"--window", "-2"}, "--window: the window must be -1 (all) or more"},
        {{"--limit", "0"}, "--limit: the limit must be 1 or more"},
        {{"--from", "2024/03/05 07:08:10", "--to", "2024/03/05 07:08:09"},
         "--from: 2024/03/05 07:08:10 is after --to 2024/03/05 07:08:09"},
    };
    for (const auto& row : rows)
        EXPECT_EQ(complaint_about(row.words), row.sentence);
}

TEST(Search_Options, WhatIsNoTimeIsRefused)
{
    for (const char* const text :
         {"yesterday", "", "2024/13/45 00:00:00", "2024/03/05 25:00:00", "2024/02/30 00:00:00",
          "2023/02/29 12:00:00", "2024/03/05", "2024/03/05 07:08", "2024-03-05 07:08:09",
          "2024/3/5 7:8:9", "2024/03/05T07:08:09", "2024/03/05 07:08:09.5",
          "2024/03/05 07:08:09.0000001", " 2024/03/05 07:08:09", "2024/03/05 07:08:09 ",
          "2024/03/05 07:08:60", "2024/03/05 07:60:00", "3001/01/01 00:00:00"}) {
        const std::string sentence =
            ": '" + std::string(text) +
            "' is no time; write YYYY/MM/DD hh:mm:ss or YYYY/MM/DD hh:mm:ss.uuuuuu "
            "(UTC, years 1970 to 3000), like 2024/03/05 07:08:09";
        EXPECT_EQ(complaint_about({"--from", text}), "--from" + sentence);
        EXPECT_EQ(complaint_about({"--to", text}), "--to" + sentence);
    }
}

TEST(Search_Options, LeapDaysAndTheEndsOfTheRangeAreTimes)
{
    for (const char* const text : {"2024/02/29 23:59:59", "1970/01/01 00:00:00",
                                   "3000/12/31 23:59:59.999999", "2024/03/05 07:08:09.000123"})
        EXPECT_EQ(complaint_about({"--from", text}), "none") << text;
}

TEST(Search_Options, MissingStoreUnknownOptionAndNoNumberAreErrors)
{
    EXPECT_THROW((void)parsed({}), Usage_Error);
    EXPECT_THROW((void)parsed({"--store"}), Usage_Error);
    EXPECT_NE(complaint_about({"--nonsense"}), "none");
    EXPECT_NE(complaint_about({"surplus"}), "none");
    EXPECT_NE(complaint_about({"--limit", "many"}), "none");
    EXPECT_NE(complaint_about({"--window", "1.5"}), "none");
    EXPECT_NE(complaint_about({"--min-score", "high"}), "none");
}

TEST(Search_Options, HelpIsPrintedAndNothingElseIsAsked)
{
    const Words words{"kr_search", "--help"};
    std::ostringstream help;
    EXPECT_FALSE(parse_options(2, words.data(), "1.2.3", help));
    EXPECT_NE(help.str().find("--min-duration S"), std::string::npos) << help.str();
    EXPECT_NE(help.str().find("light_blue"), std::string::npos);
}

TEST(Search_Options, VersionIsPrintedAndNothingElseIsAsked)
{
    const Words words{"kr_search", "--version"};
    std::ostringstream out;
    EXPECT_FALSE(parse_options(2, words.data(), "1.2.3", out));
    EXPECT_EQ("kr_search 1.2.3\n", out.str());
}

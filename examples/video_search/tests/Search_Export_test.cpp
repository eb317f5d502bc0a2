#include "Search_Testing.h"
#include "search/Export.h"

#include <limits>

using namespace video_search;

namespace {

Hit make_hit()
{
    Hit hit;
    hit.run = "run-1";
    hit.sensor.word1 = 3;
    hit.first_seen = second(0) + ACE_Time_Value(0, 250);
    hit.result.objectId = 9'223'372'036'854'775'807U;
    hit.result.endTimeSeconds = second(4).sec();
    hit.result.endTimeMilliseconds = 500;
    hit.result.duration = 4;
    hit.object_class = ns__ObjectClass__person;
    hit.score = 0.875F;
    hit.scores = {0.875F, 0, 0.125F};
    hit.colors = {{ns__ColorPreset__red, 42.5F, color_area(192, 32, 31, 0).color},
                  {ns__ColorPreset__dark_blue, 30, color_area(0, 0, 255, 0).color}};
    hit.instance_count = 40;
    hit.path.resize(2);
    hit.path[0].x = 320;
    hit.path[0].y = 410.5F;
    return hit;
}

constexpr const char* header =
    "id,sensor,run,first_seen,last_seen,duration,class,score,person,vehicle,object,colors,"
    "instances\r\n";

} // namespace

TEST(Search_Export, CsvHasALineForEachHit)
{
    Result result;
    EXPECT_EQ(csv_of(result), header);
    result.hits = {make_hit(), make_hit()};
    const std::string line = "9223372036854775807,3.1,run-1,2024/03/05 07:08:09.000250,"
                             "2024/03/05 07:08:13.500000,4,person,0.875,0.875,0,0.125,"
                             "red 42.5;dark_blue 30,40\r\n";
    EXPECT_EQ(csv_of(result), header + line + line);
}

TEST(Search_Export, CsvQuotesWhatWouldEndACell)
{
    Result result;
    result.hits = {make_hit()};
    for (const auto& [run, cell] :
         {std::pair("a,b", "\"a,b\""), std::pair("say \"hi\"", "\"say \"\"hi\"\"\""),
          std::pair("a\nb", "\"a\nb\""), std::pair("a\rb", "\"a\rb\""), std::pair("", "")}) {
        result.hits[0].run = run;
        EXPECT_NE(csv_of(result).find(std::string(",3.1,") + cell + ",2024/"), std::string::npos)
            << csv_of(result);
    }
}

TEST(Search_Export, CsvHasEmptyCellsForWhatIsNoNumber)
{
    Result result;
    result.hits = {make_hit()};
    result.hits[0].colors.clear();
    result.hits[0].scores = {std::numeric_limits<float>::quiet_NaN(),
                             std::numeric_limits<float>::infinity(), 0};
    EXPECT_NE(csv_of(result).find(",person,0.875,,,0,,40\r\n"), std::string::npos);
}

TEST(Search_Export, JsonIsAnArrayWithAnObjectForEachHit)
{
    Result result;
    EXPECT_EQ(json_of(result), "[]\n");
    result.hits = {make_hit(), make_hit()};
    const std::string object =
        R"({"id": 9223372036854775807, "sensor": "3.1", "run": "run-1", )"
        R"("first_seen": "2024/03/05 07:08:09.000250", "last_seen": "2024/03/05 07:08:13.500000", )"
        R"("duration": 4, "class": "person", "score": 0.875, )"
        R"("scores": {"person": 0.875, "vehicle": 0, "object": 0.125}, )"
        R"("colors": [{"name": "red", "percent": 42.5, "rgb": "#c0201f"}, )"
        R"({"name": "dark_blue", "percent": 30, "rgb": "#0000ff"}], )"
        R"("instances": 40, "path": [[320, 410.5], [0, 0]]})";
    EXPECT_EQ(json_of(result), "[\n" + object + ",\n" + object + "\n]\n");
}

TEST(Search_Export, JsonEscapesTextsAndHasNullForWhatIsNoNumber)
{
    Result result;
    result.hits = {make_hit()};
    result.hits[0].run = "a \"b\" \\ \n\x01 \xC3\xA4 \xFF";
    result.hits[0].score = std::numeric_limits<float>::quiet_NaN();
    result.hits[0].path[0].x = -std::numeric_limits<float>::infinity();
    const std::string json = json_of(result);
    EXPECT_NE(json.find(R"("run": "a \"b\" \\ \u000a\u0001 )"
                        "\xC3\xA4 "),
              std::string::npos)
        << json;
    EXPECT_EQ(json.find('\xFF'), std::string::npos) << "no byte that is not UTF-8";
    EXPECT_NE(json.find("\"score\": null,"), std::string::npos);
    EXPECT_NE(json.find("\"path\": [[null, 410.5]"), std::string::npos);
}

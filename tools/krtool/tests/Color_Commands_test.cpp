#include "../color/Color_Text.h"
#include "../host/Program.h"
#include "Config_Files.h"
#include "Run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

namespace {

using krtool::read_color;
using testing::EndsWith;
using testing::HasSubstr;
using Json = nlohmann::json;

std::string rgb_of(const std::string& text)
{
    const ns__RgbColor rgb = read_color(text).rgb;
    return std::to_string(rgb.red) + "," + std::to_string(rgb.green) + "," +
           std::to_string(rgb.blue);
}

TEST(ColorText, ReadsWhatPeopleWrite)
{
    for (const char* text : {"#A52A2A", "A52A2A", "a52a2a", "165,42,42", "rgb:165,42,42",
                             "165, 42, 42", "rgb:#A52A2A"})
        EXPECT_EQ("165,42,42", rgb_of(text)) << text;
    EXPECT_EQ("170,187,204", rgb_of("#abc"));
    EXPECT_EQ("255,0,255", rgb_of("hsv:300,1,1"));
    EXPECT_EQ("255,0,255", rgb_of("300,1,1")); // red does not go beyond 255
    EXPECT_EQ("120,1,1", rgb_of("120,1,1"));
    EXPECT_EQ("0,255,0", rgb_of("120,1.0,1"));
    EXPECT_EQ("127,127,127", rgb_of("hsv:-1,0,0.5"));
    EXPECT_EQ(-1, read_color("128,128,128").hsv.hue);
    EXPECT_EQ(359, read_color("255,0,1").hsv.hue);
}

TEST(ColorText, RefusesTheRest)
{
    for (const char* text : {"",
                             "#",
                             "#12",
                             "#12345",
                             "#1234567",
                             "#GGGGGG",
                             "red",
                             "1,2",
                             "1,2,3,4",
                             "1,2,",
                             ",,",
                             "256,2,0",
                             "1.5,2,3,",
                             "hsv:360,1,1",
                             "hsv:-2,0,0",
                             "hsv:0,1.1,0",
                             "hsv:0,0,-0.1",
                             "hsv:0.5,1,1",
                             "rgb:1.5,0,0",
                             "rgb:-1,0,0",
                             "nan,nan,nan",
                             "hsv:0,inf,1",
                             "hsv:#A52A2A",
                             "abc",
                             "1e999,0,0"})
        EXPECT_THROW(read_color(text), krtool::Failure) << text;
}

TEST(Color, TellsTheRangesThatDecideAndTheNearestOther)
{
    const Ran ran = run({"color", "#A52A2A", "--config", default_path()});
    EXPECT_EQ(0, ran.code);
    EXPECT_EQ("", ran.errors);
    EXPECT_THAT(ran.out, HasSubstr("#A52A2A  rgb 165,42,42  hsv 0,0.7455,0.6471  red\n"));
    EXPECT_THAT(ran.out, HasSubstr("hue 351 to 11, saturation 0.601 to 1, value 0.401 to 1\n"));
    EXPECT_THAT(ran.out, HasSubstr("  next is pink in line"));
    EXPECT_THAT(ran.out, EndsWith("hue 10 degrees too high\n"));
}

TEST(Color, WithoutAFileTheLibrarysOwnIsMeant)
{
    const Ran own = run({"color", "255,128,0", "--json"});
    EXPECT_EQ(0, own.code) << own.errors;
    const Json json = Json::parse(own.out);
    EXPECT_EQ(1, json["schema_version"]);
    EXPECT_EQ("orange", json["colors"][0]["presets"][0]);
}

TEST(Color, AColorWithoutANameIsNotFoundAndTheNearestRangeIsTold)
{
    const Test_File file(
        "<configuration><colors><presets>\n"
        "<preset color='red' rgb='FF0000' hue_from='340' hue_to='15' sat_from='0.4' "
        "sat_to='1' val_from='0.3' val_to='1'/>\n"
        "<preset color='pink' sat_from='NaN' sat_to='1' val_to='1'/>\n"
        "</presets></colors></configuration>");
    const Ran ran = run({"color", "hsv:20,0.3,0.2", "hsv:338,0.5,1", "--config", file.path()});
    EXPECT_EQ(1, ran.code);
    EXPECT_THAT(ran.out, HasSubstr("no name\n  nearest is red in line 2: hue 5 degrees too high, "
                                   "saturation 0.1 too low, value 0.1 too low\n"));
    EXPECT_THAT(ran.out, HasSubstr("nearest is red in line 2: hue 2 degrees too low\n"));
    const Json json =
        Json::parse(run({"color", "hsv:20,0.3,0.2", "--json", "--config", file.path()}).out);
    EXPECT_EQ(5, json["colors"][0]["nearest_other"]["distance"]["hue"]);
    EXPECT_EQ(0.4, json["colors"][0]["nearest_other"]["sat_from"]);
    EXPECT_TRUE(json["colors"][0]["presets"].empty());
}

TEST(Color, WhatCannotBeDoneIsOneSentence)
{
    const Test_File refused("<configuration/>");
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{"color"},
          {"color", "beige"},
          {"color", "#000000", "beige"},
          {"color", "#000000", "--config", "no such file"},
          {"color", "#000000", "--config", std::filesystem::temp_directory_path().string()},
          {"color", "#000000", "--config", refused.path()}}) {
        const Ran ran = run(arguments);
        EXPECT_EQ(2, ran.code);
        EXPECT_EQ("", ran.out);
        EXPECT_EQ(1, std::count(ran.errors.begin(), ran.errors.end(), '\n')) << ran.errors;
        EXPECT_THAT(ran.errors, testing::StartsWith("krtool: "));
    }
    EXPECT_THAT(run({"color", "#000000", "--config", refused.path()}).errors,
                HasSubstr("line:1-'colors'-Mandatory element missing"));
}

} // namespace

#include "Record_Testing.h"
#include "Run.h"

#include <nlohmann/json.hpp>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <sstream>

using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

namespace {

using Json = nlohmann::json;

const std::string example = std::string(KRTOOL_RECORDS) + "/golden/example.bin";

std::vector<Json> lines_of(const std::string& text)
{
    std::vector<Json> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        lines.push_back(Json::parse(line));
        EXPECT_EQ(1, lines.back()["schema_version"]);
    }
    return lines;
}

// The codes that verify finds, "error cut_in_instances 0 136" each: level, code, record, offset.
std::vector<std::string> codes_of(const std::string& bytes,
                                  const std::vector<std::string>& options = {})
{
    const Test_File file(bytes);
    std::vector<std::string> arguments{"record", "verify", "--json", file.path()};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Ran ran = run(arguments);
    EXPECT_EQ("", ran.errors);
    std::vector<std::string> codes;
    bool is_error = false;
    for (const Json& line : lines_of(ran.out)) {
        if (line["type"] != "finding")
            continue;
        is_error = is_error || line["level"] == "error";
        codes.push_back(line["level"].get<std::string>() + " " + line["code"].get<std::string>() +
                        " " + std::to_string(line["record"].get<int>()) + " " +
                        std::to_string(line["offset"].get<int>()));
    }
    EXPECT_EQ(is_error ? 1 : 0, ran.code);
    return codes;
}

using Codes = std::vector<std::string>;

// Numbers of the objects that json gives with these filters, of objects 1 to 6.
std::vector<std::uint64_t> found(const std::vector<std::string>& filters)
{
    std::string bytes;
    for (std::uint64_t id = 1; id <= 6; ++id)
        bytes += test_record(id);
    const Test_File file(bytes);
    std::vector<std::string> arguments{"record", "json", file.path()};
    arguments.insert(arguments.end(), filters.begin(), filters.end());
    const Ran ran = run(arguments);
    EXPECT_EQ("", ran.errors);
    std::vector<std::uint64_t> ids;
    for (const Json& line : lines_of(ran.out))
        ids.push_back(line["object_id"].get<std::uint64_t>());
    EXPECT_EQ(ids.empty() ? 1 : 0, ran.code);
    return ids;
}

using Ids = std::vector<std::uint64_t>;

} // namespace

// verify

TEST(RecordVerify, AGoodRecordHasNoFindings)
{
    const Ran ran = run({"record", "verify", example});
    EXPECT_EQ(0, ran.code);
    EXPECT_EQ(example + ": 1 record in 289 bytes: 1 can be read, 1 are whole, of 1 all values make "
                        "sense; 0 errors, 0 warnings\n",
              ran.out);
}

TEST(RecordVerify, TellsEachDamageWithItsRecordAndByte)
{
    const std::string good = test_record(1);
    EXPECT_EQ(Codes{"error cut_in_fixed_block 1 299"}, codes_of(good + good.substr(0, 131)));
    EXPECT_EQ(Codes{"error cut_in_instances 1 431"}, codes_of(good + good.substr(0, 135)));
    EXPECT_EQ(Codes{"error cut_in_instances 1 513"}, codes_of(good + good.substr(0, 220)));
    EXPECT_EQ(Codes{"error cut_in_auxiliary_data 1 591"}, codes_of(good + good.substr(0, 298)));
    EXPECT_EQ(Codes{"error zeros 1 299"}, codes_of(good + std::string(500, '\0') + good));
    EXPECT_EQ(Codes{"error no_instances 1 431"}, codes_of(good + test_record(2, 0)));
    EXPECT_EQ(Codes{"error empty 0 0"}, codes_of(""));
    std::string wrong = good;
    wrong[136 + 57] = '\x80';
    EXPECT_EQ(Codes{"error bad_color_count 1 435"}, codes_of(good + wrong + good));
}

TEST(RecordVerify, TellsWhatValuesMakeNoSense)
{
    const auto codes_with = [](std::size_t offset, const std::string& bytes) {
        std::string record = test_record(1);
        record.replace(offset, bytes.size(), bytes);
        return codes_of(record);
    };
    const float nan = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(Codes{"warning reserved_not_zero 0 16"}, codes_with(18, "\x01"));
    EXPECT_EQ(Codes{"warning pending_not_zero 0 124"}, codes_with(124, "\x01"));
    EXPECT_EQ(Codes{"warning time_not_normal 0 76"}, codes_with(84, raw(1'000'000)));
    EXPECT_EQ(Codes{"warning time_out_of_range 0 76"}, codes_with(76, raw(std::int64_t{-1})));
    EXPECT_EQ(Codes{"warning score_out_of_range 0 104"}, codes_with(108, raw(1.5F)));
    EXPECT_EQ(Codes{"warning float_not_finite 0 104"}, codes_with(108, raw(nan)));
    EXPECT_EQ(Codes{"warning times_descend 0 214"}, codes_with(214, raw(1'699'999'999)));
    EXPECT_EQ(Codes{"warning time_before_first_seen 0 136"}, codes_with(136, raw(1'699'999'999)));
    EXPECT_EQ(Codes{"warning class_value_negative 0 144"}, codes_with(144, "\xC8"));
    EXPECT_EQ(Codes{"warning float_not_finite 0 148"}, codes_with(152, raw(nan)));
    EXPECT_EQ(Codes{"warning box_reversed 0 148"}, codes_with(148, raw(31.0F)));
    EXPECT_EQ(Codes{"warning area_negative 0 207"}, codes_with(207, "\xFF"));
    EXPECT_EQ(Codes{"warning area_over_100 0 207"}, codes_with(207, "\x65"));
    EXPECT_EQ(Codes{"warning time_wrapped 0 136"}, codes_of([] {
                  KR_ObjectBase object = test_object(1, 1);
                  object.FirstSeenTime = object.Instances[0].Time = ACE_Time_Value(2'147'483'648);
                  return bytes_of(object);
              }()));
}

TEST(RecordVerify, CountsAFindingOnceARecord)
{
    std::string record = test_record(1);
    record[207] = record[207 + 78] = '\x70';
    const Test_File file(record);
    const Ran ran = run({"record", "verify", "--json", file.path()});
    EXPECT_EQ(0, ran.code) << "warnings change nothing";
    const std::vector<Json> lines = lines_of(ran.out);
    ASSERT_EQ(2U, lines.size());
    EXPECT_EQ(2, lines[0]["count"]);
    EXPECT_EQ(0, lines[0]["instance"]);
    EXPECT_EQ("values", lines[0]["tier"]);
    EXPECT_EQ("summary", lines[1]["type"]);
    EXPECT_EQ(1, lines[1]["whole"]);
    EXPECT_EQ(0, lines[1]["values"]);
    EXPECT_EQ(1, lines[1]["codes"]["area_over_100"]);
}

TEST(RecordVerify, SaysHowFarItPassedOverDamage)
{
    const std::string good = test_record(1);
    const Test_File file(good + good.substr(0, 220) + good);
    const Ran ran = run({"record", "verify", file.path()});
    EXPECT_EQ(1, ran.code);
    EXPECT_THAT(ran.out,
                HasSubstr(": record 1, byte 513: error: the record is cut within instance 1 of "
                          "2; 220 bytes are passed over up to byte 519 "
                          "[cut_in_instances]\n"));
    EXPECT_THAT(ran.out, HasSubstr("3 records in 818 bytes: 3 can be read, 2 are whole, of 2 all "
                                   "values make sense; 1 error, 0 warnings\n"));
}

TEST(RecordVerify, ShowsTheFirstTenOfAKind)
{
    std::string bytes;
    for (int i = 0; i < 12; ++i)
        bytes += test_record(1, 0);
    const Test_File file(bytes);
    const std::string some = run({"record", "verify", file.path()}).out;
    EXPECT_THAT(some, HasSubstr("record 9, "));
    EXPECT_THAT(some, Not(HasSubstr("record 10, ")));
    EXPECT_THAT(some, HasSubstr(": and 2 more [no_instances], with --all to be seen\n"));
    EXPECT_THAT(run({"record", "verify", "--all", file.path()}).out, HasSubstr("record 11, "));
}

// show

TEST(RecordShow, ShowsFieldsAndInstances)
{
    const Ran ran = run({"record", "show", example});
    EXPECT_EQ(0, ran.code);
    EXPECT_THAT(ran.out, StartsWith("record 0 at byte 0, 289 bytes\n"
                                    "  object        1234567890123 of sensor 17, 1; detector 7\n"
                                    "  first seen    2023-11-14T22:13:20.250000Z\n"));
    EXPECT_THAT(ran.out, HasSubstr("  colours       red 62.0 %, black 38.0 %\n"));
    EXPECT_THAT(ran.out, HasSubstr("    1  2023-11-14T22:13:21.500000Z  box 12, 20 to 32, 61  "
                                   "person 90  vehicle -1  point 22, 61\n"));
    EXPECT_THAT(ran.out, HasSubstr("  auxiliary     3 bytes: 01 02 03\n"));
    EXPECT_THAT(run({"record", "show", "--instances", "1", example}).out,
                HasSubstr("    ... 1 more, with --instances to be seen\n"));
}

TEST(RecordShow, ShowsOfDamageWhatCanBeReadAndWhereItEnds)
{
    const std::string good = test_record(1);
    const Test_File file(good.substr(0, 220) + good);
    const Ran ran = run({"record", "show", file.path()});
    EXPECT_EQ(1, ran.code);
    EXPECT_THAT(ran.out, HasSubstr("  instances     1\n"));
    EXPECT_THAT(ran.out,
                HasSubstr("  damaged at byte 214: the record is cut within instance 1 of 2\n"
                          "  220 bytes are passed over up to byte 220\nrecord 1 at byte 220"));
}

TEST(RecordShow, JsonIsThatOfTheJsonCommand)
{
    EXPECT_EQ(run({"record", "json", example}).out, run({"--json", "record", "show", example}).out);
}

// annotate

TEST(RecordAnnotate, ShowsEachByteWithItsField)
{
    const Ran ran = run({"record", "annotate", example});
    EXPECT_EQ(0, ran.code);
    EXPECT_THAT(ran.out, StartsWith("record 0 at byte 0: whole\n"
                                    "          fixed block\n"
                                    "00000000  00 00 00 00 00 00 00 00 reserved\n"
                                    "00000008  11 00 00 00             sensor_word1      17\n"));
    EXPECT_THAT(ran.out, HasSubstr("0000002C  00 F1 53 65 00 00 00 00 first_seen_time   "
                                   "2023-11-14T22:13:20.250000Z\n00000034  90 D0 03 00\n"));
    EXPECT_THAT(ran.out, HasSubstr("000000CC  C8 1E 1E 3E 0B          color 0           #C81E1E, "
                                   "area 62, code 11       red\n"));
    EXPECT_THAT(ran.out, HasSubstr("0000011A  03 00 00 00             length            3 "));
    // Each byte stands there once.
    std::size_t bytes = 0;
    std::istringstream stream(ran.out);
    for (std::string line; std::getline(stream, line);)
        if (line[0] == '0')
            for (std::size_t i = 10; i + 1 < line.size() && i < 34 && line[i] != ' '; i += 3)
                ++bytes;
    EXPECT_EQ(289U, bytes);
}

TEST(RecordAnnotate, ShowsDamageWhereItIs)
{
    const std::string good = test_record(1);
    const Test_File cut(good.substr(0, 220));
    const Ran ran = run({"record", "annotate", cut.path()});
    EXPECT_EQ(1, ran.code);
    EXPECT_THAT(ran.out, HasSubstr("000000D6  "));
    EXPECT_THAT(ran.out, testing::EndsWith("000000DC  cut here: 62 of 68 bytes are missing\n"
                                           "000000DC  the damage ends\n"));
    const Test_File noise(good + "noise" + good);
    EXPECT_THAT(run({"record", "annotate", noise.path()}).out,
                HasSubstr("0000012B  6E 6F 69 73 65 "));
}

TEST(RecordAnnotate, LeavesOutMostOfLongDataUnlessAskedForAll)
{
    KR_ObjectBase object = test_object(1);
    object.AuxiliaryData->assign(100, 'x');
    (*object.AuxiliaryData)[0] = 0xFF;
    (*object.AuxiliaryData)[1] = 0xD8;
    (*object.AuxiliaryData)[2] = 0xFF;
    const Test_File file(bytes_of(object));
    const std::string some = run({"record", "annotate", file.path()}).out;
    EXPECT_THAT(some, HasSubstr("a JPEG picture\n"));
    EXPECT_THAT(some, HasSubstr("... 36 bytes more, with --all to be seen\n"));
    EXPECT_THAT(run({"record", "annotate", "--all", file.path()}).out, Not(HasSubstr("more")));
}

TEST(RecordAnnotate, JsonHasTheFields)
{
    const std::vector<Json> lines = lines_of(run({"record", "annotate", "--json", example}).out);
    ASSERT_EQ(1U, lines.size());
    const Json& field = lines[0]["fields"][4];
    EXPECT_EQ(20, field["offset"]);
    EXPECT_EQ("object_id", field["name"]);
    EXPECT_EQ("fixed_block", field["part"]);
    EXPECT_EQ("uint64", field["type"]);
    EXPECT_EQ("1234567890123", field["value"]);
    EXPECT_EQ("CB 04 FB 71 1F 01 00 00", field["bytes"]);
}

// stats

TEST(RecordStats, CountsWhatIsThere)
{
    const Test_File file(test_record(1) + test_record(2) + "noise" + test_record(3, 4) +
                         test_record(4, 0));
    const Ran ran = run({"record", "stats", "--json", file.path()});
    EXPECT_EQ(1, ran.code) << "there is damage";
    const Json json = lines_of(ran.out).at(0);
    EXPECT_EQ(5, json["records"]);
    EXPECT_EQ(1, json["damaged"]);
    EXPECT_EQ(5, json["damaged_bytes"]);
    EXPECT_EQ(1, json["without_instances"]);
    EXPECT_EQ(4, json["matching"]);
    EXPECT_EQ(299 + 299 + 5 + 455 + 143, json["bytes"]);
    EXPECT_EQ(143, json["size"]["least"]);
    EXPECT_EQ(455, json["size"]["most"]);
    EXPECT_EQ(8, json["instances"]["sum"]);
    EXPECT_EQ(16, json["colors_of_instances"]["sum"]);
    EXPECT_EQ(12, json["auxiliary_data"]["sum"]);
    EXPECT_EQ(10, json["duration"]["sum"]);
    EXPECT_EQ("2023-11-14T22:13:21.000000Z", json["first_seen"]["from"]);
    EXPECT_EQ("2023-11-14T22:13:24.000000Z", json["first_seen"]["to"]);
    EXPECT_EQ(4, json["hours"][22]);
    EXPECT_EQ(1, json["classes"]["person"]["records"]);
    EXPECT_EQ(2, json["classes"]["vehicle"]["records"]);
    EXPECT_EQ(3, json["colors"]["red"]["records"]);
    EXPECT_EQ(45, json["colors"]["red"]["mean_percent"]);
    EXPECT_EQ(4, json["sensors"][0]["records"]);
    EXPECT_EQ(17, json["sensors"][0]["word1"]);
}

TEST(RecordStats, TextTellsTheSame)
{
    const Ran ran = run({"record", "stats", example});
    EXPECT_EQ(0, ran.code);
    EXPECT_THAT(ran.out, StartsWith("files         1, 289 bytes\nrecords       1\n"));
    EXPECT_THAT(ran.out, HasSubstr("             red           1  "));
}

// Filters

TEST(RecordFilter, TakesTheFiltersOfSearches)
{
    EXPECT_EQ((Ids{1, 2, 3, 4, 5, 6}), found({}));
    EXPECT_EQ((Ids{3, 4}),
              found({"--from", "2023-11-14T22:13:23Z", "--to", "2023/11/14 22:13:24"}));
    EXPECT_EQ((Ids{4}),
              found({"--from", "2023-11-14T22:13:23.5Z", "--to", "2023-11-14T22:13:24Z"}));
    EXPECT_EQ((Ids{3, 6}), found({"--class", "person"}));
    EXPECT_EQ((Ids{1, 4}), found({"--class", "vehicle", "--min-score", "0.75"}));
    EXPECT_EQ((Ids{}), found({"--class", "vehicle", "--min-score", "0.76"}));
    EXPECT_EQ((Ids{}), found({"--min-score", "0.8"}));
    EXPECT_EQ((Ids{5, 6}), found({"--min-duration", "5"}));
    EXPECT_EQ((Ids{1, 2, 3, 4, 5, 6}), found({"--has-color", "red", "--min-area", "60"}));
    EXPECT_EQ((Ids{}), found({"--has-color", "red", "--min-area", "61"}));
    EXPECT_EQ((Ids{}), found({"--has-color", "yellow", "--min-area", "0"}));
    EXPECT_EQ((Ids{1, 2, 3, 4, 5, 6}), found({"--detector", "1"}));
    EXPECT_EQ((Ids{}), found({"--detector", "7"}));
    EXPECT_EQ((Ids{1, 2, 3, 4, 5, 6}), found({"--sensor", "17"}));
    EXPECT_EQ((Ids{}), found({"--sensor", "17,2"}));
    EXPECT_EQ((Ids{2}), found({"--object", "2"}));
    EXPECT_EQ((Ids{4}), found({"--record", "3"}));
    EXPECT_EQ((Ids{2, 3}), found({"--limit", "2", "--min-duration", "2"}));
}

TEST(RecordFilter, AMistakeIsOneSentence)
{
    const struct {
        std::vector<std::string> filter;
        const char* message;
    } rows[] = {
        {{"--from", "yesterday"},
         "--from: 'yesterday' is no time; write it as 2024-03-05T07:08:09Z"},
        {{"--from", "2024-02-30T00:00:00Z"}, "--from: '2024-02-30T00:00:00Z' is no time"},
        {{"--from", "2024-02-03T00:00:00Z", "--to", "2024-02-02T00:00:00Z"}, " is after --to "},
        {{"--class", "dog"}, "--class: 'dog' is no class; the classes are person, vehicle, object"},
        {{"--has-color", "pinkish"}, "--has-color: 'pinkish' is no colour; the colours are white,"},
        {{"--min-area", "5"}, "--min-area: needs --has-color"},
        {{"--min-score", "1.5"}, "--min-score: the number must be from 0 to 1"},
        {{"--min-score", "nan"}, "--min-score: the number must be from 0 to 1"},
        {{"--min-duration", "-1"}, "--min-duration: the number must be 0 or more"},
        {{"--sensor", "x"}, "--sensor: 'x' is no sensor; write it as 17 or 17,1"},
        {{"--max-record", "0"}, "--max-record"},
        {{"--store", "--lengths"}, "--store excludes --lengths"},
    };
    for (const auto& row : rows) {
        std::vector<std::string> arguments{"record", "show", example};
        arguments.insert(arguments.end(), row.filter.begin(), row.filter.end());
        const Ran ran = run(arguments);
        EXPECT_EQ(2, ran.code) << row.message;
        EXPECT_EQ("", ran.out) << row.message;
        EXPECT_THAT(ran.errors, HasSubstr(row.message));
        EXPECT_THAT(ran.errors, StartsWith("krtool: "));
        EXPECT_EQ(1, std::count(ran.errors.begin(), ran.errors.end(), '\n')) << row.message;
    }
}

// Stores

TEST(RecordStore, ShowsTheRecordsOfAStore)
{
    const Ran ran = run({"record", "json", KRTOOL_STORE});
    EXPECT_EQ(0, ran.code);
    const std::vector<Json> lines = lines_of(ran.out);
    ASSERT_EQ(6U, lines.size());
    EXPECT_TRUE(lines[0]["run"].is_string());
    EXPECT_FALSE(lines[0].contains("offset"));
    EXPECT_EQ(0, run({"record", "verify", "--store", KRTOOL_STORE}).code);
    EXPECT_THAT(run({"record", "stats", "--has-color", "red", KRTOOL_STORE}).out,
                HasSubstr("matching      1\n"));
}

TEST(RecordStore, WhatIsNoStoreIsRefused)
{
    EXPECT_THAT(run({"record", "verify", "--store", example}).errors,
                testing::EndsWith("is no store of the video search\n"));
    // The header of a database, and nothing else.
    const Test_File file("SQLite format 3" + std::string(1000, '\0'));
    const Ran ran = run({"record", "verify", file.path()});
    EXPECT_EQ(2, ran.code);
    EXPECT_EQ("", ran.out);
    EXPECT_EQ(1, std::count(ran.errors.begin(), ran.errors.end(), '\n'));
}

// Inputs that are none

TEST(RecordInput, WhatCannotBeReadIsOneSentence)
{
    for (const char* command : {"verify", "show", "annotate", "json", "stats"}) {
        const Ran missing = run({"record", command, "no such file"});
        EXPECT_EQ(2, missing.code);
        EXPECT_THAT(missing.errors, StartsWith("krtool: cannot open 'no such file': "));
        const Ran folder = run({"record", command, KRTOOL_RECORDS});
        EXPECT_EQ(2, folder.code);
        EXPECT_THAT(folder.errors, testing::EndsWith("' is a folder\n"));
        EXPECT_EQ(2, run({"record", command}).code);
    }
}

// Every command copes with any bytes, in either form.
TEST(RecordInput, AnyBytesAreShown)
{
    for (const auto& entry : std::filesystem::directory_iterator(
             std::filesystem::path(KRTOOL_FUZZ_CORPUS) / "object_view")) {
        const Test_File file(file_bytes(entry.path()));
        for (const char* command : {"verify", "show", "annotate", "json", "stats"}) {
            for (const char* form : {"--concatenated", "--lengths"}) {
                for (const char* color : {"--color=always", "--json"}) {
                    const Ran ran = run({"record", command, form, color, file.path()});
                    ASSERT_EQ("", ran.errors) << command << " " << entry.path();
                    ASSERT_LE(ran.code, 1) << command << " " << entry.path();
                }
            }
        }
    }
}

TEST(RecordInput, EveryPrefixOfARecordIsShown)
{
    const std::string bytes = golden("example");
    for (std::size_t length = 0; length <= bytes.size(); ++length) {
        const Test_File file(bytes.substr(0, length));
        for (const char* command : {"verify", "show", "annotate"}) {
            const Ran ran = run({"record", command, file.path()});
            ASSERT_EQ("", ran.errors) << command << " " << length;
            ASSERT_EQ(length == bytes.size() ? 0 : 1, ran.code) << command << " " << length;
        }
    }
}

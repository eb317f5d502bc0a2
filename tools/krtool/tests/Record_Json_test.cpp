#include "Record_Testing.h"
#include "Run.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

using testing::EndsWith;
using testing::HasSubstr;

namespace {

// The bytes, after they have been JSON.
std::string round_trip(const std::string& bytes, const std::vector<std::string>& options = {})
{
    const Test_File file(bytes);
    std::vector<std::string> arguments{"record", "json", file.path()};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const Ran json = run(arguments);
    EXPECT_EQ("", json.errors);
    const Test_File lines(json.out, "records.json");
    const Ran back = run({"record", "json", "--to-bytes", lines.path()});
    EXPECT_EQ("", back.errors);
    return back.out;
}

Ran to_bytes(const std::string& json)
{
    const Test_File lines(json, "records.json");
    return run({"record", "json", "--to-bytes", lines.path()});
}

} // namespace

TEST(RecordJson, EveryGoldenRecordComesBackByteByByte)
{
    std::size_t count = 0;
    std::string all;
    for (const auto& entry :
         std::filesystem::directory_iterator(std::filesystem::path(KRTOOL_RECORDS) / "golden")) {
        if (entry.path().extension() != ".bin")
            continue;
        const std::string bytes = file_bytes(entry.path());
        EXPECT_TRUE(bytes == round_trip(bytes)) << entry.path();
        EXPECT_TRUE(with_length(bytes) == round_trip(with_length(bytes))) << entry.path();
        all += bytes;
        ++count;
    }
    EXPECT_GT(count, 15U);
    EXPECT_TRUE(all == round_trip(all));
}

TEST(RecordJson, EveryPrefixOfARecordComesBack)
{
    const std::string bytes = golden("example");
    for (std::size_t length = 0; length < bytes.size(); ++length)
        ASSERT_TRUE(bytes.substr(0, length) == round_trip(bytes.substr(0, length))) << length;
}

TEST(RecordJson, WhatFuzzingHasFoundComesBack)
{
    for (const auto& entry : std::filesystem::directory_iterator(
             std::filesystem::path(KRTOOL_FUZZ_CORPUS) / "object_view")) {
        const std::string bytes = file_bytes(entry.path());
        ASSERT_TRUE(bytes == round_trip(bytes)) << entry.path();
        ASSERT_TRUE(bytes == round_trip(bytes, {"--lengths"})) << entry.path();
    }
}

TEST(RecordJson, DamageOfAnySizeComesBack)
{
    std::string noise(1'000'000, '\0');
    for (std::size_t i = 0; i < noise.size(); ++i)
        noise[i] = static_cast<char>(i * i >> 7U);
    const std::string bytes = test_record(1) + noise + test_record(2);
    EXPECT_TRUE(bytes == round_trip(bytes));
}

TEST(RecordJson, ARecordIsOneLineOfItsFields)
{
    const Ran ran = run({"record", "json", std::string(KRTOOL_RECORDS) + "/golden/example.bin"});
    EXPECT_EQ(0, ran.code);
    EXPECT_THAT(ran.out, testing::StartsWith("{\"schema_version\":1,\"file\":"));
    EXPECT_THAT(ran.out,
                HasSubstr("\"record\":0,\"offset\":0,\"size\":289,\"state\":\"whole\","
                          "\"sensor_word1\":17,\"sensor_word2\":1,\"object_id\":1234567890123,"
                          "\"detector_type\":7,\"first_seen_time\":\"2023-11-14T22:13:20.250000Z\","
                          "\"word1\":3,\"word2\":-1,"));
    EXPECT_THAT(ran.out, HasSubstr("\"box\":[10.0,20.0,30.0,60.0],\"float1\":0.5"));
    EXPECT_THAT(ran.out, HasSubstr("{\"red\":200,\"green\":30,\"blue\":30,\"area\":62,\"code\":11,"
                                   "\"presets\":[\"red\"]}"));
    EXPECT_THAT(ran.out, EndsWith("\"auxiliary_data\":\"AQID\"}\n"));
}

TEST(RecordJson, NumbersThatJsonCannotSayAreBitsAndTimesThatATextCannotSayAreNumbers)
{
    const std::string folder = std::string(KRTOOL_RECORDS) + "/golden/";
    EXPECT_THAT(run({"record", "json", folder + "nan_and_infinity.bin"}).out,
                HasSubstr("\"0x7F800000\""));
    EXPECT_THAT(run({"record", "json", folder + "negative.bin"}).out, HasSubstr("\"seconds\":-"));
}

TEST(RecordJson, MembersThatAreMissingAreZero)
{
    const Ran ran = to_bytes("{\"object_id\": 5, \"instances\": [{}]}\n");
    EXPECT_EQ(0, ran.code);
    ASSERT_EQ(208U, ran.out.size());
    std::string expected(208, '\0');
    expected[20] = 5;
    expected[132] = 1;
    EXPECT_EQ(expected, ran.out);
}

TEST(RecordJson, ALengthIsWrittenAgainAndFollowsTheRecord)
{
    const Ran ran = to_bytes("{\"length\": 9, \"object_id\": 5}");
    ASSERT_EQ(144U, ran.out.size());
    EXPECT_EQ(raw(140U), ran.out.substr(0, 4));
    EXPECT_EQ(raw(9U) + "\x01\x02", to_bytes("{\"length\": 9, \"bytes\": \"AQI=\"}").out);
}

TEST(RecordJson, AMistakeIsNamedWithItsLineAndMember)
{
    const struct {
        const char* line;
        const char* message;
    } rows[] = {
        {"[1]", "a record must be an object"},
        {"{", "is no JSON from its byte 2 on"},
        {"{\"object_id\": -1}",
         "'object_id' must be a whole number from 0 to 18446744073709551615"},
        {"{\"object_id\": 1.5}",
         "'object_id' must be a whole number from 0 to 18446744073709551615"},
        {"{\"word1\": 2147483648}",
         "'word1' must be a whole number from -2147483648 to 2147483647"},
        {"{\"duration\": 4294967296}", "'duration' must be a whole number from 0 to 4294967295"},
        {"{\"detector_typ\": 1}", "'detector_typ' is no member of a record"},
        {"{\"class_scores\": [1, 2]}", "'class_scores' must be a list of 3 numbers"},
        {"{\"class_scores\": [1, 2, \"x\"]}", "'class_scores/2' must be a number, or the bits"},
        {"{\"class_scores\": [1, 2, 1e39]}",
         "'class_scores/2' is too large for a number of single precision"},
        {"{\"first_seen_time\": \"2023-02-30T00:00:00Z\"}",
         "'first_seen_time' must be a time like"},
        {"{\"instances\": 5}", "'instances' must be a list"},
        {"{\"instances\": [5]}", "'instances/0' must be an object"},
        {"{\"instances\": [{\"person_value\": 128}]}",
         "'instances/0/person_value' must be a whole number from -128 to 127"},
        {"{\"instances\": [{\"time\": \"2038-01-19T03:14:08Z\"}]}",
         "'instances/0/time' must be a whole number from -2147483648 to 2147483647"},
        {"{\"instances\": [{\"colors\": [{\"red\": 256}]}]}",
         "'instances/0/colors/0/red' must be a whole number from 0 to 255"},
        {"{\"instances\": [{\"color_count\": 1}]}",
         "'instances/0/color_count' is no member of a record"},
        {"{\"auxiliary_data\": \"A\"}", "'auxiliary_data' must be Base64"},
        {"{\"reserved_0\": \"01 02\"}", "'reserved_0' must be 8 bytes in hexadecimal"},
    };
    for (const auto& row : rows) {
        const Ran ran = to_bytes(std::string("{}\n\n") + row.line);
        EXPECT_EQ(2, ran.code) << row.line;
        EXPECT_THAT(ran.errors, HasSubstr(", line 3")) << row.line;
        EXPECT_THAT(ran.errors, HasSubstr(row.message)) << row.line;
        EXPECT_EQ(1, std::count(ran.errors.begin(), ran.errors.end(), '\n')) << row.line;
    }
    std::string colors = "{}";
    for (int i = 0; i < 127; ++i)
        colors += ",{}";
    EXPECT_THAT(to_bytes("{\"instances\":[{\"colors\":[" + colors + "]}]}").errors,
                HasSubstr("'instances/0/colors' has more than 127 colours"));
}

TEST(RecordJson, WritesTheBytesToAFile)
{
    const Test_File lines("{\"object_id\": 5}", "records.json");
    const Test_File out("old");
    EXPECT_EQ(0, run({"record", "json", "--to-bytes", lines.path(), "--out", out.path()}).code);
    EXPECT_EQ(140U, file_bytes(out.path()).size());
    EXPECT_EQ(2, run({"record", "json", lines.path(), "--out", out.path()}).code);
}

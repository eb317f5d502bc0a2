#include <KRCommon/capi/Capi_testing.h>
#include <KRCommon/capi/krcommon_c.h>
#include <KRCommon/objects/Object_Scan.h>
#include <KRCommon/objects/Objects.h>
#include <tests/support/Temp_Folder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

namespace {

using kr_c_testing::bytes_of;
using kr_c_testing::sized;
using kr_c_testing::some_object;
using testing::ElementsAre;
using testing::IsEmpty;

using Bytes = std::vector<unsigned char>;

Bytes file(const std::string& name)
{
    const std::string text = [&] {
        std::ifstream in(std::string(KR_GOLDEN_RECORDS) + "/" + name, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), {});
    }();
    return Bytes(text.begin(), text.end());
}

TEST(CView, TellsTheFixedBlock)
{
    const Bytes bytes = bytes_of(some_object(12, 1, 0));
    auto fields = sized<kr_c_record_fields>();
    ASSERT_EQ(KR_C_OK, kr_c_view_fields(bytes.data(), bytes.size(), &fields));
    EXPECT_EQ(12U, fields.object_id);
    EXPECT_EQ(1, fields.detector_type);
    EXPECT_EQ(1'700'000'012'250'000, fields.first_seen_time);
    EXPECT_EQ(-1'500'000, fields.second_time);
    EXPECT_EQ(-5, fields.sensor_word1);
    EXPECT_EQ(6, fields.sensor_word2);
    EXPECT_EQ(1, fields.word1);
    EXPECT_EQ(2, fields.word2);
    EXPECT_EQ(3, fields.statistics_word1);
    EXPECT_EQ(4, fields.statistics_word2);
    EXPECT_EQ(9U, fields.duration);
    EXPECT_EQ(0.5F, fields.class_scores[0]);
    EXPECT_EQ(0.25F, fields.class_scores[1]);
    EXPECT_EQ(0.125F, fields.class_scores[2]);
    EXPECT_EQ(7, fields.statistics_word7);
    EXPECT_EQ(-8, fields.statistics_word8);
}

TEST(CView, OfNoBytesIsANewRecord)
{
    auto fields = sized<kr_c_record_fields>();
    fields.object_id = 5;
    ASSERT_EQ(KR_C_OK, kr_c_view_fields(nullptr, 0, &fields));
    EXPECT_EQ(0U, fields.object_id);
    EXPECT_EQ(7, fields.detector_type);
    EXPECT_EQ(1, fields.sensor_word2);
    auto status = sized<kr_c_record_status>();
    ASSERT_EQ(KR_C_OK, kr_c_view_check(nullptr, 0, &status));
    EXPECT_EQ(KR_C_RECORD_CUT_IN_FIXED_BLOCK, status.state);
}

TEST(CView, TimesBeyondTheNumbersBecomeTheLargest)
{
    Bytes bytes = bytes_of(some_object(1, 1, 0));
    const std::int64_t seconds[] = {std::numeric_limits<std::int64_t>::max(),
                                    std::numeric_limits<std::int64_t>::min(), 9'223'372'036'854};
    const std::int64_t expected[] = {std::numeric_limits<std::int64_t>::max(),
                                     std::numeric_limits<std::int64_t>::min(),
                                     9'223'372'036'854'250'000};
    for (int i = 0; i < 3; ++i) {
        std::memcpy(bytes.data() + 44, &seconds[i], 8);
        auto fields = sized<kr_c_record_fields>();
        ASSERT_EQ(KR_C_OK, kr_c_view_fields(bytes.data(), bytes.size(), &fields));
        EXPECT_EQ(expected[i], fields.first_seen_time);
    }
}

TEST(CView, ChecksLikeTheLibraryEveryPrefixOfEveryGoldenRecord)
{
    int records = 0;
    for (const auto& entry : std::filesystem::directory_iterator(KR_GOLDEN_RECORDS)) {
        if (entry.path().extension() != ".bin")
            continue;
        const Bytes whole = file(entry.path().filename().string());
        for (std::size_t size = 0; size <= whole.size(); ++size) {
            const Bytes bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
            const KR_Record_Status expected = KR_Object_View::check(bytes.data(), bytes.size());
            auto status = sized<kr_c_record_status>();
            ASSERT_EQ(KR_C_OK, kr_c_view_check(bytes.data(), bytes.size(), &status));
            ASSERT_EQ(static_cast<int>(expected.state), status.state) << entry.path() << size;
            ASSERT_EQ(expected.position, status.position);
            ASSERT_EQ(expected.consumed, status.consumed);
            ASSERT_EQ(expected.instances, status.instances);
        }
        ++records;
    }
    EXPECT_LT(10, records);
}

// Columns of so many rows, with a row behind them that must stay as it is.
struct Instances {
    explicit Instances(std::size_t rows)
        : position(rows + 1, 77), instance(rows + 1, 77), time(rows + 1, 77), person(rows + 1, 77),
          max_y(rows + 1, 77), group(4 * (rows + 1), 77), number(rows + 1, 77), flag(rows + 1, 77),
          colors(rows + 1, 77)
    {
        columns.record_position = position.data();
        columns.instance = instance.data();
        columns.time = time.data();
        columns.person_value = person.data();
        columns.max_y = max_y.data();
        columns.group = group.data();
        columns.number = number.data();
        columns.flag = flag.data();
        columns.color_count = colors.data();
    }

    kr_c_instance_columns columns = sized<kr_c_instance_columns>();
    std::vector<std::uint64_t> position;
    std::vector<std::uint32_t> instance;
    std::vector<std::int64_t> time;
    std::vector<float> person, max_y, group;
    std::vector<std::int32_t> number;
    std::vector<std::uint8_t> flag;
    std::vector<std::uint32_t> colors;
};

TEST(CView, GivesInstancesByColumnsAPartWithEachCall)
{
    const Bytes bytes = bytes_of(some_object(1, 3, 2));
    Instances rows(2);
    std::size_t count = 0;
    ASSERT_EQ(KR_C_OK,
              kr_c_view_instances(bytes.data(), bytes.size(), 0, &rows.columns, 2, &count));
    EXPECT_EQ(2U, count);
    EXPECT_THAT(rows.time, ElementsAre(1'700'000'000'000'001, 1'700'000'001'000'001, 77));
    EXPECT_THAT(rows.person, ElementsAre(1, 2, 77));
    EXPECT_THAT(rows.max_y, ElementsAre(4.5F, 4.5F, 77));
    EXPECT_THAT(rows.group, ElementsAre(10, 11, 12, 13, 10, 11, 12, 13, 77, 77, 77, 77));
    EXPECT_THAT(rows.number, ElementsAre(-7, -7, 77));
    EXPECT_THAT(rows.flag, ElementsAre(200, 200, 77));
    EXPECT_THAT(rows.colors, ElementsAre(2, 2, 77));
    EXPECT_THAT(rows.instance, ElementsAre(0, 1, 77));
    ASSERT_EQ(KR_C_OK,
              kr_c_view_instances(bytes.data(), bytes.size(), 2, &rows.columns, 2, &count));
    EXPECT_EQ(1U, count);
    EXPECT_THAT(rows.person, ElementsAre(3, 2, 77));
    EXPECT_EQ(2U, rows.instance[0]);
    ASSERT_EQ(KR_C_OK,
              kr_c_view_instances(bytes.data(), bytes.size(), 3, &rows.columns, 2, &count));
    EXPECT_EQ(0U, count);
    ASSERT_EQ(KR_C_OK, kr_c_view_instances(bytes.data(), bytes.size(),
                                           std::numeric_limits<std::size_t>::max(), &rows.columns,
                                           2, &count));
    EXPECT_EQ(0U, count);
}

TEST(CView, GivesColorsOfAllInstances)
{
    const Bytes bytes = bytes_of(some_object(1, 2, 3));
    std::array<std::uint8_t, 7> red{};
    std::array<std::uint8_t, 7> green{};
    std::array<std::uint8_t, 7> blue{};
    std::array<float, 7> area{};
    std::array<std::int32_t, 7> code{};
    std::array<std::uint32_t, 7> instance{};
    auto columns = sized<kr_c_color_columns>();
    columns.red = red.data();
    columns.green = green.data();
    columns.blue = blue.data();
    columns.area = area.data();
    columns.code = code.data();
    columns.instance = instance.data();
    std::size_t count = 0;
    ASSERT_EQ(KR_C_OK, kr_c_view_colors(bytes.data(), bytes.size(), 1, &columns, 7, &count));
    EXPECT_EQ(5U, count);
    EXPECT_THAT(red, ElementsAre(1, 2, 0, 1, 2, 0, 0));
    EXPECT_THAT(green, ElementsAre(20, 20, 20, 20, 20, 0, 0));
    EXPECT_THAT(blue, ElementsAre(30, 30, 30, 30, 30, 0, 0));
    EXPECT_THAT(area, ElementsAre(40, 40, 40, 40, 40, 0, 0));
    EXPECT_THAT(code, ElementsAre(-50, -50, -50, -50, -50, 0, 0));
    EXPECT_THAT(instance, ElementsAre(0, 0, 1, 1, 1, 0, 0));
}

TEST(CView, AuxiliaryDataPointIntoTheHostsBytes)
{
    const Bytes bytes = bytes_of(some_object(9, 1, 0));
    kr_c_borrowed_bytes data = nullptr;
    std::size_t size = 7;
    ASSERT_EQ(KR_C_OK, kr_c_view_auxiliary(bytes.data(), bytes.size(), &data, &size));
    EXPECT_EQ(4U, size);
    EXPECT_EQ(bytes.data() + bytes.size() - 4, data);
    ASSERT_EQ(KR_C_OK, kr_c_view_auxiliary(bytes.data(), bytes.size() - 1, &data, &size));
    EXPECT_EQ(0U, size);
    EXPECT_EQ(nullptr, data);
}

kr_c_filter new_filter()
{
    auto filter = sized<kr_c_filter>();
    EXPECT_EQ(KR_C_OK, kr_c_filter_init(&filter));
    return filter;
}

TEST(CFilter, IsWhatANewOneIsInTheLibrary)
{
    const kr_c_filter filter = new_filter();
    EXPECT_EQ(7, filter.detector_type);
    EXPECT_EQ(0, filter.from);
    EXPECT_EQ(INT64_MAX, filter.to);
    EXPECT_EQ(-1, filter.preset);
    EXPECT_EQ(nullptr, filter.colors);
}

TEST(CFilter, AsksForTheTimeWithBothEnds)
{
    const Bytes bytes = bytes_of(some_object(1, 1, 0));
    kr_c_filter filter = new_filter();
    filter.detector_type = 1;
    const auto matches = [&] {
        kr_c_int32 answer = -1;
        EXPECT_EQ(KR_C_OK, kr_c_view_matches(bytes.data(), bytes.size(), &filter, &answer));
        return answer;
    };
    const std::int64_t seen = 1'700'000'001'250'000;
    EXPECT_EQ(1, matches());
    filter.from = filter.to = seen;
    EXPECT_EQ(1, matches());
    filter.from = seen + 1;
    filter.to = KR_C_NO_END;
    EXPECT_EQ(0, matches());
    filter.from = 0;
    filter.to = seen - 1;
    EXPECT_EQ(0, matches());
    filter.preset = 14;
    kr_c_int32 answer = -1;
    EXPECT_EQ(KR_C_OUT_OF_RANGE, kr_c_view_matches(bytes.data(), bytes.size(), &filter, &answer));
    EXPECT_EQ(-1, answer);
}

// Records one behind the other, of 0, 1, 2, 3, 0, ... instances; every other one of detector 7.
struct Store {
    explicit Store(unsigned count)
    {
        for (unsigned i = 0; i < count; ++i) {
            KR_ObjectBase object = some_object(i, i % 4, 2);
            if (i % 2 != 0)
                object.DetectorType = ns__DetectorType__value_7;
            const Bytes record = bytes_of(object);
            bytes.insert(bytes.end(), record.begin(), record.end());
            ends.push_back(bytes.size());
        }
        records.bytes = bytes.data();
        records.bytes_size = bytes.size();
    }

    void use_ends()
    {
        records.ends = ends.data();
        records.count = ends.size();
    }

    Bytes bytes;
    std::vector<std::uint64_t> ends;
    kr_c_records records = sized<kr_c_records>();
};

std::vector<std::uint64_t> ids(const Store& store, const kr_c_filter* filter, std::size_t capacity,
                               kr_c_cursor* end = nullptr)
{
    std::vector<std::uint64_t> all;
    auto cursor = sized<kr_c_cursor>();
    std::vector<std::uint64_t> id(capacity);
    auto columns = sized<kr_c_record_columns>();
    columns.object_id = id.data();
    for (std::size_t count = 1; count > 0;) {
        EXPECT_EQ(KR_C_OK,
                  kr_c_scan_records(&store.records, filter, &cursor, &columns, capacity, &count));
        all.insert(all.end(), id.begin(), id.begin() + static_cast<std::ptrdiff_t>(count));
    }
    if (end != nullptr)
        *end = cursor;
    return all;
}

TEST(CScan, FindsWhatTheLibrarysScanFinds)
{
    Store store(50);
    const kr_c_filter filter = new_filter();
    KR_Object_Filter same;
    std::vector<std::size_t> positions;
    const KR_Record_Scan scan =
        kr_scan_records({store.bytes.data(), store.bytes.size()}, same, positions);
    ASSERT_EQ(25U, positions.size()); // 1, 3, 5, ...: those of 1 and 3 instances
    std::vector<std::uint64_t> expected;
    for (const std::size_t at : positions)
        expected.push_back(KR_Object_View(store.bytes.data() + at, 200).object_id());
    for (const bool has_ends : {false, true}) {
        if (has_ends)
            store.use_ends();
        for (const std::size_t capacity : {1U, 2U, 7U, 25U, 1000U}) {
            kr_c_cursor end{};
            EXPECT_EQ(expected, ids(store, &filter, capacity, &end)) << capacity;
            EXPECT_EQ(scan.records, end.record);
            EXPECT_EQ(scan.end, end.position);
            EXPECT_EQ(KR_C_RECORD_WHOLE, end.state);
        }
        EXPECT_EQ(50U, ids(store, nullptr, 8).size());
    }
}

TEST(CScan, EndsBeforeDamageAndTellsWhere)
{
    Store store(4);
    store.bytes[static_cast<std::size_t>(store.ends[2]) + 132 + 4 + 57] =
        200; // a colour count below zero in the fourth
    kr_c_cursor end{};
    EXPECT_THAT(ids(store, nullptr, 10, &end), ElementsAre(0, 1, 2));
    EXPECT_EQ(KR_C_RECORD_BAD_COLOR_COUNT, end.state);
    EXPECT_EQ(store.ends[2], end.position);
    EXPECT_EQ(store.ends[2] + 136, end.damage);
    EXPECT_EQ(3U, end.record);
    store.use_ends(); // which go on behind it
    EXPECT_THAT(ids(store, nullptr, 10, &end), ElementsAre(0, 1, 2, 3));
}

TEST(CScan, RefusesEndsThatAreWrongAndKeepsWhatWasFoundBefore)
{
    Store store(3);
    store.use_ends();
    store.ends[1] = store.bytes.size() + 1;
    auto cursor = sized<kr_c_cursor>();
    auto columns = sized<kr_c_record_columns>();
    std::size_t count = 9;
    EXPECT_EQ(KR_C_OK, kr_c_scan_records(&store.records, nullptr, &cursor, &columns, 10, &count));
    EXPECT_EQ(1U, count);
    EXPECT_EQ(KR_C_OUT_OF_RANGE,
              kr_c_scan_records(&store.records, nullptr, &cursor, &columns, 10, &count));
    store.ends[1] = 3; // before the one before it
    EXPECT_EQ(KR_C_OUT_OF_RANGE,
              kr_c_scan_records(&store.records, nullptr, &cursor, &columns, 10, &count));
}

TEST(CScan, RefusesACursorFromElsewhere)
{
    const Store store(3);
    auto columns = sized<kr_c_record_columns>();
    std::size_t count = 9;
    auto cursor = sized<kr_c_cursor>();
    cursor.position = store.bytes.size() + 1;
    EXPECT_EQ(KR_C_OUT_OF_RANGE,
              kr_c_scan_records(&store.records, nullptr, &cursor, &columns, 10, &count));
    cursor = sized<kr_c_cursor>();
    cursor.row = UINT64_MAX;
    EXPECT_EQ(KR_C_OUT_OF_RANGE,
              kr_c_scan_records(&store.records, nullptr, &cursor, &columns, 10, &count));
    EXPECT_EQ(9U, count);
}

TEST(CScan, OfNothingIsOverAtOnce)
{
    auto records = sized<kr_c_records>();
    auto cursor = sized<kr_c_cursor>();
    auto columns = sized<kr_c_record_columns>();
    std::size_t count = 9;
    EXPECT_EQ(KR_C_OK, kr_c_scan_records(&records, nullptr, &cursor, &columns, 10, &count));
    EXPECT_EQ(0U, count);
    EXPECT_EQ(KR_C_RECORD_WHOLE, cursor.state);
}

TEST(CScan, TellsEachRecordsPlaceStateAndInstances)
{
    const Store store(3);
    std::vector<std::uint64_t> position(3);
    std::vector<std::uint64_t> length(3);
    std::vector<std::int32_t> state(3);
    std::vector<std::uint32_t> instances(3);
    std::vector<std::int64_t> seen(3);
    std::vector<float> scores(9);
    auto columns = sized<kr_c_record_columns>();
    columns.position = position.data();
    columns.length = length.data();
    columns.state = state.data();
    columns.instances = instances.data();
    columns.first_seen_time = seen.data();
    columns.class_scores = scores.data();
    auto cursor = sized<kr_c_cursor>();
    std::size_t count = 0;
    ASSERT_EQ(KR_C_OK, kr_c_scan_records(&store.records, nullptr, &cursor, &columns, 3, &count));
    EXPECT_EQ(3U, count);
    EXPECT_THAT(position, ElementsAre(0, store.ends[0], store.ends[1]));
    EXPECT_THAT(length, ElementsAre(store.ends[0], store.ends[1] - store.ends[0],
                                    store.ends[2] - store.ends[1]));
    EXPECT_THAT(state, ElementsAre(KR_C_RECORD_NO_INSTANCES, KR_C_RECORD_WHOLE, KR_C_RECORD_WHOLE));
    EXPECT_THAT(instances, ElementsAre(0, 1, 2));
    EXPECT_THAT(seen,
                ElementsAre(1'700'000'000'250'000, 1'700'000'001'250'000, 1'700'000'002'250'000));
    EXPECT_THAT(scores, ElementsAre(0.5F, 0.25F, 0.125F, 0.5F, 0.25F, 0.125F, 0.5F, 0.25F, 0.125F));
}

TEST(CScan, GivesInstancesAndColorsOfAllRecordsInRowsThatMayEndAnywhere)
{
    const Store store(9);
    for (const std::size_t capacity : {1U, 2U, 3U, 5U, 100U}) {
        std::vector<std::uint64_t> positions;
        std::vector<float> persons;
        Instances rows(capacity);
        auto cursor = sized<kr_c_cursor>();
        for (std::size_t count = 1; count > 0;) {
            ASSERT_EQ(KR_C_OK, kr_c_scan_instances(&store.records, nullptr, &cursor, &rows.columns,
                                                   capacity, &count));
            for (std::size_t i = 0; i < count; ++i) {
                positions.push_back(rows.position[i]);
                persons.push_back(rows.person[i]);
            }
            EXPECT_EQ(77U, rows.position[capacity]);
        }
        EXPECT_THAT(persons, ElementsAre(1, 1, 2, 1, 2, 3, 1, 1, 2, 1, 2, 3)) << capacity;
        EXPECT_EQ(store.ends[0], positions.front());
        EXPECT_EQ(store.ends[6], positions.back());
    }
    auto columns = sized<kr_c_color_columns>();
    std::vector<std::uint8_t> red(5);
    columns.red = red.data();
    auto cursor = sized<kr_c_cursor>();
    std::size_t total = 0;
    for (std::size_t count = 1; count > 0; total += count)
        ASSERT_EQ(KR_C_OK, kr_c_scan_colors(&store.records, nullptr, &cursor, &columns, 5, &count));
    EXPECT_EQ(24U, total);
}

std::vector<std::uint8_t> encoded(const kr_c_record* record, std::uint32_t limit = KR_C_NO_LIMIT)
{
    return bytes_of([&](std::uint8_t* out, std::size_t capacity, std::size_t* size) {
        return kr_c_record_encode(record, limit, out, capacity, size);
    });
}

TEST(CRecord, BuiltByColumnsIsTheSameAsTheLibrarysByteForByte)
{
    const KR_ObjectBase object = some_object(12, 2, 2);
    const Bytes expected = bytes_of(object);

    kr_c_owned_record record = nullptr;
    ASSERT_EQ(KR_C_OK, kr_c_record_create(&record));
    auto fields = sized<kr_c_record_fields>();
    ASSERT_EQ(KR_C_OK, kr_c_view_fields(expected.data(), expected.size(), &fields));
    ASSERT_EQ(KR_C_OK, kr_c_record_set_fields(record, &fields));
    std::int64_t time[] = {1'700'000'000'000'001, 1'700'000'001'000'001};
    float person[] = {1, 2};
    float vehicle[] = {-2, -2};
    float number3[] = {3, 3};
    float number4[] = {4, 4};
    float one[] = {1, 1};
    float two[] = {2, 2};
    float max_y[] = {4.5F, 4.5F};
    float five[] = {5, 5};
    float six[] = {6, 6};
    float group[] = {10, 11, 12, 13, 10, 11, 12, 13};
    float eight[] = {8, 8};
    float nine[] = {9, 9};
    std::int32_t number[] = {-7, -7};
    std::uint8_t flag[] = {200, 200};
    auto columns = sized<kr_c_instance_columns>();
    columns.time = time;
    columns.person_value = person;
    columns.vehicle_value = vehicle;
    columns.object_value = number3;
    columns.unknown_value = number4;
    columns.min_x = one;
    columns.min_y = two;
    columns.max_x = number3;
    columns.max_y = max_y;
    columns.float1 = five;
    columns.float2 = six;
    columns.group = group;
    columns.point_x = eight;
    columns.point_y = nine;
    columns.number = number;
    columns.flag = flag;
    ASSERT_EQ(KR_C_OK, kr_c_record_add_instances(record, &columns, 2));
    std::uint8_t red[] = {0, 1};
    std::uint8_t green[] = {20, 20};
    std::uint8_t blue[] = {30, 30};
    float area[] = {40, 40};
    std::int32_t code[] = {-50, -50};
    auto colors = sized<kr_c_color_columns>();
    colors.red = red;
    colors.green = green;
    colors.blue = blue;
    colors.area = area;
    colors.code = code;
    ASSERT_EQ(KR_C_OK, kr_c_record_add_colors(record, 0, &colors, 2));
    ASSERT_EQ(KR_C_OK, kr_c_record_add_colors(record, 1, &colors, 2));
    const std::uint8_t auxiliary[] = {1, 2, 3, 12};
    ASSERT_EQ(KR_C_OK, kr_c_record_set_auxiliary(record, auxiliary, 4));
    EXPECT_EQ(expected, encoded(record));

    std::size_t count = 0;
    EXPECT_EQ(KR_C_OK, kr_c_record_instance_count(record, &count));
    EXPECT_EQ(2U, count);
    // A budget of one instance: 4 + 78 bytes.
    EXPECT_EQ(132U + 82U + 8U, encoded(record, 82).size());
    EXPECT_EQ(KR_C_OUT_OF_RANGE, kr_c_record_encode(record, 3, nullptr, 0, &count));
    EXPECT_EQ(KR_C_OK, kr_c_record_clear(record));
    EXPECT_EQ(140U, encoded(record).size());
    EXPECT_EQ(KR_C_OK, kr_c_record_destroy(&record));
}

TEST(CRecord, DecodesGoldenRecordsAndEncodesThemAgain)
{
    kr_c_owned_record record = nullptr;
    ASSERT_EQ(KR_C_OK, kr_c_record_create(&record));
    for (const char* name : {"example.bin", "colors.bin", "auxiliary_data.bin", "negative.bin"}) {
        const Bytes bytes = file(name);
        auto status = sized<kr_c_record_status>();
        ASSERT_EQ(KR_C_OK, kr_c_record_decode(record, bytes.data(), bytes.size(), &status));
        EXPECT_EQ(KR_C_RECORD_WHOLE, status.state) << name;
        EXPECT_EQ(bytes, encoded(record)) << name;
    }
    EXPECT_EQ(KR_C_OK, kr_c_record_destroy(&record));
}

TEST(CRecord, WithoutInstancesIsAStateAndNotTheEndOfTheProcess)
{
    kr_c_owned_record record = nullptr;
    ASSERT_EQ(KR_C_OK, kr_c_record_create(&record));
    const std::vector<std::uint8_t> bytes = encoded(record);
    auto status = sized<kr_c_record_status>();
    EXPECT_EQ(KR_C_OK, kr_c_record_decode(record, bytes.data(), bytes.size(), &status));
    EXPECT_EQ(KR_C_RECORD_NO_INSTANCES, status.state);
    EXPECT_EQ(KR_C_OK, kr_c_record_decode(record, nullptr, 0, &status));
    EXPECT_EQ(KR_C_RECORD_CUT_IN_FIXED_BLOCK, status.state);
    EXPECT_EQ(KR_C_OK, kr_c_record_destroy(&record));
}

TEST(CRecord, RefusesMoreColorsThanReadersRead)
{
    kr_c_owned_record record = nullptr;
    ASSERT_EQ(KR_C_OK, kr_c_record_create(&record));
    auto instances = sized<kr_c_instance_columns>();
    auto colors = sized<kr_c_color_columns>();
    EXPECT_EQ(KR_C_NOT_FOUND, kr_c_record_add_colors(record, 0, &colors, 1));
    ASSERT_EQ(KR_C_OK, kr_c_record_add_instances(record, &instances, 1));
    EXPECT_EQ(KR_C_OUT_OF_RANGE, kr_c_record_add_colors(record, 0, &colors, 128));
    EXPECT_EQ(KR_C_OK, kr_c_record_add_colors(record, 0, &colors, 127));
    EXPECT_EQ(KR_C_OUT_OF_RANGE, kr_c_record_add_colors(record, 0, &colors, 1));
    EXPECT_EQ(KR_C_OK, kr_c_record_add_colors(record, 0, &colors, 0));
    EXPECT_EQ(132U + 4 + 68 + 127 * 5 + 4, encoded(record).size());
    EXPECT_EQ(KR_C_OK, kr_c_record_destroy(&record));
}

} // namespace

#include <KRCommon/objects/Object_Scan.h>

#include <KRCommon/objects/Object_View_testing.h>
#include <KRCommon/objects/Objects.h>
#include <KRCommon/util/Little_Endian.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <thread>
#include <vector>

namespace {

using kr_object_testing::Bytes;
using kr_object_testing::decode;
using kr_object_testing::test_colors;
using testing::ElementsAre;
using testing::IsEmpty;

using State = KR_Record_State;

constexpr unsigned ample = 0xFFFFFFFF;

Bytes record_of(const KR_ObjectBase& object)
{
    Bytes bytes(object.serialize_size(ample));
    object.serialize(bytes.data(), ample);
    return bytes;
}

// 208 bytes without colours, 213 with the one.
KR_ObjectBase object_seen_at(std::int64_t seconds, float red_area = 0)
{
    KR_ObjectBase object;
    object.FirstSeenTime = ACE_Time_Value(static_cast<time_t>(seconds));
    object.Instances.resize(1);
    if (red_area > 0) {
        object.Instances[0].Colors.resize(1);
        object.Instances[0].Colors[0].color.red = 255;
        object.Instances[0].Colors[0].area = red_area;
    }
    return object;
}

KR_Object_Filter from_100_to_200()
{
    KR_Object_Filter filter;
    filter.from = ACE_Time_Value(100);
    filter.to = ACE_Time_Value(200);
    filter.colors = &test_colors();
    return filter;
}

KR_Object_Filter with_red(float percent)
{
    KR_Object_Filter filter = from_100_to_200();
    filter.preset = ns__ColorPreset__red;
    filter.min_percent = percent;
    return filter;
}

KR_Byte_Span span_of(const Bytes& bytes)
{
    return {bytes.data(), bytes.size()};
}

bool matches(const KR_ObjectBase& object, const KR_Object_Filter& filter)
{
    const Bytes record = record_of(object);
    return kr_matches({record.data(), record.size()}, filter);
}

TEST(KrObjectFilter, AsksForEveryObjectOfANewDetectorSince1970AtFirst)
{
    const KR_Object_Filter filter;
    EXPECT_TRUE(matches(object_seen_at(0), filter));
    EXPECT_TRUE(matches(object_seen_at(1'700'000'000), filter));
    EXPECT_FALSE(matches(object_seen_at(-1), filter));
    KR_ObjectBase object = object_seen_at(0);
    object.DetectorType = ns__DetectorType__value_1;
    EXPECT_FALSE(matches(object, filter));
}

TEST(KrObjectFilter, AsksForWhatTestAsksFor)
{
    KR_ObjectBase object = object_seen_at(100);
    object.Duration = 5;
    object.ClassScores[2] = 0.5F;
    KR_Object_Filter filter = from_100_to_200();
    filter.object_class = ns__ObjectClass__object;
    filter.min_score = 0.5F;
    filter.min_duration = 5;
    EXPECT_TRUE(matches(object, filter));
    const auto without = [&](auto change) {
        KR_Object_Filter changed = filter;
        change(changed);
        return matches(object, changed);
    };
    EXPECT_FALSE(without([](auto& f) { f.from = ACE_Time_Value(101); }));
    EXPECT_FALSE(without([](auto& f) { f.to = ACE_Time_Value(99); }));
    EXPECT_FALSE(without([](auto& f) { f.detector = ns__DetectorType__value_0; }));
    EXPECT_FALSE(without([](auto& f) { f.object_class = ns__ObjectClass__person; }));
    EXPECT_FALSE(without([](auto& f) { f.min_score = 0.6F; }));
    EXPECT_FALSE(without([](auto& f) { f.min_duration = 6; }));
}

TEST(KrObjectFilter, AsksForAColorAndItsShare)
{
    EXPECT_TRUE(matches(object_seen_at(100, 30), with_red(30)));
    EXPECT_FALSE(matches(object_seen_at(100, 30), with_red(31)));
    EXPECT_FALSE(matches(object_seen_at(100), with_red(1)));
    EXPECT_FALSE(matches(object_seen_at(99, 30), with_red(30)));
}

TEST(KrObjectFilter, UsesTheLibrarysOwnColorsWhereNoneAreNamed)
{
    KR_Object_Filter filter = with_red(30);
    filter.colors = nullptr;
    EXPECT_FALSE(matches(object_seen_at(100, 30), filter)) << "it has no presets here";
}

TEST(KrObjectFilter, RecordWithoutAnInstanceMatchesNothing)
{
    KR_ObjectBase object = object_seen_at(100);
    object.Instances.clear();
    EXPECT_FALSE(matches(object, from_100_to_200()));
    const Bytes record = record_of(object_seen_at(100));
    EXPECT_TRUE(kr_matches({record.data(), record.size()}, from_100_to_200()));
    EXPECT_TRUE(kr_matches({record.data(), 204}, from_100_to_200())) << "its instance is whole";
    EXPECT_FALSE(kr_matches({record.data(), 203}, from_100_to_200()));
    EXPECT_FALSE(kr_matches({}, {}));
}

// Records one by one.

TEST(KrRecordScan, GivesTheIndexesOfThoseThatMatch)
{
    const Bytes before = record_of(object_seen_at(99));
    const Bytes first = record_of(object_seen_at(100, 30));
    const Bytes second = record_of(object_seen_at(200));
    const KR_Byte_Span records[] = {span_of(before), span_of(first),  {},
                                    span_of(second), span_of(before), span_of(first)};
    std::vector<std::size_t> matches{77};
    kr_scan_records(records, 6, from_100_to_200(), matches);
    EXPECT_THAT(matches, ElementsAre(77, 1, 3, 5)) << "appended";
    matches.clear();
    kr_scan_records(records, 6, with_red(10), matches);
    EXPECT_THAT(matches, ElementsAre(1, 5));
    matches.clear();
    kr_scan_records(nullptr, 0, from_100_to_200(), matches);
    EXPECT_THAT(matches, IsEmpty());
}

TEST(KrRecordScan, DamageInOneRecordDoesNotMatterToTheNext)
{
    const Bytes whole = record_of(object_seen_at(150));
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        const KR_Byte_Span records[] = {{whole.data(), length}, span_of(whole)};
        std::vector<std::size_t> matches;
        kr_scan_records(records, 2, from_100_to_200(), matches);
        if (length >= 204)
            EXPECT_THAT(matches, ElementsAre(0, 1)) << length;
        else
            EXPECT_THAT(matches, ElementsAre(1)) << length;
    }
}

// Records one behind the other.

struct Scanned {
    std::vector<std::size_t> matches;
    KR_Record_Scan scan;
};

Scanned scan_of(const Bytes& file, const KR_Object_Filter& filter = from_100_to_200())
{
    Scanned scanned;
    scanned.scan = kr_scan_records(span_of(file), filter, scanned.matches);
    return scanned;
}

void append(Bytes& file, const KR_ObjectBase& object)
{
    const Bytes record = record_of(object);
    file.insert(file.end(), record.begin(), record.end());
}

// At 0, 208, 421 and 629; 837 bytes.
Bytes four_records()
{
    Bytes file;
    append(file, object_seen_at(99));
    append(file, object_seen_at(100, 30));
    append(file, object_seen_at(201));
    append(file, object_seen_at(200));
    return file;
}

TEST(KrRecordScan, GivesThePositionsOfThoseThatMatch)
{
    const Scanned scanned = scan_of(four_records());
    EXPECT_THAT(scanned.matches, ElementsAre(208, 629));
    EXPECT_EQ(4U, scanned.scan.records);
    EXPECT_EQ(837U, scanned.scan.end);
    EXPECT_EQ((KR_Record_Status{State::whole, 0, 0, 0}), scanned.scan.status);
    EXPECT_THAT(scan_of(four_records(), with_red(30)).matches, ElementsAre(208));
}

TEST(KrRecordScan, OfNoBytesFindsNothing)
{
    for (const KR_Byte_Span nothing : {KR_Byte_Span(), KR_Byte_Span{nullptr, 1000}}) {
        std::vector<std::size_t> matches;
        const KR_Record_Scan scan = kr_scan_records(nothing, from_100_to_200(), matches);
        EXPECT_THAT(matches, IsEmpty());
        EXPECT_EQ(0U, scan.records);
        EXPECT_EQ(0U, scan.end);
        EXPECT_EQ(State::whole, scan.status.state);
    }
}

// What is left of a record whose list ends so many bytes after its begin.
State state_of_rest(std::size_t left, std::size_t list_end)
{
    if (left == 0)
        return State::whole;
    if (left < 132)
        return State::cut_in_fixed_block;
    return left < list_end ? State::cut_in_instances : State::cut_in_auxiliary_data;
}

TEST(KrRecordScan, StopsBeforeTheFirstRecordThatIsCutAndSaysWhere)
{
    const Bytes file = four_records();
    const std::size_t begins[] = {0, 208, 421, 629, 837};
    for (std::size_t length = 0; length <= file.size(); ++length) {
        SCOPED_TRACE(length);
        const Scanned scanned = scan_of(Bytes(file.begin(), file.begin() + std::ptrdiff_t(length)));
        std::size_t records = 0;
        while (records < 4 && begins[records + 1] <= length)
            ++records;
        const std::size_t end = begins[records];
        EXPECT_EQ(records, scanned.scan.records);
        EXPECT_EQ(end, scanned.scan.end);
        EXPECT_EQ(state_of_rest(length - end, records == 1 ? 209 : 204), scanned.scan.status.state);
        if (length > end) {
            EXPECT_EQ(KR_Object_View::check(file.data() + end, length - end), scanned.scan.status);
        }
        EXPECT_EQ((length >= 421) + (length >= 837), int(scanned.matches.size()));
    }
}

TEST(KrRecordScan, StopsAtABadColorCountSinceTheEndIsNotKnown)
{
    Bytes file = four_records();
    file[208 + 136 + 57] = 0x80;
    const Scanned scanned = scan_of(file);
    EXPECT_THAT(scanned.matches, IsEmpty());
    EXPECT_EQ(208U, scanned.scan.end);
    EXPECT_EQ(State::bad_color_count, scanned.scan.status.state);
    EXPECT_EQ(136U, scanned.scan.status.position);
}

TEST(KrRecordScan, StopsAtHostileCounts)
{
    for (const std::uint32_t count : {5U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU}) {
        Bytes file = four_records();
        kr_internal::put_u32(file.data(), 629 + 132, count);
        EXPECT_EQ(629U, scan_of(file).scan.end);
        EXPECT_EQ(State::cut_in_instances, scan_of(file).scan.status.state);
        file = four_records();
        kr_internal::put_u32(file.data(), 629 + 204, count);
        EXPECT_EQ(629U, scan_of(file).scan.end);
        EXPECT_EQ(State::cut_in_auxiliary_data, scan_of(file).scan.status.state);
    }
}

TEST(KrRecordScan, PassesOverRecordsWithoutInstances)
{
    Bytes file;
    KR_ObjectBase object = object_seen_at(150);
    object.Instances.clear();
    append(file, object);
    append(file, object_seen_at(150));
    append(file, object);
    const Scanned scanned = scan_of(file);
    EXPECT_THAT(scanned.matches, ElementsAre(140));
    EXPECT_EQ(3U, scanned.scan.records);
    EXPECT_EQ(file.size(), scanned.scan.end);
    EXPECT_EQ(State::whole, scanned.scan.status.state);
}

TEST(KrRecordScan, ListsWhereEachRecordLies)
{
    Bytes file = four_records();
    append(file, KR_ObjectBase());
    file.resize(file.size() + 131);
    std::vector<KR_Byte_Span> list(1);
    const KR_Record_Scan scan = kr_list_records(span_of(file), list);
    ASSERT_EQ(6U, list.size()) << "appended";
    const std::size_t sizes[] = {208, 213, 208, 208, 140};
    std::size_t position = 0;
    for (std::size_t i = 0; i < 5; ++i) {
        EXPECT_EQ(file.data() + position, list[i + 1].data);
        EXPECT_EQ(sizes[i], list[i + 1].size);
        position += sizes[i];
    }
    EXPECT_EQ(5U, scan.records);
    EXPECT_EQ(position, scan.end);
    EXPECT_EQ(State::cut_in_fixed_block, scan.status.state);
}

// Many records.

Bytes many_records(int count)
{
    std::mt19937 engine(7); // NOLINT(cert-msc51-cpp)
    const auto below = [&](unsigned end) { return static_cast<unsigned>(engine()) % end; };
    Bytes file;
    for (int i = 0; i < count; ++i) {
        KR_ObjectBase object = object_seen_at(below(400), static_cast<float>(below(60)));
        object.Instances.resize(1 + below(3));
        object.Duration = below(10);
        object.ClassScores[0] = static_cast<float>(below(10)) / 10;
        object.AuxiliaryData->resize(below(20));
        append(file, object);
    }
    return file;
}

KR_Object_Filter picky_filter()
{
    KR_Object_Filter filter = with_red(10);
    filter.object_class = ns__ObjectClass__person;
    filter.min_score = 0.3F;
    filter.min_duration = 2;
    return filter;
}

bool is_match(const KR_ObjectBase& object, const KR_Object_Filter& filter)
{
    return object.test(filter.from, filter.to, filter.detector, filter.object_class,
                       filter.min_score, filter.min_duration) &&
           kr_object_testing::shares_of(object, *filter.colors).of(*filter.preset) >=
               filter.min_percent;
}

TEST(KrRecordScan, FindsWhatDecodingAndTestingFinds)
{
    const Bytes file = many_records(5'000);
    const KR_Object_Filter filter = picky_filter();
    std::vector<std::size_t> expected;
    for (std::size_t position = 0; position < file.size();) {
        const std::size_t left = std::min<std::size_t>(file.size() - position, 500);
        const unsigned char* const first = file.data() + position;
        const auto decoded = decode(Bytes(first, first + left)); // none is longer
        if (is_match(decoded.object, filter))
            expected.push_back(position);
        position += decoded.consumed;
    }
    ASSERT_GT(expected.size(), 50U);
    EXPECT_EQ(expected, scan_of(file, filter).matches);
}

TEST(KrRecordScan, ThreadsShareOutTheRecords)
{
    constexpr std::size_t thread_count = 4;
    const Bytes file = many_records(20'000);
    const KR_Object_Filter filter = picky_filter();
    const Scanned whole = scan_of(file, filter);
    std::vector<KR_Byte_Span> list;
    ASSERT_EQ(20'000U, kr_list_records(span_of(file), list).records);

    std::vector<std::size_t> found[thread_count];
    std::vector<std::thread> threads;
    for (std::size_t part = 0; part < thread_count; ++part)
        threads.emplace_back([&, part] {
            const std::size_t first = list.size() * part / thread_count;
            const std::size_t end = list.size() * (part + 1) / thread_count;
            kr_scan_records(list.data() + first, end - first, filter, found[part]);
            for (std::size_t& index : found[part])
                index = static_cast<std::size_t>(list[first + index].data - file.data());
        });
    for (std::thread& thread : threads)
        thread.join();
    std::vector<std::size_t> all;
    for (const std::vector<std::size_t>& part : found)
        all.insert(all.end(), part.begin(), part.end());
    EXPECT_GT(all.size(), 200U);
    EXPECT_EQ(whole.matches, all);
}

TEST(KrRecordScan, ThreadsMayScanTheSameBytesWithTheSameFilter)
{
    const Bytes file = many_records(5'000);
    const KR_Object_Filter filter = picky_filter();
    const Scanned expected = scan_of(file, filter);
    Scanned scanned[4];
    std::vector<std::thread> threads;
    for (Scanned& each : scanned)
        threads.emplace_back([&] { each = scan_of(file, filter); });
    for (std::thread& thread : threads)
        thread.join();
    for (const Scanned& each : scanned)
        EXPECT_EQ(expected.matches, each.matches);
}

// The pieces of code of docs/record_format.md, word for word.

Bytes record_of_a_person_in_red()
{
    KR_ObjectBase object = object_seen_at(1'700'000'000, 30);
    object.DetectorType = ns__DetectorType__value_1;
    object.ClassScores[0] = 0.9F;
    object.Duration = 3;
    object.Instances[0].Time = object.FirstSeenTime;
    return record_of(object);
}

TEST(KrRecordScan, DocumentedLookAtARecordShowsThePersonInRed)
{
    const Bytes record = record_of_a_person_in_red();
    const unsigned char* const bytes = record.data();
    const std::size_t size = record.size();
    const KR_Colors& colors = test_colors();
    const ACE_Time_Value from(1'600'000'000);
    const ACE_Time_Value to(1'800'000'000);
    std::vector<ACE_Time_Value> shown;
    const auto show = [&shown](const ACE_Time_Value& time, const Geom_Box2D<float>&) {
        shown.push_back(time);
    };

    const KR_Object_View view(bytes, size);
    if (view.test(from, to, ns__DetectorType__value_1, ns__ObjectClass__person, 0.5F, 2.0F) &&
        view.has_color(ns__ColorPreset__red, 20.0F, colors))
        for (const KR_Instance_View instance : view.instances())
            show(instance.time(), instance.box());

    EXPECT_THAT(shown, ElementsAre(ACE_Time_Value(1'700'000'000)));
}

TEST(KrRecordScan, DocumentedScanOfAFileFindsWhatMatches)
{
    Bytes file = record_of(object_seen_at(1'700'000'000));
    const Bytes second = record_of_a_person_in_red();
    file.insert(file.end(), second.begin(), second.end());

    KR_Object_Filter filter;
    filter.from = ACE_Time_Value(1700000000);
    filter.detector = ns__DetectorType__value_1;
    std::vector<KR_Byte_Span> list; // where each record lies, for threads to share
    const KR_Record_Scan found = kr_list_records({file.data(), file.size()}, list);
    std::vector<std::size_t> matches;
    kr_scan_records(list.data(), list.size(), filter, matches);

    EXPECT_EQ(2U, found.records);
    EXPECT_THAT(matches, ElementsAre(1U));
}

} // namespace

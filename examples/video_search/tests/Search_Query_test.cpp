#include "search/Query.h"

#include "Search_Testing.h"
#include "search/Color_Names.h"

#include <cmath>
#include <functional>

using namespace video_search;

namespace {

class Search_Query : public testing::Test {
protected:
    using Change = std::function<void(KR_ObjectBase&)>;

    // An object in the store; its id is 1 for the first.
    void store(
        int start, int duration, const Change& change = [](KR_ObjectBase&) {})
    {
        KR_ObjectBase object = test_object(records_.size() + 1, start, duration);
        change(object);
        records_.push_back(record_of(object));
    }

    // Knows nothing of the records, and shows them all in time order.
    class Records final : public Object_Source {
    public:
        explicit Records(const std::vector<Stored_Record>& records) : records_(records) {}

        void visit(const Filter&, const Visitor& visitor) override
        {
            for (const Stored_Record& each : records_)
                if (!visitor({each.run,
                              each.object_id,
                              {each.record.data(), each.record.size()},
                              false}))
                    return;
        }
        std::size_t count(const ACE_Time_Value&, const ACE_Time_Value&) override
        {
            return records_.size();
        }

    private:
        const std::vector<Stored_Record>& records_;
    };

    Result result(const Criteria& criteria, const std::function<bool()>& is_stopped)
    {
        Records records(records_);
        return search(records, criteria, profile_, is_stopped);
    }
    Result result(const Criteria& criteria)
    {
        return result(criteria, [] { return false; });
    }

    // The ids of the hits, like "1 3".
    std::string ids(const Criteria& criteria)
    {
        std::string text;
        for (const Hit& hit : result(criteria).hits)
            text += (text.empty() ? "" : " ") + std::to_string(hit.result.objectId);
        return text;
    }

    std::vector<Stored_Record> records_;
    ProfileHelper profile_{3600, fresh_folder() + "/profile"};
};

std::function<void(KR_ObjectBase&)> scores(float person, float vehicle, float object)
{
    return [=](KR_ObjectBase& each) {
        each.ClassScores[0] = person;
        each.ClassScores[1] = vehicle;
        each.ClassScores[2] = object;
    };
}

} // namespace

TEST_F(Search_Query, EmptyCriteriaFindEverything)
{
    store(0, 1);
    store(1, 2);
    const Result found = result({});
    EXPECT_EQ(found.hits.size(), 2U);
    EXPECT_EQ(found.matches, 2U);
    EXPECT_EQ(found.objects, 2U);
    EXPECT_EQ(found.damaged, 0U);
}

TEST_F(Search_Query, BothEndsOfTheTimeAreInclusive)
{
    for (int start = 0; start < 5; ++start)
        store(start, 1);
    Criteria criteria;
    criteria.from = second(1);
    criteria.to = second(3);
    EXPECT_EQ(ids(criteria), "2 3 4");
    criteria.from = second(1) + ACE_Time_Value(0, 1);
    criteria.to = second(3) - ACE_Time_Value(0, 1);
    EXPECT_EQ(ids(criteria), "3");
}

TEST_F(Search_Query, ObjectsOfAnotherDetectorAreNotFound)
{
    store(0, 1, [](KR_ObjectBase& object) { object.DetectorType = ns__DetectorType__value_7; });
    store(0, 1);
    EXPECT_EQ(ids({}), "2");
}

TEST_F(Search_Query, EachClassHasItsScore)
{
    store(0, 1, scores(0.9F, 0.1F, 0.2F));
    store(1, 1, scores(0.1F, 0.8F, 0.2F));
    store(2, 1, scores(0.1F, 0.2F, 0.7F));
    Criteria criteria;
    criteria.min_score = 0.5F;
    criteria.object_class = ns__ObjectClass__person;
    EXPECT_EQ(ids(criteria), "1");
    criteria.object_class = ns__ObjectClass__vehicle;
    EXPECT_EQ(ids(criteria), "2");
    criteria.object_class = ns__ObjectClass__object;
    EXPECT_EQ(ids(criteria), "3");
    EXPECT_EQ(result(criteria).hits[0].score, 0.7F);
}

TEST_F(Search_Query, ScoreMayBeEqualButNotBelow)
{
    store(0, 1, scores(0.5F, 0.0F, 0.0F));
    store(1, 1, scores(std::nextafter(0.5F, 0.0F), 0.0F, 0.0F));
    Criteria criteria;
    criteria.object_class = ns__ObjectClass__person;
    criteria.min_score = 0.5F;
    EXPECT_EQ(ids(criteria), "1");
}

TEST_F(Search_Query, ScoreThatIsNoNumberNeverMatchesAClass)
{
    store(0, 1, scores(NAN, 0.0F, 0.0F));
    Criteria criteria;
    criteria.object_class = ns__ObjectClass__person;
    EXPECT_EQ(ids(criteria), "");
    EXPECT_EQ(ids({}), "1");
}

TEST_F(Search_Query, WithoutAClassTheBestScoreCounts)
{
    store(0, 1, scores(0.1F, 0.6F, 0.3F));
    store(1, 1, scores(0.4F, 0.3F, 0.5F));
    store(2, 1);
    Criteria criteria;
    criteria.min_score = 0.6F;
    EXPECT_EQ(ids(criteria), "1");
    const Result all = result({});
    EXPECT_EQ(all.hits[0].object_class, ns__ObjectClass__vehicle);
    EXPECT_EQ(all.hits[0].score, 0.6F);
    EXPECT_EQ(all.hits[1].object_class, ns__ObjectClass__object);
    EXPECT_EQ(all.hits[2].object_class, ns__ObjectClass__unknown);
    EXPECT_EQ(all.hits[2].score, 0.0F);
}

TEST_F(Search_Query, DurationMayBeEqualButNotBelow)
{
    store(0, 2);
    store(0, 3);
    store(0, 4);
    Criteria criteria;
    criteria.min_duration = 3;
    EXPECT_EQ(ids(criteria), "2 3");
    criteria.min_duration = 3.1F;
    EXPECT_EQ(ids(criteria), "3");
}

// Colours in the middle of a range, and every name that finds them.
TEST_F(Search_Query, EachColorIsFoundByItsName)
{
    const struct {
        int red;
        int green;
        int blue;
        std::string names;
    } rows[] = {
        {240, 240, 240, "white"},      {13, 26, 26, "black"},       {124, 134, 134, "gray"},
        {112, 158, 204, "light_blue"}, {43, 73, 102, "dark_blue"},  {115, 81, 49, "brown"},
        {87, 204, 101, "light_green"}, {43, 102, 43, "dark_green"}, {204, 198, 87, "yellow"},
        {217, 134, 54, "orange"},      {153, 38, 44, "red"},        {204, 133, 136, "pink"},
        {135, 65, 153, "purple"},      {115, 52, 66, "brown red"},
    };
    for (const auto& row : rows) {
        records_.clear();
        store(0, 1, [&](KR_ObjectBase& object) {
            for (KR_ObjectBase::Instance& instance : object.Instances)
                instance.Colors = {color_area(row.red, row.green, row.blue, 50)};
        });
        std::string names;
        for (int number = 1; number <= 13; ++number) {
            Criteria criteria;
            const auto preset = static_cast<ns__ColorPreset>(number);
            criteria.colors = std::vector<Preset_Set>{set_of(preset)};
            if (ids(criteria) == "1")
                names += (names.empty() ? "" : " ") + color_name(preset);
        }
        EXPECT_EQ(names, row.names);
    }
}

TEST_F(Search_Query, ShareIsTheMeanOverTheInstancesWithColors)
{
    store(0, 2, [](KR_ObjectBase& object) { // 3 instances, the last without colours
        object.Instances[0].Colors = {color_area(250, 10, 10, 20), color_area(240, 0, 0, 11),
                                      color_area(0, 0, 0, 60)};
        object.Instances[1].Colors = {color_area(250, 10, 10, 9)};
    });
    Criteria criteria;
    criteria.colors = std::vector<Preset_Set>{set_of(ns__ColorPreset__red)};
    criteria.min_area = 20;
    EXPECT_EQ(ids(criteria), "1");
    criteria.min_area = 20.1F;
    EXPECT_EQ(ids(criteria), "");
    criteria.colors = std::vector<Preset_Set>{set_of(ns__ColorPreset__yellow)};
    criteria.min_area = 0;
    EXPECT_EQ(ids(criteria), "");

    const std::vector<Color_Share> shares = result({}).hits.at(0).colors;
    ASSERT_EQ(shares.size(), 2U);
    EXPECT_EQ(shares[0].preset, ns__ColorPreset__black);
    EXPECT_EQ(shares[0].percent, 30.0F);
    EXPECT_EQ(shares[1].preset, ns__ColorPreset__red);
    EXPECT_EQ(shares[1].percent, 20.0F);
    EXPECT_EQ(shares[1].color.red, 247); // (29 x 250 + 11 x 240) / 40 = 247.25
    EXPECT_EQ(shares[1].color.green, 7); // 29 x 10 / 40 = 7.25
}

TEST_F(Search_Query, OrdersAndLimitsTheHits)
{
    store(0, 2, scores(0.5F, 0, 0));
    store(1, 9, scores(0.7F, 0, 0));
    store(2, 5, scores(0.9F, 0, 0));
    store(3, 9, scores(0.7F, 0, 0));
    Criteria criteria;
    EXPECT_EQ(ids(criteria), "1 2 3 4");
    criteria.limit = 3;
    EXPECT_EQ(ids(criteria), "1 2 3");
    EXPECT_EQ(result(criteria).matches, 4U);
    criteria.limit.reset();
    criteria.order = Order::duration;
    EXPECT_EQ(ids(criteria), "2 4 3 1");
    criteria.order = Order::score;
    EXPECT_EQ(ids(criteria), "3 2 4 1");
    criteria.limit = 2;
    EXPECT_EQ(ids(criteria), "3 2");
    EXPECT_EQ(result(criteria).matches, 4U);
    criteria.limit = 9;
    EXPECT_EQ(ids(criteria), "3 2 4 1");
}

TEST_F(Search_Query, DamagedRecordsAreSkippedAndCounted)
{
    store(0, 1);
    store(1, 1);
    store(2, 1);
    records_[1].record.resize(100);
    records_.push_back({"run-1", 4, {}});
    records_.push_back({"run-1", 5, Bytes(400, 0xFF)});
    const Result found = result({});
    EXPECT_EQ(ids({}), "1 3");
    EXPECT_EQ(found.objects, 5U);
    EXPECT_EQ(found.damaged, 3U);
}

TEST_F(Search_Query, StopsBetweenTwoRecords)
{
    store(0, 1);
    store(1, 1);
    store(2, 1);
    int asked = 0;
    const Result found = result({}, [&] { return ++asked > 2; });
    EXPECT_EQ(found.matches, 2U);
}

TEST_F(Search_Query, FillsTheWindowAroundTheSurestInstance)
{
    store(0, 5, [](KR_ObjectBase& object) {
        object.ClassScores[0] = 0.9F;
        for (KR_ObjectBase::Instance& instance : object.Instances)
            instance.PersonValue = 60;
        object.Instances[3].PersonValue = 90;
        object.Instances[3].Colors = {color_area(1, 2, 3, 40)};
    });
    Criteria criteria;
    criteria.window = 2;
    const Hit hit = result(criteria).hits.at(0);
    const ns__QueryResultObject& filled = hit.result;
    EXPECT_EQ(filled.instanceTime.seconds, 1709622492);
    EXPECT_EQ(filled.instanceBox.minX, 25.0F); // half way to 20
    EXPECT_EQ(filled.instanceBox.maxX, 45.0F); // half way to 50
    EXPECT_EQ(filled.instanceBox.maxY, 20.0F);
    EXPECT_EQ(filled.instanceCount, 2);
    ASSERT_EQ(filled.instances.size(), 2U);
    EXPECT_EQ(filled.instances[0].box.minX, 15.0F);
    EXPECT_EQ(filled.instances[0].box.maxX, 35.0F);
    EXPECT_EQ(filled.instances[1].box.minX, 25.0F);
    ASSERT_EQ(filled.debugInstances.size(), 2U);
    EXPECT_EQ(filled.debugInstances[0].personValue, 60.0F);
    EXPECT_EQ(filled.debugInstances[1].personValue, 90.0F);
    EXPECT_EQ(filled.debugInstances[1].classNames, "person ");
    EXPECT_EQ(filled.debugInstances[1].colors.at(0).color.blue, 3);
    EXPECT_EQ(filled.startTimeSeconds, 1709622489);
    EXPECT_EQ(filled.endTimeSeconds, 1709622494);
    EXPECT_EQ(filled.duration, 5U);

    EXPECT_EQ(hit.instance_count, 6U);
    ASSERT_EQ(hit.path.size(), 6U);
    EXPECT_EQ(hit.path[5].x, 55.0F);
    EXPECT_EQ(hit.path[5].y, 20.0F);
    EXPECT_EQ(hit.run, "run-1");
    EXPECT_EQ(hit.sensor.word1, 3);
    EXPECT_EQ(hit.first_seen, second(0));
}

TEST_F(Search_Query, AmongEquallySureInstancesTheLargestIsChosen)
{
    store(0, 3, [](KR_ObjectBase& object) { object.Instances[2].Box.MaxY = 21; });
    EXPECT_EQ(result({}).hits.at(0).result.instanceTime.seconds, 1709622491);
}

TEST_F(Search_Query, WindowOfMinusOneIsTheWholeObject)
{
    store(0, 20);
    Criteria criteria;
    criteria.window = -1;
    EXPECT_EQ(result(criteria).hits.at(0).result.instances.size(), 21U);
    criteria.window = 0;
    EXPECT_EQ(result(criteria).hits.at(0).result.instances.size(), 0U);
}

TEST_F(Search_Query, ThumbnailIsTheAuxiliaryData)
{
    store(0, 1, [](KR_ObjectBase& object) { *object.AuxiliaryData = {0xFF, 0xD8, 1, 2}; });
    EXPECT_EQ(result({}).hits.at(0).thumbnail, (Bytes{0xFF, 0xD8, 1, 2}));
}

TEST_F(Search_Query, WhatIsNotAskedForIsNotFilled)
{
    store(0, 3, [](KR_ObjectBase& object) {
        *object.AuxiliaryData = {0xFF, 0xD8, 1, 2};
        object.Instances[3].Colors = {color_area(153, 38, 44, 40)};
    });
    store(1, 1); // without a thumbnail
    Criteria criteria;
    const Hit all = result(criteria).hits.at(0);
    criteria.detail = Detail::path;
    const Hit with_path = result(criteria).hits.at(0);
    criteria.detail = Detail::line;
    const Hit line = result(criteria).hits.at(0);
    EXPECT_EQ(all.path.size(), 4U);
    EXPECT_EQ(all.thumbnail.size(), 4U);
    EXPECT_EQ(all.result.debugInstances.size(), 4U);
    EXPECT_EQ(with_path.path.size(), 4U);
    EXPECT_TRUE(line.path.empty());
    for (const Hit& hit : {with_path, line}) {
        EXPECT_TRUE(hit.thumbnail.empty());
        EXPECT_TRUE(hit.has_thumbnail);
        EXPECT_TRUE(hit.result.debugInstances.empty());
        EXPECT_EQ(hit.result.instances.size(), 4U);
        EXPECT_EQ(hit.result.objectId, all.result.objectId);
        EXPECT_EQ(hit.instance_count, 4U);
        ASSERT_EQ(hit.colors.size(), 1U);
        EXPECT_EQ(hit.colors[0].percent, 40.0F);
        EXPECT_EQ(hit.best_time, all.best_time);
    }
    EXPECT_FALSE(result(criteria).hits.at(1).has_thumbnail);
}

TEST_F(Search_Query, ShortEnoughIsUpToTheLongestDuration)
{
    store(0, 2);
    store(0, 3);
    store(0, 4);
    Criteria criteria;
    criteria.max_duration = 3;
    EXPECT_EQ(ids(criteria), "1 2");
    criteria.max_duration = 2.9F;
    EXPECT_EQ(ids(criteria), "1");
    criteria.min_duration = criteria.max_duration.emplace(4.0F);
    EXPECT_EQ(ids(criteria), "3");
    criteria.max_duration = 0;
    criteria.min_duration = 0;
    EXPECT_EQ(ids(criteria), "");
}

TEST_F(Search_Query, SensorIsOneOfThoseAskedFor)
{
    for (const auto& [word1, word2] : {std::pair(3, 1), std::pair(3, 2), std::pair(4, 1)})
        store(0, 1, [&](KR_ObjectBase& object) {
            object.SensorId.word1 = word1;
            object.SensorId.word2 = word2;
        });
    Criteria criteria;
    criteria.sensors.resize(1);
    criteria.sensors[0].word1 = 3;
    EXPECT_EQ(ids(criteria), "1");
    criteria.sensors.resize(2);
    criteria.sensors[1].word1 = 4;
    EXPECT_EQ(ids(criteria), "1 3");
}

TEST_F(Search_Query, HoursOfTheDayEndWhereTheLastBegins)
{
    // The first second is 07:08:09; so these are 07:59:59, 08:00:00, 16:59:59, 17:00:00, 02:00:00.
    for (const int start : {3110, 3111, 35'510, 35'511, 67'911})
        store(start, 1);
    Criteria criteria;
    criteria.hours = Hours{8, 17};
    EXPECT_EQ(ids(criteria), "2 3");
    criteria.hours = Hours{17, 8};
    EXPECT_EQ(ids(criteria), "1 4 5");
    criteria.hours = Hours{7, 8};
    EXPECT_EQ(ids(criteria), "1");
    criteria.hours = Hours{5, 5};
    EXPECT_EQ(ids(criteria), "1 2 3 4 5");
    criteria.hours = Hours{0, 24};
    EXPECT_EQ(ids(criteria), "1 2 3 4 5");
}

TEST_F(Search_Query, HoursOfTimesBefore1970AreThoseOfTheirDay)
{
    EXPECT_TRUE(is_in(ACE_Time_Value(-1), Hours{23, 24}));
    EXPECT_FALSE(is_in(ACE_Time_Value(-1), Hours{0, 23}));
}

TEST_F(Search_Query, OfSeveralColorsAnyOrAllAreAskedFor)
{
    const auto with = [](std::vector<ns__RgbColorArea> colors) {
        return [=](KR_ObjectBase& object) {
            for (KR_ObjectBase::Instance& instance : object.Instances)
                for (const ns__RgbColorArea& each : colors)
                    instance.Colors.push_back(each);
        };
    };
    const ns__RgbColorArea red = color_area(153, 38, 44, 30);
    const ns__RgbColorArea black = color_area(13, 26, 26, 40);
    store(0, 1, with({red}));
    store(1, 1, with({black}));
    store(2, 1, with({red, black}));
    store(3, 1, with({color_area(240, 240, 240, 90)}));
    Criteria criteria;
    criteria.colors =
        std::vector<Preset_Set>{set_of(ns__ColorPreset__red), set_of(ns__ColorPreset__black)};
    EXPECT_EQ(ids(criteria), "1 2 3");
    criteria.wants_all_colors = true;
    EXPECT_EQ(ids(criteria), "3");
    criteria.min_area = 31;
    EXPECT_EQ(ids(criteria), "");
    criteria.wants_all_colors = false;
    EXPECT_EQ(ids(criteria), "2 3");
}

TEST_F(Search_Query, BlueIsLightAndDarkBlueTogether)
{
    store(0, 1, [](KR_ObjectBase& object) {
        object.Instances[0].Colors = {color_area(112, 158, 204, 12), color_area(43, 73, 102, 13)};
        object.Instances[1].Colors = {color_area(43, 73, 102, 15), color_area(153, 38, 44, 85)};
    });
    Criteria criteria;
    criteria.colors = std::vector<Preset_Set>{*color_of_name("blue")};
    criteria.min_area = 20;
    EXPECT_EQ(ids(criteria), "1") << "(12 + 13 + 15) / 2 = 20";
    criteria.min_area = 20.1F;
    EXPECT_EQ(ids(criteria), "");
    criteria.colors = std::vector<Preset_Set>{set_of(ns__ColorPreset__dark_blue)};
    criteria.min_area = 20;
    EXPECT_EQ(ids(criteria), "") << "(13 + 15) / 2 = 14";
    criteria.colors = std::vector<Preset_Set>{*color_of_name("green")};
    criteria.min_area = 0;
    EXPECT_EQ(ids(criteria), "");
}

TEST_F(Search_Query, ColorOfTwoPresetsCountsOnce)
{
    store(0, 1, [](KR_ObjectBase& object) { // a colour that is brown and red
        for (KR_ObjectBase::Instance& instance : object.Instances)
            instance.Colors = {color_area(115, 52, 66, 30)};
    });
    Criteria criteria;
    criteria.colors =
        std::vector<Preset_Set>{set_of(ns__ColorPreset__red) | set_of(ns__ColorPreset__brown)};
    criteria.min_area = 30;
    EXPECT_EQ(ids(criteria), "1");
    criteria.min_area = 31;
    EXPECT_EQ(ids(criteria), "");
}

TEST_F(Search_Query, AreaAsksWhereTheFeetWere)
{
    store(0, 2); // feet at (5, 20), (15, 20) and (25, 20)
    Criteria criteria;
    criteria.area = {rectangle({10, 10}, {20, 30}), Presence::stood};
    EXPECT_EQ(ids(criteria), "1");
    criteria.area->presence = Presence::crossed;
    EXPECT_EQ(ids(criteria), "1");
    criteria.area->corners = rectangle({10, 10}, {30, 30});
    EXPECT_EQ(ids(criteria), "") << "it ends in there";
    criteria.area->corners = rectangle({10, 0}, {20, 19});
    criteria.area->presence = Presence::stood;
    EXPECT_EQ(ids(criteria), "") << "its box is in there, its foot is not";
}

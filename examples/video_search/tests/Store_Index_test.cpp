#include "Search_Testing.h"
#include "host/Host.h"
#include "search/Color_Names.h"
#include "search/Query.h"
#include "store/Store_Query.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <gmock/gmock.h>

#include <atomic>
#include <cmath>
#include <limits>
#include <random>
#include <thread>

using namespace video_search;

namespace {

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

Traits traits_of_object(const KR_ObjectBase& object)
{
    const Bytes record = encode(object, 1'000'000);
    return traits_of(KR_Object_View(record.data(), record.size()), *KR_Colors::instance());
}

class Store_Index : public testing::Test {
protected:
    // Adds objects as quickly as another program could, in one transaction and without traits.
    void add_rows(int first_id, int count)
    {
        SQLite::Database database(path_, SQLite::OPEN_READWRITE);
        SQLite::Transaction transaction(database);
        for (int id = first_id; id < first_id + count; ++id)
            add_row(database, test_object(static_cast<std::uint64_t>(id), id, 1));
        transaction.commit();
    }

    static void add_row(SQLite::Database& database, const KR_ObjectBase& object)
    {
        SQLite::Statement row(database, "INSERT INTO object (sensor1, sensor2, object_id, run, "
                                        "first_seen_us, record) VALUES (?, ?, ?, 'run-1', ?, ?)");
        const Bytes record = encode(object, 1'000'000);
        row.bind(1, object.SensorId.word1);
        row.bind(2, object.SensorId.word2);
        row.bind(3, static_cast<std::int64_t>(object.ObjectId));
        row.bind(4, std::int64_t{object.FirstSeenTime.sec()} * 1'000'000 +
                        object.FirstSeenTime.usec());
        row.bind(5, record.data(), static_cast<int>(record.size()));
        row.exec();
    }

    void make_store() const { const Store store(path_, Store::Access::write); }

    // What a program of version 1 has written.
    void make_version_1() const
    {
        SQLite::Database database(path_, SQLite::OPEN_READWRITE);
        database.exec("DROP TRIGGER object_added; DROP TRIGGER object_changed; "
                      "DROP TRIGGER object_removed; DROP TABLE trait; DROP TABLE trait_state; "
                      "DROP TABLE tally; PRAGMA user_version = 1");
    }

    void execute(const std::string& sql) const
    {
        SQLite::Database(path_, SQLite::OPEN_READWRITE).exec(sql);
    }
    std::int64_t number(const std::string& sql) const
    {
        return SQLite::Database(path_).execAndGet(sql).getInt64();
    }

    bool is_indexed() const { return Store(path_, Store::Access::read).is_indexed(); }
    bool index() const
    {
        return Store(path_, Store::Access::write).index([](auto, auto) { return true; });
    }

    Result result(const Criteria& criteria)
    {
        Store store(path_, Store::Access::read);
        return search(store, criteria, profile_, [] { return false; });
    }

    // The ids of the hits, like "1 3".
    static std::string ids_of(const Result& result)
    {
        std::string text;
        for (const Hit& hit : result.hits)
            text += (text.empty() ? "" : " ") + std::to_string(hit.result.objectId);
        return text;
    }
    std::string ids(const Criteria& criteria) { return ids_of(result(criteria)); }

    static Criteria color(ns__ColorPreset preset)
    {
        Criteria criteria;
        criteria.colors = {set_of(preset)};
        return criteria;
    }

    const std::string folder_ = fresh_folder();
    const std::string path_ = folder_ + "/a.store";
    ProfileHelper profile_{3600, folder_ + "/profile"};
};

KR_ObjectBase red_object(std::uint64_t id, int start)
{
    KR_ObjectBase object = test_object(id, start, 1);
    for (KR_ObjectBase::Instance& instance : object.Instances)
        instance.Colors = {color_area(153, 38, 44, 50)};
    return object;
}

// Traits

TEST(Store_Traits, AreThoseOfTheRecord)
{
    KR_ObjectBase object = test_object(1, 0, 2); // feet at (5, 20), (15, 20) and (25, 20)
    object.ClassScores[0] = 0.25F;
    object.ClassScores[2] = 0.75F;
    object.Instances[0].Colors = {color_area(153, 38, 44, 19), color_area(13, 26, 26, 30)};
    object.Instances[1].Colors = {color_area(153, 38, 44, 20)};
    const Traits traits = traits_of_object(object);
    EXPECT_EQ(2U, traits.duration);
    EXPECT_EQ((std::array{0.25F, 0.0F, 0.75F}), traits.scores);
    ASSERT_TRUE(traits.place);
    EXPECT_EQ(5, traits.place->min_x);
    EXPECT_EQ(25, traits.place->max_x);
    EXPECT_EQ(20, traits.place->min_y);
    EXPECT_EQ(20, traits.place->max_y);
    //                     white, black, ..., red 19.5
    EXPECT_EQ((std::array{0, 15, 0, 0, 0, 0, 0, 0, 0, 0, 20, 0, 0}), traits.shares);
}

TEST(Store_Traits, PlaceIsRoundedOutwardAndLeavesOutWhatIsNoNumber)
{
    KR_ObjectBase object = test_object(1, 0, 2);
    object.Instances[0].Box = Geom_Box2D<float>(1, 1, 2, 5.25F);   // foot 1.5, 5.25
    object.Instances[1].Box = Geom_Box2D<float>(nan, 0, nan, 900); // none
    object.Instances[2].Box = Geom_Box2D<float>(-4, -9, -3, -2);   // foot -3.5, -2
    const Traits traits = traits_of_object(object);
    EXPECT_EQ(-4, traits.place->min_x);
    EXPECT_EQ(2, traits.place->max_x);
    EXPECT_EQ(-2, traits.place->min_y);
    EXPECT_EQ(6, traits.place->max_y);
    for (KR_ObjectBase::Instance& instance : object.Instances)
        instance.Box.MaxY = infinity;
    EXPECT_FALSE(traits_of_object(object).place);
}

TEST(Store_Traits, PlaceBeyondTheRangeIsItsEnd)
{
    const Place place = place_around(Geom_Box2D<float>(-1e30F, nan, 1e30F, infinity));
    EXPECT_EQ(-2'000'000'000, place.min_x);
    EXPECT_EQ(-2'000'000'000, place.min_y);
    EXPECT_EQ(2'000'000'000, place.max_x);
    EXPECT_EQ(2'000'000'000, place.max_y);
}

TEST(Store_Traits, RecordThatIsNotWholeIsFoundByEverySearch)
{
    const Bytes record(100, 0);
    const Traits traits =
        traits_of(KR_Object_View(record.data(), record.size()), *KR_Colors::instance());
    EXPECT_FALSE(traits.duration);
    EXPECT_EQ((std::array{1.0F, 1.0F, 1.0F}), traits.scores);
    EXPECT_EQ(2'000'000'000, traits.place->max_x);
    EXPECT_GE(*std::min_element(traits.shares.begin(), traits.shares.end()), 100);
}

TEST(Store_Traits, FootIsTheMiddleOfTheLowerEdge)
{
    const Foot foot = foot_of(Geom_Box2D<float>(10, 20, 31, 60));
    EXPECT_EQ(20.5F, foot.x);
    EXPECT_EQ(60.0F, foot.y);
}

TEST(Store_Traits, FingerprintIsThatOfThePresets)
{
    const KR_Colors copy(*KR_Colors::instance());
    EXPECT_EQ(fingerprint_of(*KR_Colors::instance()), fingerprint_of(copy));
    EXPECT_NE(0, fingerprint_of(copy));
}

// Versions

TEST_F(Store_Index, NewStoreIsIndexedAndStaysSo)
{
    Store store(path_, Store::Access::write);
    EXPECT_TRUE(store.is_indexed());
    const KR_ObjectBase object = red_object(1, 0);
    store.add("run-1", object, encode(object, 1'000'000));
    EXPECT_TRUE(store.is_indexed());
    EXPECT_TRUE(store.index([](auto, auto) { return false; })) << "there is nothing to do";
    EXPECT_EQ("1", ids(color(ns__ColorPreset__red)));
    EXPECT_EQ("", ids(color(ns__ColorPreset__purple)));
    EXPECT_EQ(50, number("SELECT red FROM trait"));
}

TEST_F(Store_Index, VersionOneIsReadAsItIs)
{
    make_store();
    make_version_1();
    add_rows(1, 5);
    const std::string before = text_of(path_);
    EXPECT_FALSE(is_indexed());
    EXPECT_EQ("1 2 3 4 5", ids({}));
    EXPECT_EQ(5U, result({}).objects);
    EXPECT_EQ(before, text_of(path_));
    EXPECT_THROW((void)Store(path_, Store::Access::read).index([](auto, auto) { return true; }),
                 Failure);
}

TEST_F(Store_Index, VersionOneThatIsOpenedForWritingIsVersionTwoAndIsIndexedLater)
{
    make_store();
    make_version_1();
    add_rows(1, 5);
    make_store();
    EXPECT_EQ(2, number("PRAGMA user_version"));
    EXPECT_FALSE(is_indexed());
    EXPECT_EQ("1 2 3 4 5", ids({}));
    EXPECT_TRUE(index());
    EXPECT_TRUE(is_indexed());
    EXPECT_EQ("1 2 3 4 5", ids({}));
    EXPECT_EQ(5, number("SELECT count(*) FROM trait"));
}

TEST_F(Store_Index, StoreOfTheRecordingIsUpgraded)
{
    const auto data = std::filesystem::path(VIDEO_SEARCH_TEST_DATA) / "clip.store";
    if (!std::filesystem::exists(data))
        GTEST_SKIP() << "the sources are not here";
    std::filesystem::copy_file(data, path_);
    std::filesystem::permissions(path_, std::filesystem::perms::owner_write,
                                 std::filesystem::perm_options::add);
    ASSERT_EQ(1, number("PRAGMA user_version"));
    const std::string red = ids(color(ns__ColorPreset__red));
    EXPECT_EQ("1", red);
    EXPECT_TRUE(index());
    EXPECT_EQ(red, ids(color(ns__ColorPreset__red)));
    EXPECT_EQ(6U, result({}).hits.size());
}

// The same answers

KR_ObjectBase random_object(std::mt19937& random, std::uint64_t id)
{
    const auto below = [&](unsigned end) { return static_cast<int>(random() % end); };
    KR_ObjectBase object = test_object(id, 60 * below(3000), below(6));
    object.SensorId.word1 = 1 + below(4);
    object.SensorId.word2 = 1 + below(2);
    object.Duration = static_cast<std::uint32_t>(below(10));
    if (below(50) == 0)
        object.Duration = std::numeric_limits<std::uint32_t>::max();
    for (float& score : object.ClassScores)
        score = below(20) == 0 ? nan : static_cast<float>(below(11)) / 10.0F;
    const float dx = static_cast<float>(below(200));
    const float dy = static_cast<float>(below(200));
    for (KR_ObjectBase::Instance& instance : object.Instances) {
        instance.Box =
            Geom_Box2D<float>(dx + instance.Box.MinX, dy, dx + instance.Box.MaxX, dy + 9);
        if (below(30) == 0)
            instance.Box.MaxX = nan;
        for (int k = below(4); k > 0; --k)
            instance.Colors.push_back(
                color_area(below(256), below(256), below(256), static_cast<float>(below(60))));
    }
    if (below(20) == 0)
        object.DetectorType = ns__DetectorType__value_7;
    return object;
}

std::vector<Criteria> many_criteria()
{
    std::vector<Criteria> all(1);
    const auto add = [&](const auto& change) {
        for (const Order order : {Order::time, Order::latest, Order::duration, Order::score}) {
            all.emplace_back();
            all.back().order = order;
            change(all.back());
            all.push_back(all.back());
            all.back().limit = 5;
            all.push_back(all.back());
            all.back().counts_all = true;
        }
    };
    add([](Criteria&) {});
    add([](Criteria& each) {
        each.from = second(20'000);
        each.to = second(100'000);
    });
    for (int number = 1; number <= 13; ++number)
        add([&](Criteria& each) {
            each.colors = {set_of(static_cast<ns__ColorPreset>(number))};
            each.min_area = 19.5F;
        });
    add([](Criteria& each) {
        each.colors = {*color_of_name("blue"), *color_of_name("red")};
        each.min_area = 5;
    });
    add([](Criteria& each) {
        each.colors = {*color_of_name("red"), *color_of_name("green")};
        each.wants_all_colors = true;
        each.min_area = 0;
        each.sensors.resize(2);
        each.sensors[1].word1 = 2;
    });
    add([](Criteria& each) {
        each.sensors.resize(1);
        each.sensors[0].word1 = 3;
        each.sensors[0].word2 = 2;
    });
    add([](Criteria& each) { // more than SQLite's expressions may be deep
        for (int number = 0; number < 1500; ++number) {
            each.sensors.emplace_back();
            each.sensors.back().word1 = 3 + number;
            each.sensors.back().word2 = 2;
        }
    });
    add([](Criteria& each) { each.hours = Hours{22, 6}; });
    add([](Criteria& each) { each.hours = Hours{8, 17}; });
    add([](Criteria& each) {
        each.min_duration = 3;
        each.max_duration = 7.5F;
    });
    add([](Criteria& each) { each.min_duration = 4'294'967'295.0F; });
    add([](Criteria& each) { each.min_score = 0.9F; });
    add([](Criteria& each) { each.object_class = ns__ObjectClass__vehicle; });
    add([](Criteria& each) {
        each.object_class = ns__ObjectClass__object;
        each.min_score = 0.3F;
    });
    for (const Presence presence : {Presence::stood, Presence::crossed})
        add([&](Criteria& each) { each.area = {{{40, 40}, {90, 60}, {60, 120}}, presence}; });
    return all;
}

// Hits in their order, how many match and how many are damaged.
std::string answer_of(const Result& result)
{
    std::string text;
    for (const Hit& hit : result.hits)
        text += std::to_string(hit.result.objectId) + " ";
    return text + "/ " + std::to_string(result.objects);
}

TEST_F(Store_Index, EveryAnswerIsTheSameWithAndWithoutIndex)
{
    make_store();
    make_version_1();
    {
        std::mt19937 random; // NOLINT(cert-msc51-cpp): the same objects in every run
        SQLite::Database database(path_, SQLite::OPEN_READWRITE);
        SQLite::Transaction transaction(database);
        for (std::uint64_t id = 1; id <= 700; ++id)
            add_row(database, random_object(random, id));
        database.exec("UPDATE object SET record = substr(record, 1, 200) WHERE object_id % 90 = 7");
        transaction.commit();
    }
    std::vector<std::string> without;
    for (const Criteria& criteria : many_criteria())
        without.push_back(answer_of(result(criteria)));
    ASSERT_FALSE(is_indexed());
    ASSERT_TRUE(index());
    std::size_t k = 0;
    std::size_t hits = 0;
    for (const Criteria& criteria : many_criteria()) {
        const Result found = result(criteria);
        EXPECT_EQ(without[k], answer_of(found)) << in_words(criteria).at(0) << ' ' << k;
        hits += found.hits.size();
        ++k;
    }
    EXPECT_GT(hits, 1000U);
}

TEST_F(Store_Index, DamagedRecordsAreCountedWithIndexToo)
{
    {
        Store store(path_, Store::Access::write);
        const KR_ObjectBase object = red_object(1, 0);
        store.add("run-1", object, encode(object, 1'000'000));
        const KR_ObjectBase damaged = red_object(2, 1);
        store.add("run-1", damaged, Bytes(100, 0xFF));
    }
    Criteria criteria = color(ns__ColorPreset__pink);
    criteria.min_duration = 1000;
    const Result found = result(criteria);
    EXPECT_TRUE(is_indexed());
    EXPECT_EQ(0U, found.matches);
    EXPECT_EQ(1U, found.damaged);
    EXPECT_EQ(2U, found.objects);
}

TEST_F(Store_Index, SearchEndsAtItsLimitUnlessAllAreToBeCounted)
{
    make_store();
    add_rows(1, 50);
    ASSERT_TRUE(index());
    Criteria criteria;
    criteria.limit = 10;
    Result found = result(criteria);
    EXPECT_EQ(10U, found.hits.size());
    EXPECT_FALSE(found.has_all_matches);
    EXPECT_EQ(11U, found.matches);
    EXPECT_EQ(50U, found.objects);
    criteria.counts_all = true;
    found = result(criteria);
    EXPECT_EQ(10U, found.hits.size());
    EXPECT_TRUE(found.has_all_matches);
    EXPECT_EQ(50U, found.matches);
    criteria.counts_all = false;
    criteria.limit = 50;
    EXPECT_TRUE(result(criteria).has_all_matches);
}

TEST_F(Store_Index, CountIsThatOfTheTimeOnBothSidesOfEachHour)
{
    std::vector<ACE_Time_Value> times;
    for (const int hour : {-3, -2, -1, 0, 1, 2, 5})
        for (const int seconds : {-1, 0, 1})
            times.emplace_back(3600 * hour + seconds);
    {
        Store store(path_, Store::Access::write);
        std::uint64_t id = 0;
        for (const ACE_Time_Value& time : times) {
            KR_ObjectBase object = test_object(++id, 0, 1);
            object.FirstSeenTime = time;
            store.add("run-1", object, encode(object, 1'000'000));
        }
    }
    Store store(path_, Store::Access::read);
    ASSERT_TRUE(store.is_indexed());
    for (const ACE_Time_Value& from : times)
        for (const ACE_Time_Value& to : times)
            EXPECT_EQ(store.select(from, to).size(), store.count(from, to))
                << from.sec() << ' ' << to.sec();
    EXPECT_EQ(times.size(), store.count(ACE_Time_Value(std::numeric_limits<time_t>::min()),
                                        ACE_Time_Value::max_time));
}

// How SQLite goes about a query.
std::string plan_of(SQLite::Database& database, const Sql_Query& query)
{
    SQLite::Statement steps(database, "EXPLAIN QUERY PLAN " + query.text);
    std::string plan;
    while (steps.executeStep())
        plan += steps.getColumn(3).getString() + "; ";
    return plan;
}

TEST_F(Store_Index, EveryQueryGoesToTheTimeThatIsAskedFor)
{
    make_store();
    SQLite::Database database(path_, SQLite::OPEN_READWRITE);
    for (const Criteria& criteria : many_criteria())
        for (const bool has_shares : {false, true}) {
            const Filter filter = filter_of(criteria);
            for (const Sql_Query& query :
                 {query_of_traits(filter, has_shares), query_of_shorter(filter, has_shares, {}),
                  query_of_a_duration(filter, has_shares)})
                EXPECT_THAT(plan_of(database, query),
                            testing::HasSubstr("first_seen_us>? AND first_seen_us<?"))
                    << query.text;
            EXPECT_THAT(plan_of(database, query_of_a_duration(filter, has_shares)),
                        testing::HasSubstr("INDEX trait_duration (duration=? AND first_seen_us>?"));
        }
}

// The longest first

TEST(Store_Query, DurationsAreThoseOfTheFilter)
{
    Filter filter;
    const auto range = [&] {
        const Duration_Range durations = durations_of(filter);
        return std::pair(durations.least, durations.below);
    };
    constexpr std::int64_t end = 4'294'967'296;
    EXPECT_EQ(range(), std::pair(std::int64_t{0}, end));
    filter.min_duration = 2.5F;
    filter.max_duration = 7.5F;
    EXPECT_EQ(range(), (std::pair<std::int64_t, std::int64_t>(3, 8)));
    filter.min_duration = 3;
    filter.max_duration = 7;
    EXPECT_EQ(range(), (std::pair<std::int64_t, std::int64_t>(3, 8)));
    filter.min_duration = -1;
    filter.max_duration = -1.0F;
    EXPECT_EQ(range(), (std::pair<std::int64_t, std::int64_t>(0, 0)));
    filter.min_duration = infinity;
    filter.max_duration = infinity;
    EXPECT_EQ(range(), std::pair(end, end));
    filter.min_duration = nan;
    filter.max_duration = nan;
    EXPECT_EQ(range(), std::pair(std::int64_t{0}, end));
}

// Traits without records, which cost no time to make: they are passed over like others that do not
// match. One each second, of 0 to 119 seconds.
constexpr const char* many_traits =
    "WITH RECURSIVE each (k) AS (SELECT 1 UNION ALL SELECT k + 1 FROM each WHERE k < 10000) "
    "INSERT INTO trait (first_seen_us, sensor1, sensor2, object_id, duration, person) "
    "SELECT 1000000 * (1709621489 + k), 9, 1, k, k % 120, 0.1 FROM each";

TEST_F(Store_Index, LongestOfFewAmongManyAreFound)
{
    make_store();
    {
        SQLite::Database database(path_, SQLite::OPEN_READWRITE);
        SQLite::Transaction transaction(database);
        for (std::uint64_t id = 1; id <= 301; ++id) {
            KR_ObjectBase object = test_object(id, 1000 * static_cast<int>(id % 7), 1);
            object.Duration = static_cast<std::uint32_t>(id % 97);
            object.ClassScores[0] = 0.9F;
            add_row(database, object);
        }
        database.exec("UPDATE object SET record = x'FF' WHERE object_id = 301"); // not known
        transaction.commit();
    }
    ASSERT_TRUE(index());
    execute(many_traits);
    Criteria criteria;
    criteria.order = Order::duration;
    criteria.object_class = ns__ObjectClass__person;
    criteria.min_score = 0.5F;
    const Result by_index = result(criteria);
    EXPECT_EQ(300U, by_index.hits.size()) << "they end where it has passed over enough, and behind";
    EXPECT_EQ(1U, by_index.damaged);
    EXPECT_EQ(96U, by_index.hits.front().result.duration);
    EXPECT_EQ(0U, by_index.hits.back().result.duration);
    execute("DROP INDEX trait_duration");
    EXPECT_EQ(ids_of(result(criteria)), ids_of(by_index));
}

TEST_F(Store_Index, WalkOverManyDurationsEnds)
{
    {
        Store store(path_, Store::Access::write);
        for (std::uint64_t id = 1; id <= 3; ++id) {
            const KR_ObjectBase object =
                test_object(id, static_cast<int>(id), static_cast<int>(id));
            store.add("run-1", object, encode(object, 1'000'000));
        }
    }
    execute(many_traits);
    execute("UPDATE trait SET duration = 10 + object_id WHERE sensor1 = 9"); // of another time
    Criteria criteria;
    criteria.from = second(0);
    criteria.to = second(10);
    criteria.order = Order::duration;
    EXPECT_EQ("3 2 1", ids(criteria));
    criteria.limit = 2;
    EXPECT_EQ("3 2", ids(criteria));
}

// A store whose traits came before their index of durations.

TEST_F(Store_Index, StoreWithoutDurationsIsUsedAsItIsAndGetsThemByTheNextIndex)
{
    Criteria longest;
    longest.order = Order::duration;
    {
        Store store(path_, Store::Access::write);
        for (std::uint64_t id = 1; id <= 4; ++id) {
            const KR_ObjectBase object = test_object(id, 0, static_cast<int>(id));
            store.add("run-1", object, encode(object, 1'000'000));
        }
    }
    execute("DROP INDEX trait_duration");
    EXPECT_FALSE(is_indexed());
    EXPECT_EQ("4 3 2 1", ids(longest));
    {
        Store store(path_, Store::Access::write);
        const KR_ObjectBase object = test_object(5, 0, 5);
        store.add("run-1", object, encode(object, 1'000'000));
    }
    EXPECT_FALSE(is_indexed()) << "that is no part of adding";
    EXPECT_EQ(5, number("SELECT count(*) FROM trait")) << "nothing of what was there has gone";
    EXPECT_EQ("5 4 3 2 1", ids(longest));
    EXPECT_TRUE(index());
    EXPECT_TRUE(is_indexed());
    EXPECT_EQ("5 4 3 2 1", ids(longest));
    EXPECT_EQ(2, number("PRAGMA user_version")) << "programs that do not know of it go on";
}

TEST_F(Store_Index, DurationsAreGivenInPartsByAsManyAsLike)
{
    make_store();
    add_rows(1, 4500);
    ASSERT_TRUE(index());
    execute("DROP INDEX trait_duration");
    EXPECT_FALSE(Store(path_, Store::Access::write).index([](auto, auto) { return false; }));
    EXPECT_FALSE(is_indexed());
    EXPECT_EQ(2000, number("SELECT count(*) FROM trait"));
    Criteria longest;
    longest.order = Order::duration;
    EXPECT_EQ(4500U, result(longest).hits.size());
    std::thread one([this] { EXPECT_TRUE(index()); });
    EXPECT_TRUE(index());
    one.join();
    EXPECT_TRUE(is_indexed());
    EXPECT_EQ(4500, number("SELECT count(*) FROM trait"));
    EXPECT_EQ(4500U, result(longest).hits.size());
    EXPECT_STREQ("ok", SQLite::Database(path_).execAndGet("PRAGMA integrity_check").getText());
}

// Interruptions, and others at the same time

TEST_F(Store_Index, InterruptedIndexKeepsWhatIsDoneAndGoesOn)
{
    make_store();
    make_version_1();
    add_rows(1, 4500);
    std::vector<std::size_t> done;
    const auto stop = [&](std::size_t so_far, std::size_t total) {
        done.push_back(so_far);
        EXPECT_EQ(4500U, total);
        return false;
    };
    EXPECT_FALSE(Store(path_, Store::Access::write).index(stop));
    EXPECT_FALSE(is_indexed());
    EXPECT_EQ(2000, number("SELECT count(*) FROM trait"));
    EXPECT_EQ(4500U, result({}).hits.size());
    EXPECT_FALSE(Store(path_, Store::Access::write).index(stop));
    EXPECT_EQ((std::vector<std::size_t>{2000, 4000}), done);
    EXPECT_TRUE(index());
    EXPECT_TRUE(is_indexed());
    EXPECT_EQ(4500, number("SELECT count(*) FROM trait"));
    EXPECT_EQ(4500U, result({}).hits.size());
    EXPECT_EQ(4500, number("SELECT sum(objects) FROM tally"));
}

TEST_F(Store_Index, TransactionThatWasBrokenOffIsTakenBack)
{
    make_store();
    make_version_1();
    add_rows(1, 10);
    {
        SQLite::Database other(path_, SQLite::OPEN_READWRITE);
        other.exec("BEGIN IMMEDIATE");
        EXPECT_THROW(make_store(), Failure) << "another program writes";
    }
    EXPECT_EQ(1, number("PRAGMA user_version"));
    EXPECT_EQ(10U, result({}).hits.size());
    EXPECT_TRUE(index());
    EXPECT_EQ(10U, result({}).hits.size());
}

TEST_F(Store_Index, TwoMakeItTogetherWhileAnotherAdds)
{
    make_store();
    make_version_1();
    add_rows(1, 6000);
    const auto make = [this] { EXPECT_TRUE(index()); };
    std::thread one(make);
    std::thread other(make);
    {
        Store writer(path_, Store::Access::write);
        for (std::uint64_t id = 10'001; id <= 10'010; ++id) {
            const KR_ObjectBase object = test_object(id, 1, 1);
            writer.add("run-1", object, encode(object, 1'000'000));
        }
    }
    one.join();
    other.join();
    EXPECT_TRUE(is_indexed());
    EXPECT_EQ(6010, number("SELECT count(*) FROM trait"));
    EXPECT_EQ(6010U, result({}).hits.size());
    EXPECT_STREQ("ok", SQLite::Database(path_).execAndGet("PRAGMA integrity_check").getText());
}

TEST_F(Store_Index, ObjectOfAProgramThatKnowsNoIndexIsFound)
{
    make_store();
    add_rows(1, 3);
    EXPECT_FALSE(is_indexed());
    EXPECT_EQ("1 2 3", ids({}));
    EXPECT_TRUE(index());
    add_rows(4, 1);
    EXPECT_FALSE(is_indexed());
    EXPECT_EQ("1 2 3 4", ids({}));
    EXPECT_TRUE(index());
    EXPECT_TRUE(is_indexed());
    EXPECT_EQ("1 2 3 4", ids({}));
}

TEST_F(Store_Index, ChangedAndRemovedObjectsAreSeen)
{
    make_store();
    add_rows(1, 3);
    ASSERT_TRUE(index());
    {
        SQLite::Database database(path_, SQLite::OPEN_READWRITE);
        SQLite::Statement change(database, "UPDATE object SET record = ? WHERE object_id = 2");
        const Bytes red = encode(red_object(2, 2), 1'000'000);
        change.bind(1, red.data(), static_cast<int>(red.size()));
        change.exec();
    }
    EXPECT_EQ("2", ids(color(ns__ColorPreset__red)));
    ASSERT_TRUE(index());
    EXPECT_EQ("2", ids(color(ns__ColorPreset__red)));
    execute("DELETE FROM object WHERE object_id = 2");
    EXPECT_TRUE(is_indexed());
    EXPECT_EQ("", ids(color(ns__ColorPreset__red)));
    EXPECT_EQ("1 3", ids({}));
    EXPECT_EQ(2U, result({}).objects);
}

// Other presets

TEST_F(Store_Index, SharesOfOtherPresetsAreNotAsked)
{
    {
        Store store(path_, Store::Access::write);
        const KR_ObjectBase object = red_object(1, 0);
        store.add("run-1", object, encode(object, 1'000'000));
    }
    execute("UPDATE trait SET red = NULL, pink = 50"); // as others see it
    EXPECT_EQ("", ids(color(ns__ColorPreset__red))) << "the index is asked";
    execute("UPDATE trait_state SET fingerprint = fingerprint + 1");
    EXPECT_EQ("1", ids(color(ns__ColorPreset__red)));
    EXPECT_EQ("", ids(color(ns__ColorPreset__pink)));
    EXPECT_FALSE(is_indexed());
    EXPECT_TRUE(index());
    EXPECT_EQ(50, number("SELECT red FROM trait"));
    EXPECT_EQ("1", ids(color(ns__ColorPreset__red)));
}

TEST_F(Store_Index, ObjectThatIsAddedToTheSharesOfOthersIsFoundByThem)
{
    Store store(path_, Store::Access::write);
    execute("UPDATE trait_state SET fingerprint = fingerprint + 1");
    const KR_ObjectBase object = red_object(1, 0);
    store.add("run-1", object, encode(object, 1'000'000));
    EXPECT_GE(number("SELECT min(red, pink, white) FROM trait"), 100);
    EXPECT_EQ(1, number("SELECT is_whole FROM trait_state"));
}

} // namespace

// The store on a cluster with real servers, which setup/cluster.sh starts and ends: its answers are
// those of a file, and nothing is lost or stored twice when servers go away. Skipped, with a reason,
// where clickhouse-server is not installed.

#include "host/Host.h"
#include "search/Color_Names.h"
#include "search/Export.h"
#include "search/Query.h"
#include "store/Cluster.h"
#include "store/Cluster_Store.h"
#include "store/Row_Binary.h"
#include "store/Sender.h"
#include "store/Store.h"
#include "store/Store_Query.h"

#include "Live_Cluster.h"
#include "Search_Testing.h"

#include <gmock/gmock.h>

#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <memory>
#include <random>
#include <set>
#include <thread>

namespace video_search {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// Objects

constexpr float nan = std::numeric_limits<float>::quiet_NaN();
constexpr float infinity = std::numeric_limits<float>::infinity();

// As they come from cameras, and as they should not.
class Objects {
public:
    Stored_Row next()
    {
        const std::uint64_t number = ++number_;
        KR_ObjectBase object = test_object(number, below(400'000), below(12));
        object.SensorId.word1 = below(9) - 1; // -1 is one too
        object.SensorId.word2 = 1 + below(2);
        object.FirstSeenTime += ACE_Time_Value(0, below(1'000'000));
        for (float& score : object.ClassScores)
            score = static_cast<float>(below(11)) / 10;
        for (KR_ObjectBase::Instance& instance : object.Instances) {
            instance.PersonValue = static_cast<float>(below(101));
            instance.Colors.push_back(color_area(below(256), below(256), below(256), 70));
            instance.Colors.push_back(color_area(200, 20, 30, static_cast<float>(below(101))));
        }
        make_odd(object, number);
        object_ = object;
        Bytes record = encode(object, 1'000'000);
        if (number % 61 == 0)
            record.resize(record.size() / 2);
        return {0, {"run-" + std::to_string(object.SensorId.word1), number, record}};
    }
    [[nodiscard]] const KR_ObjectBase& object() const { return object_; }

private:
    int below(unsigned end) { return static_cast<int>(random_() % end); }

    static void make_odd(KR_ObjectBase& object, std::uint64_t number)
    {
        constexpr std::int64_t farthest = 9'300'000'000'000; // seconds
        switch (number % 50) {
        case 1: object.ClassScores[0] = nan; break;
        case 2: object.ClassScores[1] = -infinity; break;
        case 3: std::fill_n(object.ClassScores, 3, nan); break;
        case 4: object.ClassScores[2] = infinity; break;
        case 5: object.FirstSeenTime = ACE_Time_Value(-1, -500'000); break;
        case 6: object.FirstSeenTime = ACE_Time_Value(0); break;
        case 7: object.FirstSeenTime = ACE_Time_Value(farthest); break;
        case 8: object.FirstSeenTime = ACE_Time_Value(-farthest); break;
        case 9: object.FirstSeenTime = ACE_Time_Value(86'399, 999'999); break;
        case 10: object.DetectorType = ns__DetectorType__value_0; break;
        case 11: object.Duration = std::numeric_limits<std::uint32_t>::max(); break;
        case 12: object.Instances[0].Box = Geom_Box2D<float>(nan, nan, nan, nan); break;
        case 13: object.Instances[0].Box = Geom_Box2D<float>(-1e30F, 0, 1e30F, 5); break;
        case 14: object.Instances[0].Colors.assign(9, color_area(200, 20, 30, 100)); break;
        default: break;
        }
    }

    std::mt19937 random_; // NOLINT(cert-msc51-cpp): the same objects in every run
    std::uint64_t number_ = 0;
    KR_ObjectBase object_;
};

void fill(Object_Store& store, int objects)
{
    Objects all;
    for (int k = 0; k < objects; ++k) {
        const Stored_Row row = all.next();
        store.add(row.stored.run, all.object(), row.stored.record);
    }
}

Recording some_recording(const std::string& run, int start)
{
    Recording recording;
    recording.run = run;
    recording.video = "it's a 'video'\\.avi";
    recording.sensor.word1 = 3;
    recording.start = second(start);
    recording.end = second(start + 10);
    recording.width = 768;
    recording.height = 576;
    recording.frames = 250;
    recording.state = "running";
    recording.background = {0, 0xFF, 0xD8, 0};
    return recording;
}

std::vector<Criteria> searches()
{
    std::vector<Criteria> all;
    const auto add = [&]() -> Criteria& { return all.emplace_back(); };
    add();
    for (const Order order : {Order::time, Order::latest, Order::duration, Order::score}) {
        for (const std::size_t limit : {1U, 7U, 130U}) {
            Criteria& criteria = add();
            criteria.order = order;
            criteria.limit = limit;
        }
        for (int number = 0; number <= 3; ++number) {
            Criteria& criteria = add();
            criteria.order = order;
            criteria.object_class = static_cast<ns__ObjectClass>(number);
            criteria.min_score = number == 0 ? 0 : 0.4F;
        }
        Criteria& low = add();
        low.order = order;
        low.object_class = ns__ObjectClass__vehicle;
        low.min_score = -infinity;
        Criteria ages; // before 1970, and the end of time
        ages.order = order;
        ages.from = ACE_Time_Value(-9'300'000'000'001);
        ages.to = ACE_Time_Value(9'300'000'000'001);
        all.push_back(ages);
        if (order != Order::time)
            continue;
        for (const Hours hours : {Hours{8, 17}, Hours{22, 6}})
            all.emplace_back(ages).hours = hours;
    }
    add().from = second(100'000);
    add().to = second(100'000);
    add().hours = Hours{8, 17};
    add().hours = Hours{22, 6};
    add().min_score = 0.8F;
    add().min_duration = 3.0000001F;
    add().max_duration = 4;
    add().max_duration = 5e9F;
    for (const char* const name : {"red", "blue", "black"})
        add().colors = {*color_of_name(name)};
    for (const bool wants_all : {false, true}) {
        Criteria& criteria = add();
        criteria.colors = {*color_of_name("red"), *color_of_name("green")};
        criteria.wants_all_colors = wants_all;
        criteria.min_area = 33.3F;
    }
    Criteria& much = add();
    much.colors = {*color_of_name("red")};
    much.min_area = 300;
    add().sensors.resize(1);
    all.back().sensors[0].word1 = -1;
    add().sensors.resize(2);
    all.back().sensors[0].word1 = 3;
    all.back().sensors[1].word1 = 4;
    all.back().sensors[1].word2 = 2;
    all.push_back(all.back());
    all.back().sensors[0].word1 = -1;
    Criteria& cameras = add(); // more than a query has room for, unless told otherwise
    for (int number = 0; number < 8000; ++number) {
        cameras.sensors.emplace_back();
        cameras.sensors.back().word1 = 3 + number * 250'000;
    }
    add().area = {rectangle({20, 10}, {60, 30}), Presence::stood};
    add().area = {rectangle({20, 10}, {60, 30}), Presence::crossed};
    Criteria& counted = add();
    counted.limit = 5;
    counted.counts_all = true;
    return all;
}

std::string answer_of(Object_Store& store, const Criteria& criteria, ProfileHelper& profile)
{
    const Result result = search(store, criteria, profile, [] { return false; });
    return csv_of(result) + json_of(result) + std::to_string(result.matches) + " of " +
           std::to_string(result.objects) + ", " + std::to_string(result.damaged) + " damaged" +
           (result.has_all_matches ? "" : ", more");
}

std::string all_of(const Recording& recording)
{
    return recording.run + recording.video + std::to_string(recording.sensor.word1) + "." +
           std::to_string(recording.sensor.word2) +
           std::to_string(to_microseconds(recording.start)) + " " +
           std::to_string(to_microseconds(recording.end)) + " " + std::to_string(recording.width) +
           " " + std::to_string(recording.height) + " " + std::to_string(recording.frames) +
           recording.state + std::string(recording.background.begin(), recording.background.end());
}

void expect_same_rest(Object_Store& file, Object_Store& cluster)
{
    for (std::uint64_t id = 1; id < 100; ++id)
        for (int word = -1; word < 8; ++word) {
            ns__SensorId sensor;
            sensor.word1 = word;
            const auto expected = file.find(sensor, id);
            if (!expected)
                continue;
            const auto found = cluster.find(sensor, id);
            ASSERT_TRUE(found) << id;
            EXPECT_EQ(found->run, expected->run);
            EXPECT_EQ(found->record, expected->record);
        }
    ns__SensorId nobody;
    nobody.word1 = 77;
    EXPECT_FALSE(cluster.find(nobody, 1));
    EXPECT_EQ(cluster.density(second(0), second(400'000), 97),
              file.density(second(0), second(400'000), 97));
    const std::vector<Recording> expected = file.recordings();
    const std::vector<Recording> recordings = cluster.recordings();
    ASSERT_EQ(recordings.size(), expected.size());
    for (std::size_t k = 0; k < expected.size(); ++k) {
        EXPECT_EQ(all_of(recordings[k]), all_of(expected[k]));
        const std::vector<Picture> pictures = cluster.pictures(expected[k].run);
        const std::vector<Picture> wanted = file.pictures(expected[k].run);
        ASSERT_EQ(pictures.size(), wanted.size());
        for (std::size_t n = 0; n < wanted.size(); ++n) {
            EXPECT_EQ(pictures[n].time, wanted[n].time);
            EXPECT_EQ(pictures[n].jpeg, wanted[n].jpeg);
        }
    }
}

// In the order of storing, which is none between shards and none within a second.
void expect_same_rows(Object_Store& file, Object_Store& cluster)
{
    const auto records_of = [](Object_Store& store, std::size_t most) {
        std::multiset<Bytes> records;
        std::int64_t last = 0;
        for (;;) {
            const std::vector<Stored_Row> rows = store.rows_after(last, most);
            if (rows.empty())
                return records;
            for (const Stored_Row& row : rows) {
                EXPECT_GT(row.number, last);
                last = row.number;
                records.insert(row.stored.record);
            }
        }
    };
    EXPECT_EQ(records_of(cluster, 150), records_of(file, 150));
    EXPECT_EQ(cluster.counts_between(0, cluster.last_row()),
              file.counts_between(0, file.last_row()));
    EXPECT_THAT(cluster.rows_after(cluster.last_row(), 5), IsEmpty());
}

void fill_all(Object_Store& store)
{
    Recording recording = some_recording("run-3", 20);
    store.put(recording);
    store.put(some_recording("it's", 10));
    recording.state = "complete";
    store.put(recording);
    store.add("run-3", Picture{second(5), {1, 2, 3}});
    store.add("run-3", Picture{second(1), {}});
    fill(store, 700);
}

void expect_same_answers(int servers)
{
    const Live_Cluster cluster(servers);
    Store file(cluster.folder() + "/file.store", Object_Store::Access::write);
    fill_all(file);
    {
        const auto store = cluster.open(Object_Store::Access::write);
        fill_all(*store);
        EXPECT_EQ(store->flush(), 0U);
    }
    const auto store = cluster.open(Object_Store::Access::read);
    ProfileHelper profile(3600, cluster.folder() + "/profile");
    std::size_t hits = 0;
    for (const Criteria& criteria : searches()) {
        const std::string expected = answer_of(file, criteria, profile);
        EXPECT_EQ(answer_of(*store, criteria, profile), expected);
        hits += expected.size();
    }
    EXPECT_GT(hits, 100'000U); // there was something to compare
    EXPECT_THAT(store->unanswered(), IsEmpty());
    std::uint64_t sampled = 0;
    for (int shard = 0; shard < servers; ++shard)
        sampled += cluster.number(static_cast<std::size_t>(shard),
                                  "SELECT count() FROM kr.sample_10_local");
    EXPECT_THAT(sampled, testing::AllOf(testing::Gt(35U), testing::Lt(105U))); // of 700
    expect_same_rest(file, *store);
    std::this_thread::sleep_for(
        std::chrono::seconds(4)); // until the last second of storing is over
    expect_same_rows(file, *store);
}

TEST(Cluster_Live, OneServerAnswersAsAFile)
{
    SKIP_WITHOUT_SERVER();
    expect_same_answers(1);
}

TEST(Cluster_Live, ThreeShardsAnswerAsAFile)
{
    SKIP_WITHOUT_SERVER();
    expect_same_answers(3);
}

// Writers

std::size_t count_of(Object_Store& store)
{
    const Criteria everything;
    return store.count(from_time(everything), to_time(everything));
}

std::vector<std::uint64_t> ids_of(Object_Store& store, const Criteria& criteria = {})
{
    std::vector<std::uint64_t> ids;
    store.visit(filter_of(criteria), [&](const Found_Record& found) {
        ids.push_back(found.object_id);
        return true;
    });
    return ids;
}

TEST(Cluster_Live, IdsAreGivenOnceAndGoOnWhereTheyEnded)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(2);
    {
        const auto one = cluster.open(Object_Store::Access::write);
        EXPECT_EQ(one->next_object_id(sensor_of(1)), 1U);
        EXPECT_EQ(one->next_object_id(sensor_of(1)), 1U);
        add(*one, object_of(1, 1, 0));
        EXPECT_EQ(one->next_object_id(sensor_of(1)), 2U);
        EXPECT_EQ(one->next_object_id(sensor_of(2)), 1U);
        // A second writer of the same sensor, meanwhile.
        const auto two = cluster.open(Object_Store::Access::write,
                                      "&spool=" + cluster.folder() + "/other.spool");
        const std::uint64_t id = two->next_object_id(sensor_of(1));
        EXPECT_GT(id, 2U);
        add(*two, object_of(1, id, 1));
        add(*one, object_of(1, 2, 2));
    }
    const auto next = cluster.open(Object_Store::Access::write);
    EXPECT_EQ(count_of(*next), 3U);
    EXPECT_GT(next->next_object_id(sensor_of(1)), 65'537U);
    EXPECT_EQ(next->next_object_id(sensor_of(2)), 1U);
    add(*next, object_of(2, 41, 1)); // chosen by somebody else
    EXPECT_EQ(next->next_object_id(sensor_of(2)), 42U);
}

TEST(Cluster_Live, IdsDoNotEndWhileAServerIsAway)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(1);
    {
        const auto store = cluster.open(Object_Store::Access::write, "&wait=20");
        ASSERT_EQ(store->next_object_id(sensor_of(1)), 1U);
        add(*store, object_of(1, 65'530, 0)); // of those that are claimed
        EXPECT_EQ(store->next_object_id(sensor_of(1)), 65'531U);
        cluster.kill(1);
        for (std::uint64_t id = 65'531; id <= 65'540; ++id) {
            ASSERT_EQ(store->next_object_id(sensor_of(1)), id);
            add(*store, object_of(1, id, 1));
        }
        cluster.start(1);
        EXPECT_EQ(store->flush(), 0U);
    }
    {
        const auto store = cluster.open(Object_Store::Access::write, "&wait=20");
        EXPECT_EQ(store->next_object_id(sensor_of(1)), 65'541U); // what was left is given back
        add(*store, object_of(1, 65'541 + 65'534, 2));
        EXPECT_EQ(store->next_object_id(sensor_of(1)), 65'541U + 65'535);
        EXPECT_EQ(store->flush(), 0U);
    } // and what was claimed for later
    EXPECT_EQ(cluster.open(Object_Store::Access::write)->next_object_id(sensor_of(1)),
              65'541U + 65'535);
}

TEST(Cluster_Live, ABatchThatIsSentAgainIsStoredOnce)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(1);
    const std::string spool = cluster.folder() + "/kr_store.spool";
    {
        const auto store = cluster.open(Object_Store::Access::write);
        add(*store, object_of(1, 1, 0));
        add(*store, object_of(1, 2, 1));
        store->flush();
    }
    const std::uint64_t batch = cluster.number(0, "SELECT any(batch) FROM kr.object_local");
    // The answer to the batch was lost, and the key with it.
    {
        Spool rows(spool, parse_cluster_address(cluster.address()).text(), 1, 1'000'000);
        ASSERT_EQ(rows.count(), 0U);
        const KR_ObjectBase object = object_of(1, 1, 0);
        rows.add(Row_Kind::object, 0, day_of(to_microseconds(object.FirstSeenTime)),
                 row_of("run", object, encode(object, 1'000'000),
                        to_microseconds(object.FirstSeenTime)));
        ASSERT_TRUE(rows.take({true}, true));
    }
    output_of("sqlite3 '" + spool + "' 'UPDATE batch SET number = " + std::to_string(batch) +
              "; UPDATE waiting SET batch = " + std::to_string(batch) +
              "' 2>/dev/null || /usr/bin/python3 -c \"import sqlite3; d = sqlite3.connect('" +
              spool + "'); d.execute('UPDATE batch SET number = " + std::to_string(batch) +
              "'); d.execute('UPDATE waiting SET batch = " + std::to_string(batch) +
              "'); d.commit()\"");
    const auto store = cluster.open(Object_Store::Access::write);
    EXPECT_EQ(store->flush(), 0U);
    EXPECT_EQ(cluster.number(0, "SELECT count() FROM kr.object_local"), 2U);
    EXPECT_THAT(ids_of(*store), ElementsAre(1U, 2U));
    EXPECT_TRUE(store->find(sensor_of(1), 1));
}

TEST(Cluster_Live, RowsThatAreThereTwiceAreFoundOnce)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(1);
    const auto store = cluster.open(Object_Store::Access::write);
    for (int round = 0; round < 2; ++round) {
        for (std::uint64_t id = 1; id <= 300; ++id)
            add(*store, object_of(1, id, static_cast<int>(id)));
        store->flush();
    }
    std::vector<std::uint64_t> expected;
    for (std::uint64_t id = 1; id <= 300; ++id)
        expected.push_back(id);
    EXPECT_EQ(ids_of(*store), expected);
}

// Faults

TEST(Cluster_Live, ObjectsWaitWhileAServerIsAwayAndComeOverARestartOfTheWriter)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(2);
    std::vector<std::uint64_t> expected;
    {
        const auto store = cluster.open(Object_Store::Access::write);
        store->next_object_id(sensor_of(1));
        store->next_object_id(sensor_of(2));
        cluster.kill(2);
        for (std::uint64_t id = 1; id <= 50; ++id) {
            add(*store, object_of(1, id, static_cast<int>(2 * id)));
            add(*store, object_of(2, id, static_cast<int>(2 * id + 1)));
            expected.insert(expected.end(), 2, id);
        }
        EXPECT_EQ(store->flush(), 50U);
        EXPECT_EQ(ids_of(*store).size(), 50U);
        EXPECT_THAT(store->unanswered(), ElementsAre(HasSubstr("shard 2 (127.0.0.1:")));
    } // the writer ends with them in its spool
    cluster.start(2);
    const auto store = cluster.open(Object_Store::Access::write);
    EXPECT_EQ(store->flush(), 0U);
    EXPECT_EQ(ids_of(*store), expected);
    EXPECT_EQ(count_of(*store), 100U);
    EXPECT_THAT(store->unanswered(), IsEmpty());
}

TEST(Cluster_Live, NothingIsLostOrTwiceWhenAServerIsKilledAgainAndAgainWhileItTakesObjects)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(2);
    const auto store = cluster.open(Object_Store::Access::write);
    std::vector<std::uint64_t> expected;
    std::uint64_t id = 0;
    for (int round = 0; round < 3; ++round) {
        for (int k = 0; k < 400; ++k) {
            ++id;
            add(*store, object_of(1 + k % 2, id, static_cast<int>(id)));
            expected.push_back(id);
        }
        std::thread flushing([&] { store->flush(); });
        std::this_thread::sleep_for(std::chrono::milliseconds(5 * round));
        cluster.kill(1 + round % 2);
        flushing.join();
        cluster.start(1 + round % 2);
    }
    for (int k = 0; k < 40 && store->flush() > 0; ++k)
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
    EXPECT_EQ(ids_of(*store), expected);
    EXPECT_EQ(count_of(*store), expected.size());
    for (const std::uint64_t each : expected)
        ASSERT_TRUE(store->find(sensor_of(1 + static_cast<int>((each - 1) % 2)), each)) << each;
}

TEST(Cluster_Live, ASearchNamesTheShardsThatDoNotAnswerAndDoesNotWaitForThemForLong)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(3);
    const auto store = cluster.open(Object_Store::Access::write);
    for (int sensor = 1; sensor <= 3; ++sensor)
        for (std::uint64_t id = 1; id <= 40; ++id)
            add(*store, object_of(sensor, id, static_cast<int>(id)));
    ASSERT_EQ(store->flush(), 0U);
    EXPECT_EQ(ids_of(*store).size(), 120U);
    cluster.hang(2);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(ids_of(*store).size(), 80U);
    EXPECT_EQ(count_of(*store), 80U);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
    ASSERT_EQ(store->unanswered().size(), 1U);
    EXPECT_THAT(store->unanswered()[0], HasSubstr("shard 2 (127.0.0.1:"));
    EXPECT_THAT(store->unanswered()[0], HasSubstr(": timed out"));
    cluster.kill(3);
    EXPECT_EQ(ids_of(*store).size(), 40U);
    EXPECT_EQ(store->unanswered().size(), 2U);
    cluster.kill(1);
    EXPECT_THROW(ids_of(*store), Failure); // nobody is left
    cluster.go_on(2);
    EXPECT_THROW((void)open_store(cluster.address() + "&wait=1", Object_Store::Access::read),
                 Failure)
        << "the address names a server that is away";
}

TEST(Cluster_Live, AServerThatGoesAwayInTheMiddleOfASearchIsNamed)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(2);
    const auto store = cluster.open(Object_Store::Access::write);
    for (std::uint64_t id = 1; id <= 600; ++id)
        add(*store, object_of(1 + static_cast<int>(id % 2), id, static_cast<int>(id)));
    ASSERT_EQ(store->flush(), 0U);
    std::size_t seen = 0;
    store->visit(filter_of({}), [&](const Found_Record&) {
        if (++seen == 10)
            cluster.kill(2);
        return true;
    });
    EXPECT_GT(seen, 300U); // all of the first shard
    EXPECT_LT(seen, 600U);
    EXPECT_THAT(store->unanswered(), ElementsAre(HasSubstr("shard 2 (127.0.0.1:")));
}

// A proxy before the only server, whose address is the store's.
class Faulty_Proxy {
public:
    Faulty_Proxy(const Live_Cluster& cluster, const std::string& fault) : folder_(cluster.folder())
    {
        set(fault);
        const Cluster_Address address = parse_cluster_address(cluster.address());
        output_of("/usr/bin/python3 -B '" VIDEO_SEARCH_FAULTY_PROXY "' " +
                  std::to_string(address.servers[0].port) + " '" + folder_ + "/fault' > '" +
                  folder_ + "/proxy_port' 2> '" + folder_ + "/proxy_log' & echo $! > '" + folder_ +
                  "/proxy_id'");
        while (port().empty())
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    ~Faulty_Proxy() { output_of("kill $(cat '" + folder_ + "/proxy_id')"); }
    Faulty_Proxy(const Faulty_Proxy&) = delete;
    Faulty_Proxy& operator=(const Faulty_Proxy&) = delete;

    void set(const std::string& fault) const { std::ofstream(folder_ + "/fault") << fault; }

    [[nodiscard]] std::unique_ptr<Object_Store> open(Object_Store::Access access) const
    {
        return open_store("clickhouse://127.0.0.1:" + port() + "/kr?wait=1", access, folder_);
    }

private:
    [[nodiscard]] std::string port() const
    {
        std::string text = text_of(folder_ + "/proxy_port");
        return text.empty() || text.back() != '\n' ? "" : text.substr(0, text.size() - 1);
    }

    const std::string folder_;
};

void expect_once(const Live_Cluster& cluster, Object_Store& store, std::size_t objects)
{
    for (int k = 0; k < 40 && store.flush() > 0; ++k)
        std::this_thread::sleep_for(std::chrono::milliseconds(250));
    EXPECT_EQ(store.flush(), 0U);
    EXPECT_EQ(cluster.number(0, "SELECT count() FROM kr.object_local"), objects);
    EXPECT_EQ(cluster.number(0, "SELECT uniqExact(sensor1, object_id) FROM kr.key_local"), objects);
    EXPECT_EQ(ids_of(store).size(), objects);
}

TEST(Cluster_Live, ABatchWhoseAnswerIsLostOrThatIsCutIsStoredOnce)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(1);
    const Faulty_Proxy proxy(cluster, "pass");
    const auto store = proxy.open(Object_Store::Access::write);
    std::uint64_t id = 0;
    for (const char* const fault : {"lose 1", "cut 1", "lose 2", "cut 3"}) {
        for (int k = 0; k < 50; ++k) {
            ++id;
            add(*store, object_of(1, id, static_cast<int>(id)));
        }
        proxy.set(fault);
        EXPECT_GT(store->flush(), 0U) << fault << " did not happen";
        proxy.set("pass");
        expect_once(cluster, *store, id);
    }
}

TEST(Cluster_Live, WhatAnotherProgramAnswersIsNotTakenForTheServers)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(1);
    const Faulty_Proxy proxy(cluster, "pass");
    const auto store = proxy.open(Object_Store::Access::write);
    add(*store, object_of(1, 1, 1));
    expect_once(cluster, *store, 1);
    for (const char* const fault : {"html", "nothing"}) {
        proxy.set(fault); // "200 OK" to everything
        add(*store, object_of(1, fault[0] == 'h' ? 2 : 3, 2));
        EXPECT_GT(store->flush(), 0U) << fault;
        try {
            (void)ids_of(*store);
            FAIL() << "an answer was made of " << fault;
        } catch (const Failure& failure) {
            EXPECT_THAT(failure.what(), HasSubstr("shard 1 (127.0.0.1:"));
            EXPECT_THAT(failure.what(), HasSubstr("no ClickHouse server"));
        }
    }
    proxy.set("pass");
    expect_once(cluster, *store, 3);
}

TEST(Cluster_Live, ASlowServerIsWaitedForUpToTheTimeThatIsGiven)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(1);
    const Faulty_Proxy proxy(cluster, "pass");
    const auto store = proxy.open(Object_Store::Access::write);
    for (std::uint64_t id = 1; id <= 20; ++id)
        add(*store, object_of(1, id, static_cast<int>(id)));
    proxy.set("slow 0.3");
    expect_once(cluster, *store, 20);
    proxy.set("slow 1.5");
    EXPECT_THROW(ids_of(*store), Failure);
    add(*store, object_of(1, 21, 21));
    EXPECT_EQ(store->flush(), 1U);
    proxy.set("pass");
    std::this_thread::sleep_for(std::chrono::seconds(5)); // for which it is not asked again
    expect_once(cluster, *store, 21);
}

TEST(Cluster_Live, ObjectsWaitWhileTheServersDiskIsFull)
{
    SKIP_WITHOUT_SERVER();
    const std::string folder = fresh_folder();
    const std::string data = folder + "/s1/data";
    std::filesystem::create_directories(data);
    if (std::system(("mount -t tmpfs -o size=64m tmpfs '" + data + "' 2>/dev/null").c_str()) != 0)
        GTEST_SKIP() << "a small disk cannot be mounted: it needs root's rights";
    {
        const Live_Cluster cluster(1, folder);
        const auto store = cluster.open(Object_Store::Access::write);
        add(*store, object_of(1, 1, 0));
        EXPECT_EQ(store->flush(), 0U);
        (void)std::system(("dd if=/dev/zero of='" + data + "/filler' bs=64k 2>/dev/null").c_str());
        for (std::uint64_t id = 2; id <= 300; ++id)
            add(*store, object_of(1, id, static_cast<int>(id)));
        EXPECT_EQ(store->flush(), 299U);
        EXPECT_EQ(ids_of(*store).size(), 1U);
        std::filesystem::remove(data + "/filler");
        expect_once(cluster, *store, 300);
        cluster.kill(1);
        EXPECT_EQ(std::system(("umount '" + data + "'").c_str()), 0);
    }
}

// Retention

TEST(Cluster_Live, WhatIsTooOldIsRemovedAndNotFoundWhenItComesLate)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(1);
    const ACE_Time_Value now(std::time(nullptr));
    const auto add_aged = [&](Object_Store& store, std::uint64_t id, int days) {
        KR_ObjectBase object = object_of(1, id, 0);
        object.FirstSeenTime = now - ACE_Time_Value(days * 86'400);
        add(store, object);
    };
    {
        const auto store = cluster.open(Object_Store::Access::write);
        add_aged(*store, 1, 400);
        add_aged(*store, 2, 10);
        ASSERT_EQ(store->flush(), 0U);
    }
    const auto store = cluster.open(Object_Store::Access::write, "&keep=30");
    for (int k = 0; k < 50 && cluster.number(0, "SELECT count() FROM kr.object_local") > 1; ++k)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(cluster.number(0, "SELECT count() FROM kr.object_local"), 1U);
    EXPECT_EQ(cluster.number(0, "SELECT count() FROM kr.key_local"), 1U);
    add_aged(*store, 3, 31);
    add_aged(*store, 4, 29);
    ASSERT_EQ(store->flush(), 0U);
    EXPECT_THAT(ids_of(*store), ElementsAre(4U, 2U));
    EXPECT_EQ(count_of(*store), 2U);
    EXPECT_FALSE(store->find(sensor_of(1), 3));
    EXPECT_TRUE(store->find(sensor_of(1), 4));
    EXPECT_EQ(cluster.number(0, "SELECT count() FROM system.mutations"), 0U); // nothing to delete
}

TEST(Cluster_Live, RecordingsThatAreTooOldAreRemoved)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(1);
    {
        const auto store = cluster.open(Object_Store::Access::write);
        store->put(some_recording("old", 10));
        Recording recent = some_recording("recent", 10);
        recent.end = ACE_Time_Value(std::time(nullptr));
        store->put(recent);
        ASSERT_EQ(store->flush(), 0U);
    }
    const auto store = cluster.open(Object_Store::Access::write, "&keep=30");
    for (int k = 0; k < 100 && store->recordings().size() > 1; ++k)
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ASSERT_EQ(store->recordings().size(), 1U);
    EXPECT_EQ(store->recordings()[0].run, "recent");
}

// Other tables

std::string failure_of_opening(const Live_Cluster& cluster, Object_Store::Access access)
{
    try {
        (void)cluster.open(access);
    } catch (const Failure& failure) {
        return failure.what();
    }
    return "";
}

TEST(Cluster_Live, AStoreOfALaterVersionIsLeftAsItIs)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(1);
    const auto tell = [&](const std::string& sql) {
        EXPECT_EQ(Cluster(parse_cluster_address(cluster.address())).ask({0, sql, "", ""}).failure,
                  "");
    };
    tell("CREATE DATABASE kr");
    tell("CREATE TABLE kr.version_local (version UInt32) ENGINE = ReplacingMergeTree ORDER BY "
         "version");
    tell("INSERT INTO kr.version_local VALUES (2)");
    for (const Object_Store::Access access :
         {Object_Store::Access::write, Object_Store::Access::read})
        EXPECT_THAT(failure_of_opening(cluster, access), HasSubstr(" is of a later version, 2"));
    EXPECT_EQ(cluster.number(0, "SELECT count() FROM system.tables WHERE database = 'kr'"), 1U);
    EXPECT_EQ(cluster.number(0, "SELECT count() FROM kr.version_local"), 1U);
}

TEST(Cluster_Live, AServerThatComesBackEmptyGetsItsTables)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(1);
    const auto store = cluster.open(Object_Store::Access::write);
    add(*store, object_of(1, 1, 1));
    ASSERT_EQ(store->flush(), 0U);
    EXPECT_EQ(Cluster(parse_cluster_address(cluster.address()))
                  .ask({0, "DROP DATABASE kr", "", ""})
                  .failure,
              "");
    add(*store, object_of(1, 2, 2));
    expect_once(cluster, *store, 1);
    EXPECT_THAT(ids_of(*store), ElementsAre(2U));
}

// All of it at once, as somebody does who edits the servers' configuration.
TEST(Cluster_Live, ShardsInAnotherOrderAreRefused)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(2);
    {
        const auto store = cluster.open(Object_Store::Access::write);
        add(*store, object_of(1, store->next_object_id(sensor_of(1)), 1));
        ASSERT_EQ(store->flush(), 0U);
    }
    output_of("for f in '" + cluster.folder() +
              "'/s?/config.xml; do /usr/bin/python3 - \"$f\" <<'END'\n"
              "import re, sys\n"
              "text = open(sys.argv[1]).read()\n"
              "text = re.sub(r'(<shard>.*</shard>)\\n(<shard>.*</shard>)', r'\\2\\n\\1', "
              "text)\n"
              "open(sys.argv[1], 'w').write(text)\n"
              "END\ndone");
    for (const int server : {1, 2}) {
        cluster.kill(server);
        cluster.start(server);
    }
    for (const Object_Store::Access access :
         {Object_Store::Access::write, Object_Store::Access::read})
        EXPECT_THAT(failure_of_opening(cluster, access),
                    HasSubstr("has other shards, or in another order"));
    Spool three(cluster.folder() + "/three.spool", "store", 3, 1000);
    EXPECT_THROW(Sender(parse_cluster_address(cluster.address()), three), Failure);
}

// Access

TEST(Cluster_Live, AsksForCredentialsAndKeepsThemToItself)
{
    SKIP_WITHOUT_SERVER();
    const std::string folder = fresh_folder();
    ::setenv("KR_CLUSTER_USER", "writer", 1);
    ::setenv("KR_CLUSTER_PASSWORD", "se<cr&et", 1);
    const Live_Cluster cluster(1, folder);
    ::unsetenv("KR_CLUSTER_USER");
    ::unsetenv("KR_CLUSTER_PASSWORD");
    try {
        (void)cluster.open(Object_Store::Access::write);
        FAIL() << "it let anybody in";
    } catch (const Failure& failure) {
        EXPECT_THAT(failure.what(), HasSubstr("HTTP "));
    }
    const std::string file = folder + "/credentials";
    std::ofstream(file) << "writer\nsecret\n";
    try {
        (void)cluster.open(Object_Store::Access::write, "&credentials=" + file);
        FAIL() << "it took another password";
    } catch (const Failure& failure) {
        EXPECT_THAT(failure.what(), HasSubstr(": HTTP 401: "));
        EXPECT_THAT(failure.what(), testing::Not(HasSubstr("secret")));
        EXPECT_THAT(failure.what(), testing::Not(HasSubstr("writer")));
    }
    std::ofstream(file) << "writer\nse<cr&et\n";
    const auto store = cluster.open(Object_Store::Access::write, "&credentials=" + file);
    add(*store, object_of(1, 1, 0));
    EXPECT_EQ(store->flush(), 0U);
    EXPECT_EQ(count_of(*store), 1U);
}

TEST(Cluster_Live, OfNoStoreThereIsNothingToRead)
{
    SKIP_WITHOUT_SERVER();
    const Live_Cluster cluster(1);
    EXPECT_THROW((void)cluster.open(Object_Store::Access::read), Failure);
    (void)cluster.open(Object_Store::Access::write);
    EXPECT_EQ(count_of(*cluster.open(Object_Store::Access::read)), 0U);
    EXPECT_EQ(cluster.open(Object_Store::Access::read)->last_row(), 0);
    EXPECT_THROW(cluster.open(Object_Store::Access::read)->put(some_recording("run", 0)), Failure);
}

} // namespace

} // namespace video_search

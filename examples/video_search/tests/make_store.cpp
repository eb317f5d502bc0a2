// make_store STORE COUNT [BYTES [RATE [SENSORS]]]: a store of so many objects, for measuring searches;
// with thumbnails of so many bytes, 64 unless told. They are the same in every run: one each second, or
// RATE, from 20 sensors, or so many, who walk on straight lines through a picture of 768 x 576 pixels,
// most of them persons, with colours as clothes have them, dark ones above all. In one transaction, and
// without an index, which search_times makes.
//
// A store on a cluster gets batches as kr_analyse sends them, from two threads; how fast that was is
// told at the end.

#include "host/Host.h"

#include "Search_Testing.h"

#ifdef VIDEO_SEARCH_CLICKHOUSE
#include "store/Cluster.h"
#include "store/Cluster_Tables.h"
#include "store/Row_Binary.h"
#include "store/Store_Query.h"
#endif

#include <SQLiteCpp/SQLiteCpp.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <map>
#include <random>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using namespace video_search;

namespace {

constexpr const char* run = "00000000-0000-4000-8000-000000000001";

struct Cloth {
    int weight; // so many of a hundred
    int red, green, blue;
};

constexpr std::array clothes{
    Cloth{30, 25, 25, 28},    Cloth{18, 120, 122, 125}, Cloth{14, 40, 60, 100},
    Cloth{10, 230, 230, 230}, Cloth{8, 110, 80, 50},    Cloth{6, 110, 155, 200},
    Cloth{5, 150, 40, 45},    Cloth{3, 45, 100, 45},    Cloth{2, 205, 195, 90},
    Cloth{2, 215, 135, 55},   Cloth{1, 205, 135, 140},  Cloth{1, 135, 65, 155},
};

struct Amount {
    std::uint64_t objects = 0;
    std::size_t thumbnail = 64; ///< bytes
    unsigned rate = 1;          ///< objects a second
    unsigned sensors = 20;
};

class Generator {
public:
    explicit Generator(const Amount& amount, unsigned seed = std::mt19937::default_seed)
        : amount_(amount), random_(seed)
    {
    }

    KR_ObjectBase make(std::uint64_t id)
    {
        constexpr int least = 4;
        const int instances = std::clamp(static_cast<int>(std::exp(normal(2.3F, 0.5F))), least, 60);
        KR_ObjectBase object = test_object(id, static_cast<int>(id / amount_.rate), instances - 1);
        object.SensorId.word1 = 1 + below(amount_.sensors);
        object.Duration = static_cast<std::uint32_t>(std::exp(normal(2.5F, 0.8F)));
        const float person = std::clamp(normal(0.75F, 0.2F), 0.0F, 1.0F);
        object.ClassScores[0] = person;
        object.ClassScores[2] = 1 - person;
        walk(object);
        dress(object);
        object.AuxiliaryData->assign(amount_.thumbnail, 0x5A);
        return object;
    }

private:
    int below(unsigned end) { return static_cast<int>(random_() % end); }
    float normal(float mean, float deviation)
    {
        return std::normal_distribution<float>(mean, deviation)(random_);
    }

    void walk(KR_ObjectBase& object)
    {
        auto x = static_cast<float>(below(768));
        auto y = static_cast<float>(100 + below(476));
        const float dx = normal(0, 10);
        const float dy = normal(0, 4);
        for (KR_ObjectBase::Instance& instance : object.Instances) {
            instance.Box = Geom_Box2D<float>(x - 15, y - 80, x + 15, y);
            instance.PointX = x;
            instance.PointY = y;
            x += dx;
            y += dy;
        }
    }

    const Cloth& cloth()
    {
        int chosen = below(100);
        for (const Cloth& each : clothes)
            if ((chosen -= each.weight) < 0)
                return each;
        return clothes[0];
    }

    void dress(KR_ObjectBase& object)
    {
        const std::array<Cloth, 3> worn{cloth(), cloth(), cloth()};
        for (KR_ObjectBase::Instance& instance : object.Instances) {
            instance.PersonValue = 100 * object.ClassScores[0];
            float area = 55;
            for (const Cloth& each : worn) {
                const auto shade = [&](int value) {
                    return std::clamp(value + below(11) - 5, 0, 255);
                };
                instance.Colors.push_back(
                    color_area(shade(each.red), shade(each.green), shade(each.blue), area));
                area -= 20;
            }
        }
    }

    const Amount amount_;
    std::mt19937 random_; // NOLINT(cert-msc51-cpp): the same objects in every run
};

void put_recording(Object_Store& store, const Amount& amount)
{
    Recording recording;
    recording.run = run;
    recording.video = "synthetic";
    recording.sensor.word1 = 1;
    recording.start = second(0);
    recording.end = second(static_cast<int>(amount.objects / amount.rate));
    recording.width = 768;
    recording.height = 576;
    recording.state = "complete";
    store.put(recording);
}

void make(const char* file, const Amount& amount)
{
    {
        Store store(file, Store::Access::write);
        put_recording(store, amount);
    }
    SQLite::Database database(file, SQLite::OPEN_READWRITE);
    database.exec("PRAGMA synchronous = OFF");
    SQLite::Transaction transaction(database);
    SQLite::Statement insertion(database, "INSERT INTO object (sensor1, sensor2, object_id, run, "
                                          "first_seen_us, record) VALUES (?, ?, ?, ?, ?, ?)");
    Generator generator(amount);
    for (std::uint64_t id = 1; id <= amount.objects; ++id) {
        const KR_ObjectBase object = generator.make(id);
        const Bytes record = encode(object, 1'000'000);
        insertion.reset();
        insertion.bind(1, object.SensorId.word1);
        insertion.bind(2, object.SensorId.word2);
        insertion.bind(3, static_cast<std::int64_t>(id));
        insertion.bind(4, run);
        insertion.bind(5, std::int64_t{object.FirstSeenTime.sec()} * 1'000'000);
        insertion.bindNoCopy(6, record.data(), static_cast<int>(record.size()));
        insertion.exec();
    }
    transaction.commit();
}

#ifdef VIDEO_SEARCH_CLICKHOUSE

// So many objects in the order of their times are three batches of 10,000 for three shards.
constexpr std::uint64_t block = 30'000;

void send(Cluster& cluster, std::uint64_t number, Row_Kind kind, std::size_t shard,
          std::string rows)
{
    const Cluster::Answer answer =
        cluster.ask({shard, insertion_of(kind, cluster.address().database), std::move(rows),
                     "make" + std::to_string(number)});
    if (!answer.is_there())
        throw Failure(answer.failure);
}

// A batch for each shard and day.
void send_block(Cluster& cluster, Generator& generator, std::uint64_t first, std::uint64_t last)
{
    std::map<std::pair<std::size_t, std::int64_t>, Row_Writer> batches;
    for (std::uint64_t id = first; id <= last; ++id) {
        const KR_ObjectBase object = generator.make(id);
        const std::int64_t time = to_microseconds(object.FirstSeenTime);
        Row_Writer& rows = batches[{cluster.shard_of(place_of(object.SensorId)), day_of(time)}];
        rows.number(first);
        rows.raw(row_of(run, object, encode(object, 1'000'000), time));
    }
    for (const auto& [place, rows] : batches)
        send(cluster, first, Row_Kind::object, place.first, rows.bytes());
}

void make_in_cluster(const std::string& address, const Amount& amount)
{
    constexpr unsigned threads = 2;
    put_recording(*open_store(address, Object_Store::Access::write), amount);
    using Clock = std::chrono::steady_clock;
    const Clock::time_point begin = Clock::now();
    std::atomic<std::uint64_t> next{1};
    std::atomic<bool> has_failed{false};
    const auto work = [&] {
        try {
            Cluster cluster(parse_cluster_address(address + "&wait=120"));
            for (std::uint64_t first = next.fetch_add(block);
                 first <= amount.objects && !has_failed; first = next.fetch_add(block)) {
                Generator generator(amount, static_cast<unsigned>(first));
                send_block(cluster, generator, first, std::min(first + block - 1, amount.objects));
            }
        } catch (const std::exception& error) {
            std::fprintf(stderr, "make_store: %s\n", error.what());
            has_failed = true;
        }
    };
    std::vector<std::thread> workers;
    for (unsigned k = 0; k < threads; ++k)
        workers.emplace_back(work);
    for (std::thread& worker : workers)
        worker.join();
    if (has_failed)
        throw Failure("not all objects are in the store");
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    std::printf("%.0f objects in %.1f s, %.0f objects/s\n", static_cast<double>(amount.objects),
                seconds, static_cast<double>(amount.objects) / seconds);
}

#else

void make_in_cluster(const std::string&, const Amount&)
{
    throw Failure("this program was built without clusters");
}

#endif

Amount amount_of(int argc, char** argv)
{
    Amount amount;
    amount.objects = std::strtoull(argv[2], nullptr, 10);
    if (argc > 3)
        amount.thumbnail = std::strtoul(argv[3], nullptr, 10);
    if (argc > 4)
        amount.rate = static_cast<unsigned>(std::max(std::strtoul(argv[4], nullptr, 10), 1UL));
    if (argc > 5)
        amount.sensors = static_cast<unsigned>(std::max(std::strtoul(argv[5], nullptr, 10), 1UL));
    return amount;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 3 || argc > 6) {
        std::fprintf(stderr, "usage: make_store STORE COUNT [BYTES [RATE [SENSORS]]]\n");
        return 2;
    }
    try {
        const Amount amount = amount_of(argc, argv);
        if (is_cluster(argv[1]))
            make_in_cluster(argv[1], amount);
        else
            make(argv[1], amount);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make_store: %s\n", error.what());
        return 1;
    }
    return 0;
}

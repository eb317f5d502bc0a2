// make_store FILE COUNT [BYTES]: a store of so many objects, for measuring searches; with thumbnails
// of so many bytes, 64 unless told. They are the same in every run: one each second from 20 sensors,
// who walk on straight lines through a picture of 768 x 576 pixels, most of them persons, with colours
// as clothes have them, dark ones above all. In one transaction, and without an index, which
// search_times makes.

#include "Search_Testing.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <random>

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

class Generator {
public:
    explicit Generator(std::size_t thumbnail) : thumbnail_(thumbnail) {}

    KR_ObjectBase make(std::uint64_t id)
    {
        constexpr int least = 4;
        const int instances = std::clamp(static_cast<int>(std::exp(normal(2.3F, 0.5F))), least, 60);
        KR_ObjectBase object = test_object(id, static_cast<int>(id), instances - 1);
        object.SensorId.word1 = 1 + below(20);
        object.Duration = static_cast<std::uint32_t>(std::exp(normal(2.5F, 0.8F)));
        const float person = std::clamp(normal(0.75F, 0.2F), 0.0F, 1.0F);
        object.ClassScores[0] = person;
        object.ClassScores[2] = 1 - person;
        walk(object);
        dress(object);
        object.AuxiliaryData->assign(thumbnail_, 0x5A);
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

    const std::size_t thumbnail_;
    std::mt19937 random_; // NOLINT(cert-msc51-cpp): the same objects in every run
};

void put_recording(Store& store, std::uint64_t count)
{
    Recording recording;
    recording.run = run;
    recording.video = "synthetic";
    recording.sensor.word1 = 1;
    recording.start = second(0);
    recording.end = second(static_cast<int>(count));
    recording.width = 768;
    recording.height = 576;
    recording.state = "complete";
    store.put(recording);
}

void make(const char* file, std::uint64_t count, std::size_t thumbnail)
{
    {
        Store store(file, Store::Access::write);
        put_recording(store, count);
    }
    SQLite::Database database(file, SQLite::OPEN_READWRITE);
    database.exec("PRAGMA synchronous = OFF");
    SQLite::Transaction transaction(database);
    SQLite::Statement insertion(database, "INSERT INTO object (sensor1, sensor2, object_id, run, "
                                          "first_seen_us, record) VALUES (?, ?, ?, ?, ?, ?)");
    Generator generator(thumbnail);
    for (std::uint64_t id = 1; id <= count; ++id) {
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

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3 && argc != 4) {
        std::fprintf(stderr, "usage: make_store FILE COUNT [BYTES]\n");
        return 2;
    }
    try {
        make(argv[1], std::strtoull(argv[2], nullptr, 10),
             argc == 4 ? std::strtoul(argv[3], nullptr, 10) : 64);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make_store: %s\n", error.what());
        return 1;
    }
    return 0;
}

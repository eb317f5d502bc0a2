#pragma once

/// \file
/// What the benchmarks of the record share: objects, the same in every run, and their records.

#include <KRCommon/objects/Objects.h>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <map>
#include <random>
#include <tuple>
#include <vector>

namespace kr_record_bench {

using Bytes = std::vector<unsigned char>;
using Instance = KR_ObjectBase::Instance;

constexpr unsigned no_limit = std::numeric_limits<unsigned>::max();
constexpr std::size_t colors_per_instance = 3;
constexpr std::size_t auxiliary_size = 200;
constexpr std::int64_t midnight = 1'700'006'400; // of the day on which all objects are seen
constexpr std::int32_t seconds_a_day = 86'400;

// Objects with values that the record keeps exactly.

class Random {
public:
    std::uint32_t below(std::uint32_t end) { return static_cast<std::uint32_t>(engine_()) % end; }
    std::int32_t number(std::int32_t end) // in [0, end)
    {
        return static_cast<std::int32_t>(below(static_cast<std::uint32_t>(end)));
    }
    std::uint8_t byte() { return static_cast<std::uint8_t>(below(256)); }
    float tenths(std::uint32_t end) { return static_cast<float>(below(end)) / 10.0F; }

private:
    std::mt19937 engine_; // NOLINT(cert-msc51-cpp): the same objects in every run
};

inline ns__RgbColorArea make_color(Random& random)
{
    ns__RgbColorArea color;
    color.color.red = random.byte();
    color.color.green = random.byte();
    color.color.blue = random.byte();
    color.area = static_cast<float>(random.below(101));
    color.code = random.number(14);
    return color;
}

inline void append_instance(KR_ObjectBase& object, Random& random, std::size_t colors)
{
    const auto seconds = static_cast<std::int64_t>(object.Instances.size()) / 5;
    Instance& instance = object.Instances.emplace_back();
    instance.Time.set(object.FirstSeenTime.sec() + seconds, random.number(1'000'000));
    instance.PersonValue = static_cast<float>(random.below(101));
    instance.VehicleValue = static_cast<float>(random.below(101));
    instance.ObjectValue = static_cast<float>(random.below(101));
    instance.UnknownValue = static_cast<float>(random.below(101));
    const float x = random.tenths(19'000);
    const float y = random.tenths(10'000);
    instance.Box = {x, y, x + random.tenths(2'000), y + random.tenths(2'000)};
    instance.Float1 = random.tenths(1'000);
    instance.Float2 = random.tenths(1'000);
    instance.Flag = static_cast<std::uint8_t>(random.below(2));
    for (float& value : instance.Group)
        value = random.tenths(1'000);
    instance.Number = random.number(256) - 128;
    for (std::size_t i = 0; i < colors; ++i)
        instance.Colors.push_back(make_color(random));
    instance.PointX = random.tenths(19'200);
    instance.PointY = random.tenths(10'800);
}

inline KR_ObjectBase make_object(Random& random, std::size_t instances, std::size_t colors)
{
    KR_ObjectBase object;
    object.SensorId.word1 = random.number(1'000);
    object.SensorId.word2 = random.number(10);
    object.ObjectId = std::uint64_t{random.below(1U << 20)} << 32 | random.below(1U << 30);
    object.DetectorType = static_cast<ns__DetectorType>(random.number(2));
    object.FirstSeenTime.set(midnight + random.number(seconds_a_day), random.number(1'000'000));
    object.Word1 = random.number(1'000);
    object.Word2 = random.number(1'000);
    object.SecondTime.set(object.FirstSeenTime.sec() + 60, random.number(1'000'000));
    object.StatisticsWord1 = random.number(1'000);
    object.StatisticsWord2 = random.number(1'000);
    object.Duration = random.below(60);
    for (float& score : object.ClassScores)
        score = random.tenths(1'000);
    object.StatisticsWord7 = random.number(1'000);
    object.StatisticsWord8 = random.number(1'000);
    object.Instances.reserve(instances);
    for (std::size_t i = 0; i < instances; ++i)
        append_instance(object, random, colors);
    for (std::size_t i = 0; i < auxiliary_size; ++i)
        object.AuxiliaryData->push_back(random.byte());
    return object;
}

inline void require(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "wrong result: %s\n", what);
    std::abort();
}

// Whether two objects have the same content, as far as a record holds it.

inline auto fields(const ns__RgbColorArea& color)
{
    return std::tie(color.color.red, color.color.green, color.color.blue, color.area, color.code);
}

inline auto fields(const Instance& instance)
{
    const Geom_Box2D<float>& box = instance.Box;
    return std::tie(instance.Time, instance.PersonValue, instance.VehicleValue,
                    instance.ObjectValue, instance.UnknownValue, box.MinX, box.MinY, box.MaxX,
                    box.MaxY, box.IsSet, instance.Float1, instance.Float2, instance.Flag,
                    instance.Group[0], instance.Group[1], instance.Group[2], instance.Group[3],
                    instance.Number, instance.PointX, instance.PointY);
}

inline auto fields(const KR_ObjectBase& object)
{
    return std::tie(object.SensorId.word1, object.SensorId.word2, object.ObjectId,
                    object.DetectorType, object.FirstSeenTime, object.Word1, object.Word2,
                    object.SecondTime, object.StatisticsWord1, object.StatisticsWord2,
                    object.Duration, object.ClassScores[0], object.ClassScores[1],
                    object.ClassScores[2], object.StatisticsWord7, object.StatisticsWord8,
                    *object.AuxiliaryData);
}

inline bool same_color(const ns__RgbColorArea& one, const ns__RgbColorArea& other)
{
    return fields(one) == fields(other);
}

inline bool same_instance(const Instance& one, const Instance& other)
{
    return fields(one) == fields(other) &&
           std::equal(one.Colors.begin(), one.Colors.end(), other.Colors.begin(),
                      other.Colors.end(), same_color);
}

inline bool same_content(const KR_ObjectBase& one, const KR_ObjectBase& other)
{
    return fields(one) == fields(other) &&
           std::equal(one.Instances.begin(), one.Instances.end(), other.Instances.begin(),
                      other.Instances.end(), same_instance);
}

// The same objects with their records, all of one length.
struct Record_Set {
    explicit Record_Set(std::size_t instances);

    std::vector<KR_ObjectBase> objects;
    std::vector<Bytes> records;
};

// Enough of them that a processor cannot learn their branches, few enough for its caches.
inline std::size_t objects_with(std::size_t instances)
{
    return std::clamp<std::size_t>(2'400 / instances, 8, 64);
}

inline Bytes checked_record_of(const KR_ObjectBase& object)
{
    Bytes record(object.serialize_size(no_limit));
    const auto length = static_cast<unsigned>(record.size());
    require(object.serialize(record.data(), no_limit) == length, "the length of the record");
    KR_ObjectBase decoded;
    require(KR_ObjectBase::deserialize(record.data(), length, &decoded) == length &&
                same_content(object, decoded),
            "the decoded record");
    return record;
}

inline Record_Set::Record_Set(std::size_t instances)
{
    Random random;
    for (std::size_t i = 0; i < objects_with(instances); ++i) {
        objects.push_back(make_object(random, instances, colors_per_instance));
        records.push_back(checked_record_of(objects.back()));
    }
}

inline Record_Set& record_set(const benchmark::State& state)
{
    static std::map<std::size_t, Record_Set> sets;
    const auto instances = static_cast<std::size_t>(state.range(0));
    return sets.try_emplace(instances, instances).first->second;
}

// The benchmarks.

template <typename Inputs, typename Action>
inline void run_in_turn(benchmark::State& state, Inputs& inputs, Action action)
{
    std::size_t next = 0;
    for (auto _ : state) {
        action(inputs[next]);
        benchmark::ClobberMemory();
        next = next + 1 < inputs.size() ? next + 1 : 0;
    }
}

inline void report_size(benchmark::State& state, std::size_t bytes)
{
    state.counters["bytes"] = static_cast<double>(bytes);
}

inline void instance_counts(benchmark::internal::Benchmark* each)
{
    each->Arg(1)->Arg(30)->Arg(300);
}

} // namespace kr_record_bench

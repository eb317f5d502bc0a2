#pragma once

/// \file
/// What the benchmarks of the record share: objects, the same in every run, and their form as
/// FlatBuffers tables.

#include <KRCommon/objects/Objects.h>

#include <Objects_bench_generated.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <limits>
#include <random>
#include <utility>
#include <vector>

namespace kr_record_bench {

namespace flat = kr_bench::flat;

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
// An object as a FlatBuffers table and back.

inline flat::Color to_flat(const ns__RgbColorArea& color)
{
    return {color.color.red, color.color.green, color.color.blue,
            static_cast<std::int8_t>(color.area), static_cast<std::int8_t>(color.code)};
}

inline flat::Observation to_flat(const Instance& instance)
{
    const Geom_Box2D<float>& box = instance.Box;
    return {static_cast<std::int32_t>(instance.Time.sec()),
            static_cast<std::int32_t>(instance.Time.usec()),
            static_cast<std::int8_t>(instance.PersonValue),
            static_cast<std::int8_t>(instance.VehicleValue),
            static_cast<std::int8_t>(instance.ObjectValue),
            static_cast<std::int8_t>(instance.UnknownValue),
            flat::Box(box.MinX, box.MinY, box.MaxX, box.MaxY),
            instance.Float1,
            instance.Float2,
            flatbuffers::span<const float, 4>(instance.Group),
            instance.PointX,
            instance.PointY,
            instance.Flag,
            static_cast<std::int8_t>(instance.Number)};
}

inline flat::Time to_flat(const ACE_Time_Value& time)
{
    return {time.sec(), static_cast<std::int32_t>(time.usec())};
}

inline flat::Statistics statistics_of(const KR_ObjectBase& object)
{
    return {object.StatisticsWord1, object.StatisticsWord2,
            object.Duration,        flatbuffers::span<const float, 3>(object.ClassScores),
            object.StatisticsWord7, object.StatisticsWord8};
}

class Flat_Writer {
public:
    // The bytes, in the builder, stay valid until the next call.
    flatbuffers::FlatBufferBuilder& write(const KR_ObjectBase& object)
    {
        builder_.Clear();
        instances_.clear();
        for (const Instance& instance : object.Instances)
            instances_.push_back(write(instance));
        const auto instances = builder_.CreateVector(instances_);
        const auto auxiliary_data = builder_.CreateVector(*object.AuxiliaryData);
        const flat::Sensor sensor(object.SensorId.word1, object.SensorId.word2);
        const flat::Time first_seen = to_flat(object.FirstSeenTime);
        const flat::Time second = to_flat(object.SecondTime);
        const flat::Statistics statistics = statistics_of(object);
        builder_.Finish(flat::CreateRecord(builder_, &sensor, object.ObjectId, object.DetectorType,
                                           &first_seen, object.Word1, object.Word2, &second,
                                           &statistics, instances, auxiliary_data));
        return builder_;
    }

private:
    flatbuffers::Offset<flat::Instance> write(const Instance& instance)
    {
        flat::Color* color = nullptr;
        const auto colors =
            builder_.CreateUninitializedVectorOfStructs(instance.Colors.size(), &color);
        for (const ns__RgbColorArea& each : instance.Colors)
            *color++ = to_flat(each);
        const flat::Observation observation = to_flat(instance);
        return flat::CreateInstance(builder_, &observation, colors);
    }

    flatbuffers::FlatBufferBuilder builder_;
    std::vector<flatbuffers::Offset<flat::Instance>> instances_;
};
inline void require(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "wrong result: %s\n", what);
    std::abort();
}
} // namespace kr_record_bench

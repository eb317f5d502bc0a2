#pragma once

/// \file
/// The form of an object as a FlatBuffers table, for the benchmarks.

#include <KRCommon/objects/Objects_bench.h>

#include <Objects_bench_generated.h>

#include <cstdint>
#include <vector>

namespace kr_record_bench {

namespace flat = kr_bench::flat;

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

} // namespace kr_record_bench

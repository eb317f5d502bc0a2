#pragma once

/// \file
/// Rows of records, instances and colours, from a record where it lies into the columns of a host. One
/// place says which member goes into which column, for a record by itself and for scans.
///
/// Threads: no state. Nothing throws.

#include <KRCommon/capi/Call.h>
#include <KRCommon/objects/Object_View.h>

#include <cstddef>
#include <cstdint>

namespace kr_internal::c {

/// Rows are written to columns from `next` on, before `end`; the first `skip` ones of the record are
/// passed over, and reach 0 on the way.
struct Room {
    std::size_t next = 0;
    std::size_t end = 0;
    std::size_t skip = 0;

    [[nodiscard]] bool is_full() const noexcept { return next == end; }
};

template <typename Number, typename Value>
void put(Number* column, std::size_t row, Value value) noexcept
{
    if (column != nullptr)
        column[row] = static_cast<Number>(value);
}

/// The fields of the fixed block, for a struct and for a row of columns alike.
template <typename Put>
void each_field(const KR_Object_View& view, Put put_field)
{
    put_field(&kr_c_record_fields::object_id, &kr_c_record_columns::object_id, view.object_id());
    put_field(&kr_c_record_fields::detector_type, &kr_c_record_columns::detector_type,
              static_cast<std::int32_t>(view.detector_type()));
    put_field(&kr_c_record_fields::first_seen_time, &kr_c_record_columns::first_seen_time,
              to_microseconds(view.first_seen_time()));
    put_field(&kr_c_record_fields::second_time, &kr_c_record_columns::second_time,
              to_microseconds(view.second_time()));
    const ns__SensorId sensor = view.sensor_id();
    put_field(&kr_c_record_fields::sensor_word1, &kr_c_record_columns::sensor_word1, sensor.word1);
    put_field(&kr_c_record_fields::sensor_word2, &kr_c_record_columns::sensor_word2, sensor.word2);
    put_field(&kr_c_record_fields::word1, &kr_c_record_columns::word1, view.word1());
    put_field(&kr_c_record_fields::word2, &kr_c_record_columns::word2, view.word2());
    put_field(&kr_c_record_fields::statistics_word1, &kr_c_record_columns::statistics_word1,
              view.statistics_word1());
    put_field(&kr_c_record_fields::statistics_word2, &kr_c_record_columns::statistics_word2,
              view.statistics_word2());
    put_field(&kr_c_record_fields::duration, &kr_c_record_columns::duration, view.duration());
    put_field(&kr_c_record_fields::statistics_word7, &kr_c_record_columns::statistics_word7,
              view.statistics_word7());
    put_field(&kr_c_record_fields::statistics_word8, &kr_c_record_columns::statistics_word8,
              view.statistics_word8());
}

inline void put_fields(const KR_Object_View& view, kr_c_record_fields& fields)
{
    each_field(view, [&](auto member, auto, auto value) { fields.*member = value; });
    const auto scores = view.class_scores();
    for (std::size_t i = 0; i < scores.size(); ++i)
        fields.class_scores[i] = scores[i];
}

inline void put_fields(const KR_Object_View& view, const kr_c_record_columns& columns,
                       std::size_t row)
{
    each_field(view, [&](auto, auto column, auto value) { put(columns.*column, row, value); });
    if (columns.class_scores == nullptr)
        return;
    const auto scores = view.class_scores();
    for (std::size_t i = 0; i < scores.size(); ++i)
        columns.class_scores[row * scores.size() + i] = scores[i];
}

inline void put_instance(const KR_Instance_View& instance, const kr_c_instance_columns& columns,
                         std::size_t row)
{
    if (columns.time != nullptr)
        columns.time[row] = to_microseconds(instance.time());
    put(columns.person_value, row, instance.person_value());
    put(columns.vehicle_value, row, instance.vehicle_value());
    put(columns.object_value, row, instance.object_value());
    put(columns.unknown_value, row, instance.unknown_value());
    const Geom_Box2D<float> box = instance.box();
    put(columns.min_x, row, box.MinX);
    put(columns.min_y, row, box.MinY);
    put(columns.max_x, row, box.MaxX);
    put(columns.max_y, row, box.MaxY);
    put(columns.float1, row, instance.float1());
    put(columns.float2, row, instance.float2());
    if (columns.group != nullptr) {
        const auto group = instance.group();
        for (std::size_t i = 0; i < group.size(); ++i)
            columns.group[row * group.size() + i] = group[i];
    }
    put(columns.point_x, row, instance.point_x());
    put(columns.point_y, row, instance.point_y());
    put(columns.number, row, instance.number());
    put(columns.flag, row, instance.flag());
    put(columns.color_count, row, instance.colors().size());
}

/// The record's instances. Stops when the room is full; false when a row is left then.
inline bool put_instances(const KR_Object_View& view, std::uint64_t position,
                          const kr_c_instance_columns& columns, Room& room)
{
    std::uint32_t index = 0;
    for (const KR_Instance_View instance : view.instances()) {
        if (room.skip > 0) {
            --room.skip;
        } else if (room.is_full()) {
            return false;
        } else {
            put(columns.record_position, room.next, position);
            put(columns.instance, room.next, index);
            put_instance(instance, columns, room.next);
            ++room.next;
        }
        ++index;
    }
    return true;
}

/// The same of the colours of its instances.
inline bool put_colors(const KR_Object_View& view, std::uint64_t position,
                       const kr_c_color_columns& columns, Room& room)
{
    std::uint32_t index = 0;
    for (const KR_Instance_View instance : view.instances()) {
        for (const KR_Color_View color : instance.colors()) {
            if (room.skip > 0) {
                --room.skip;
                continue;
            }
            if (room.is_full())
                return false;
            put(columns.record_position, room.next, position);
            put(columns.instance, room.next, index);
            put(columns.red, room.next, color.red());
            put(columns.green, room.next, color.green());
            put(columns.blue, room.next, color.blue());
            put(columns.area, room.next, color.area());
            put(columns.code, room.next, color.code());
            ++room.next;
        }
        ++index;
    }
    return true;
}

} // namespace kr_internal::c

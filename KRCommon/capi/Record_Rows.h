#pragma once

/// \file
/// Rows of records, instances and colours, from a record where it lies into the columns of a host. One
/// place says which member goes into which column, for a record by itself and for scans.
///
/// Threads: no state. Nothing throws.

#include <KRCommon/capi/Call.h>
#include <KRCommon/objects/Object_View.h>

#include <algorithm>
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

/// Of a time in normal form with seconds of 32 bits, as instances have it.
[[nodiscard]] inline std::int64_t instance_microseconds(const ACE_Time_Value& time) noexcept
{
    return std::int64_t{time.sec()} * 1'000'000 + time.usec();
}

template <typename... Columns>
[[nodiscard]] bool any_of(const Columns*... columns) noexcept
{
    return ((columns != nullptr) || ...);
}

/// A row asks for groups of columns first: with each column by itself the questions would take more time
/// than the row.
struct Wanted_Fields {
    explicit Wanted_Fields(const kr_c_record_columns& c) noexcept
        : main(any_of(c.object_id, c.detector_type, c.first_seen_time, c.duration, c.class_scores)),
          rest(any_of(c.second_time, c.sensor_word1, c.sensor_word2, c.word1, c.word2,
                      c.statistics_word1, c.statistics_word2, c.statistics_word7,
                      c.statistics_word8))
    {
    }

    bool main;
    bool rest;
};

inline void put_fields(const KR_Object_View& view, kr_c_record_fields& fields)
{
    fields.object_id = view.object_id();
    fields.detector_type = view.detector_type();
    fields.first_seen_time = to_microseconds(view.first_seen_time());
    fields.second_time = to_microseconds(view.second_time());
    const ns__SensorId sensor = view.sensor_id();
    fields.sensor_word1 = sensor.word1;
    fields.sensor_word2 = sensor.word2;
    fields.word1 = view.word1();
    fields.word2 = view.word2();
    fields.statistics_word1 = view.statistics_word1();
    fields.statistics_word2 = view.statistics_word2();
    fields.duration = view.duration();
    const auto scores = view.class_scores();
    std::copy(scores.begin(), scores.end(), fields.class_scores);
    fields.statistics_word7 = view.statistics_word7();
    fields.statistics_word8 = view.statistics_word8();
}

inline void put_main_fields(const KR_Object_View& view, const kr_c_record_columns& columns,
                            std::size_t row)
{
    put(columns.object_id, row, view.object_id());
    put(columns.detector_type, row, view.detector_type());
    if (columns.first_seen_time != nullptr)
        columns.first_seen_time[row] = to_microseconds(view.first_seen_time());
    put(columns.duration, row, view.duration());
    if (columns.class_scores != nullptr) {
        const auto scores = view.class_scores();
        std::copy(scores.begin(), scores.end(), columns.class_scores + row * scores.size());
    }
}

inline void put_other_fields(const KR_Object_View& view, const kr_c_record_columns& columns,
                             std::size_t row)
{
    if (columns.second_time != nullptr)
        columns.second_time[row] = to_microseconds(view.second_time());
    const ns__SensorId sensor = view.sensor_id();
    put(columns.sensor_word1, row, sensor.word1);
    put(columns.sensor_word2, row, sensor.word2);
    put(columns.word1, row, view.word1());
    put(columns.word2, row, view.word2());
    put(columns.statistics_word1, row, view.statistics_word1());
    put(columns.statistics_word2, row, view.statistics_word2());
    put(columns.statistics_word7, row, view.statistics_word7());
    put(columns.statistics_word8, row, view.statistics_word8());
}

inline void put_fields(const KR_Object_View& view, const kr_c_record_columns& columns,
                       const Wanted_Fields& wanted, std::size_t row)
{
    if (wanted.main)
        put_main_fields(view, columns, row);
    if (wanted.rest)
        put_other_fields(view, columns, row);
}

/// The same of an instance's columns.
struct Wanted_Members {
    explicit Wanted_Members(const kr_c_instance_columns& c) noexcept
        : box(any_of(c.min_x, c.min_y, c.max_x, c.max_y)),
          values(any_of(c.person_value, c.vehicle_value, c.object_value, c.unknown_value)),
          place(any_of(c.record_position, c.instance)),
          rest(any_of(c.float1, c.float2, c.group, c.point_x, c.point_y, c.number, c.flag,
                      c.color_count))
    {
    }

    bool box;
    bool values;
    bool place;
    bool rest;
};

inline void put_other_members(const KR_Instance_View& instance,
                              const kr_c_instance_columns& columns, std::size_t row)
{
    put(columns.float1, row, instance.float1());
    put(columns.float2, row, instance.float2());
    if (columns.group != nullptr) {
        const auto group = instance.group();
        std::copy(group.begin(), group.end(), columns.group + row * group.size());
    }
    put(columns.point_x, row, instance.point_x());
    put(columns.point_y, row, instance.point_y());
    put(columns.number, row, instance.number());
    put(columns.flag, row, instance.flag());
    put(columns.color_count, row, instance.colors().size());
}

inline void put_instance(const KR_Instance_View& instance, const kr_c_instance_columns& columns,
                         const Wanted_Members& wanted, std::size_t row)
{
    if (columns.time != nullptr)
        columns.time[row] = instance_microseconds(instance.time());
    if (wanted.box) {
        const Geom_Box2D<float> box = instance.box();
        put(columns.min_x, row, box.MinX);
        put(columns.min_y, row, box.MinY);
        put(columns.max_x, row, box.MaxX);
        put(columns.max_y, row, box.MaxY);
    }
    if (wanted.values) {
        put(columns.person_value, row, instance.person_value());
        put(columns.vehicle_value, row, instance.vehicle_value());
        put(columns.object_value, row, instance.object_value());
        put(columns.unknown_value, row, instance.unknown_value());
    }
    if (wanted.rest)
        put_other_members(instance, columns, row);
}

/// The record's instances. Stops when the room is full; false when a row is left then.
inline bool put_instances(const KR_Object_View& view, std::uint64_t position,
                          const kr_c_instance_columns& columns, Room& room)
{
    const Wanted_Members wanted(columns);
    std::uint32_t index = 0;
    for (const KR_Instance_View instance : view.instances()) {
        if (room.skip > 0) {
            --room.skip;
        } else if (room.is_full()) {
            return false;
        } else {
            if (wanted.place) {
                put(columns.record_position, room.next, position);
                put(columns.instance, room.next, index);
            }
            put_instance(instance, columns, wanted, room.next);
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

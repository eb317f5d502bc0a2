#include <KRCommon/capi/krcommon_c.h>

#include <KRCommon/capi/Call.h>
#include <KRCommon/capi/Handles.h>
#include <KRCommon/capi/Record_Filter.h>
#include <KRCommon/objects/Objects.h>

#include <algorithm>
#include <memory>
#include <vector>

using namespace kr_internal::c;

namespace {

using Use_Record = Use<kr_c_record, KR_ObjectBase>;

template <typename Steps>
kr_c_error with_record(const kr_c_record* record, Steps steps)
{
    return run([&]() -> kr_c_error {
        const Use_Record object(record);
        return object.error() != KR_C_OK ? object.error() : steps(*object);
    });
}

// Of a column, zero where there is none.
template <typename Number>
Number at(const Number* column, std::size_t row)
{
    return column != nullptr ? column[row] : Number{};
}

} // namespace

kr_c_error kr_c_record_create(kr_c_owned_record* record)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = check_pointer(record))
            return error;
        return give_handle<kr_c_record, KR_ObjectBase>(record);
    });
}

kr_c_error kr_c_record_destroy(kr_c_owned_record* record)
{
    return destroy_handle<kr_c_record, KR_ObjectBase>(record);
}

kr_c_error kr_c_record_clear(kr_c_record* record)
{
    return with_record(record, [](KR_ObjectBase& object) -> kr_c_error {
        object.clear();
        return KR_C_OK;
    });
}

kr_c_error kr_c_record_set_fields(kr_c_record* record, const kr_c_record_fields* fields)
{
    return with_record(record, [&](KR_ObjectBase& object) -> kr_c_error {
        if (const kr_c_error error = check_struct(fields))
            return error;
        object.SensorId.word1 = fields->sensor_word1;
        object.SensorId.word2 = fields->sensor_word2;
        object.ObjectId = fields->object_id;
        object.DetectorType = static_cast<ns__DetectorType>(fields->detector_type);
        object.FirstSeenTime = to_time_value(fields->first_seen_time);
        object.Word1 = fields->word1;
        object.Word2 = fields->word2;
        object.SecondTime = to_time_value(fields->second_time);
        object.StatisticsWord1 = fields->statistics_word1;
        object.StatisticsWord2 = fields->statistics_word2;
        object.Duration = fields->duration;
        std::copy(std::begin(fields->class_scores), std::end(fields->class_scores),
                  object.ClassScores);
        object.StatisticsWord7 = fields->statistics_word7;
        object.StatisticsWord8 = fields->statistics_word8;
        return KR_C_OK;
    });
}

kr_c_error kr_c_record_get_fields(const kr_c_record* record, kr_c_record_fields* fields)
{
    return with_record(record, [&](const KR_ObjectBase& object) -> kr_c_error {
        if (const kr_c_error error = check_struct(fields))
            return error;
        auto told = make_struct<kr_c_record_fields>();
        told.sensor_word1 = object.SensorId.word1;
        told.sensor_word2 = object.SensorId.word2;
        told.object_id = object.ObjectId;
        told.detector_type = object.DetectorType;
        told.first_seen_time = to_microseconds(object.FirstSeenTime);
        told.word1 = object.Word1;
        told.word2 = object.Word2;
        told.second_time = to_microseconds(object.SecondTime);
        told.statistics_word1 = object.StatisticsWord1;
        told.statistics_word2 = object.StatisticsWord2;
        told.duration = object.Duration;
        std::copy(std::begin(object.ClassScores), std::end(object.ClassScores), told.class_scores);
        told.statistics_word7 = object.StatisticsWord7;
        told.statistics_word8 = object.StatisticsWord8;
        *fields = told;
        return KR_C_OK;
    });
}

namespace {

void set_instance(KR_ObjectBase::Instance& instance, const kr_c_instance_columns& columns,
                  std::size_t row)
{
    instance.Time = to_time_value(at(columns.time, row));
    instance.PersonValue = at(columns.person_value, row);
    instance.VehicleValue = at(columns.vehicle_value, row);
    instance.ObjectValue = at(columns.object_value, row);
    instance.UnknownValue = at(columns.unknown_value, row);
    instance.Box = Geom_Box2D<float>(at(columns.min_x, row), at(columns.min_y, row),
                                     at(columns.max_x, row), at(columns.max_y, row));
    instance.Float1 = at(columns.float1, row);
    instance.Float2 = at(columns.float2, row);
    if (columns.group != nullptr)
        std::copy_n(columns.group + row * std::size(instance.Group), std::size(instance.Group),
                    instance.Group);
    instance.PointX = at(columns.point_x, row);
    instance.PointY = at(columns.point_y, row);
    instance.Number = at(columns.number, row);
    instance.Flag = at(columns.flag, row);
}

} // namespace

kr_c_error kr_c_record_add_instances(kr_c_record* record, const kr_c_instance_columns* columns,
                                     kr_c_size count)
{
    return with_record(record, [&](KR_ObjectBase& object) -> kr_c_error {
        if (const kr_c_error error = first_error(
                {check_struct(columns), check_size(count, sizeof(KR_ObjectBase::Instance))}))
            return error;
        const std::size_t before = object.Instances.size();
        object.Instances.resize(before + count);
        for (std::size_t row = 0; row < count; ++row)
            set_instance(object.Instances[before + row], *columns, row);
        return KR_C_OK;
    });
}

kr_c_error kr_c_record_add_colors(kr_c_record* record, kr_c_size instance,
                                  const kr_c_color_columns* columns, kr_c_size count)
{
    constexpr std::size_t most_colors = 127; // the count is a signed byte
    return with_record(record, [&](KR_ObjectBase& object) -> kr_c_error {
        if (const kr_c_error error = check_struct(columns))
            return error;
        if (instance >= object.Instances.size())
            return KR_C_NOT_FOUND;
        std::vector<ns__RgbColorArea>& colors = object.Instances[instance].Colors;
        if (count > most_colors || colors.size() + count > most_colors)
            return KR_C_OUT_OF_RANGE;
        colors.reserve(colors.size() + count);
        for (std::size_t row = 0; row < count; ++row) {
            ns__RgbColorArea& color = colors.emplace_back();
            color.color.red = at(columns->red, row);
            color.color.green = at(columns->green, row);
            color.color.blue = at(columns->blue, row);
            color.area = at(columns->area, row);
            color.code = at(columns->code, row);
        }
        return KR_C_OK;
    });
}

kr_c_error kr_c_record_instance_count(const kr_c_record* record, kr_c_size* count)
{
    return with_record(record, [&](const KR_ObjectBase& object) -> kr_c_error {
        if (const kr_c_error error = check_pointer(count))
            return error;
        *count = object.Instances.size();
        return KR_C_OK;
    });
}

kr_c_error kr_c_record_set_auxiliary(kr_c_record* record, const void* data, kr_c_size data_size)
{
    return with_record(record, [&](KR_ObjectBase& object) -> kr_c_error {
        if (const kr_c_error error = check_bytes(data, data_size))
            return error;
        const auto* const bytes = static_cast<const unsigned char*>(data);
        object.AuxiliaryData =
            std::make_shared<std::vector<unsigned char>>(bytes, bytes + data_size);
        return KR_C_OK;
    });
}

kr_c_error kr_c_record_decode(kr_c_record* record, const void* bytes, kr_c_size bytes_size,
                              kr_c_record_status* status)
{
    return with_record(record, [&](KR_ObjectBase& object) -> kr_c_error {
        if (const kr_c_error error =
                first_error({check_bytes(bytes, bytes_size), check_struct(status)}))
            return error;
        *status = status_of(object.decode(static_cast<const unsigned char*>(bytes), bytes_size));
        return KR_C_OK;
    });
}

kr_c_error kr_c_record_encode(const kr_c_record* record, kr_c_uint32 limit, kr_c_uint8* out,
                              kr_c_size capacity, kr_c_size* size)
{
    constexpr std::uint32_t least_limit = 4; // the list's count
    return with_record(record, [&](const KR_ObjectBase& object) -> kr_c_error {
        if (const kr_c_error error = check_out(out, capacity, size))
            return error;
        if (limit < least_limit)
            return KR_C_OUT_OF_RANGE;
        *size = object.serialize_size(limit);
        if (*size > capacity)
            return KR_C_BUFFER_TOO_SMALL;
        object.serialize(out, limit);
        return KR_C_OK;
    });
}

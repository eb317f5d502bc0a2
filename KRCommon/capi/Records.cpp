// A record where it lies.

#include <KRCommon/capi/krcommon_c.h>

#include <KRCommon/capi/Call.h>
#include <KRCommon/capi/Record_Filter.h>
#include <KRCommon/capi/Record_Rows.h>

#include <algorithm>
#include <iterator>

using namespace kr_internal::c;

static_assert(KR_C_RECORD_TRAILING_BYTES == static_cast<int>(KR_Record_State::trailing_bytes));
static_assert(KR_C_PRESETS == KR_Color_Shares::preset_count);

namespace {

KR_Object_View view(const void* record, std::size_t size)
{
    return KR_Object_View(static_cast<const unsigned char*>(record), size);
}

} // namespace

namespace kr_internal::c {

namespace {

const kr_c_colors* colors_of(const kr_c_filter* filter)
{
    return check_struct(filter) == KR_C_OK ? filter->colors : nullptr;
}

} // namespace

Record_Filter::Record_Filter(const kr_c_filter* filter)
    : colors_(colors_of(filter)), takes_all_(filter == nullptr), error_(colors_.error())
{
    if (takes_all_ || error_ != KR_C_OK)
        return;
    error_ = check_struct(filter);
    if (error_ == KR_C_OK && filter->preset >= KR_C_PRESETS)
        error_ = KR_C_OUT_OF_RANGE;
    if (error_ != KR_C_OK)
        return;
    filter_.from = to_time_value(filter->from);
    filter_.to = to_time_value(filter->to);
    filter_.detector = static_cast<ns__DetectorType>(filter->detector_type);
    filter_.object_class = static_cast<ns__ObjectClass>(filter->object_class);
    filter_.min_score = filter->min_score;
    filter_.min_duration = filter->min_duration;
    if (filter->preset >= 0)
        filter_.preset = static_cast<ns__ColorPreset>(filter->preset);
    filter_.min_percent = filter->min_percent;
    filter_.colors = &*colors_;
}

kr_c_record_status status_of(const KR_Record_Status& status) noexcept
{
    auto told = make_struct<kr_c_record_status>();
    told.state = static_cast<std::int32_t>(status.state);
    told.position = status.position;
    told.consumed = status.consumed;
    told.instances = status.instances;
    return told;
}

} // namespace kr_internal::c

kr_c_error kr_c_view_check(const void* record, kr_c_size record_size, kr_c_record_status* status)
{
    if (const kr_c_error error =
            first_error({check_bytes(record, record_size), check_struct(status)}))
        return error;
    *status = status_of(view(record, record_size).check());
    return KR_C_OK;
}

kr_c_error kr_c_view_fields(const void* record, kr_c_size record_size, kr_c_record_fields* fields)
{
    if (const kr_c_error error =
            first_error({check_bytes(record, record_size), check_struct(fields)}))
        return error;
    fields->size = sizeof *fields;
    put_fields(view(record, record_size), *fields);
    return KR_C_OK;
}

kr_c_error kr_c_view_instances(const void* record, kr_c_size record_size, kr_c_size first,
                               const kr_c_instance_columns* columns, kr_c_size capacity,
                               kr_c_size* count)
{
    if (const kr_c_error error =
            first_error({check_bytes(record, record_size), check_struct(columns),
                         check_size(capacity), check_pointer(count)}))
        return error;
    Room room{0, capacity, first};
    put_instances(view(record, record_size), 0, *columns, room);
    *count = room.next;
    return KR_C_OK;
}

kr_c_error kr_c_view_colors(const void* record, kr_c_size record_size, kr_c_size first,
                            const kr_c_color_columns* columns, kr_c_size capacity, kr_c_size* count)
{
    if (const kr_c_error error =
            first_error({check_bytes(record, record_size), check_struct(columns),
                         check_size(capacity), check_pointer(count)}))
        return error;
    Room room{0, capacity, first};
    put_colors(view(record, record_size), 0, *columns, room);
    *count = room.next;
    return KR_C_OK;
}

kr_c_error kr_c_view_auxiliary(const void* record, kr_c_size record_size, kr_c_borrowed_bytes* data,
                               kr_c_size* size)
{
    if (const kr_c_error error = first_error(
            {check_bytes(record, record_size), check_pointer(data), check_pointer(size)}))
        return error;
    const KR_Byte_Span bytes = view(record, record_size).auxiliary_data();
    *data = bytes.empty() ? nullptr : bytes.data;
    *size = bytes.size;
    return KR_C_OK;
}

kr_c_error kr_c_view_color_shares(const void* record, kr_c_size record_size,
                                  const kr_c_colors* colors, float* percent)
{
    return run([&]() -> kr_c_error {
        const Colors_Use classifier(colors);
        if (const kr_c_error error = first_error(
                {check_bytes(record, record_size), classifier.error(), check_pointer(percent)}))
            return error;
        const KR_Color_Shares shares = view(record, record_size).color_shares(*classifier);
        std::copy(std::begin(shares.percent), std::end(shares.percent), percent);
        return KR_C_OK;
    });
}

kr_c_error kr_c_filter_init(kr_c_filter* filter)
{
    if (const kr_c_error error = check_struct(filter))
        return error;
    const KR_Object_Filter fresh;
    auto init = make_struct<kr_c_filter>();
    init.detector_type = fresh.detector;
    init.from = to_microseconds(fresh.from);
    init.to = KR_C_NO_END;
    init.object_class = fresh.object_class;
    init.min_score = fresh.min_score;
    init.min_duration = fresh.min_duration;
    init.preset = -1;
    init.min_percent = fresh.min_percent;
    *filter = init;
    return KR_C_OK;
}

kr_c_error kr_c_view_matches(const void* record, kr_c_size record_size, const kr_c_filter* filter,
                             kr_c_int32* matches)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = first_error(
                {check_bytes(record, record_size), check_pointer(filter), check_pointer(matches)}))
            return error;
        const Record_Filter wanted(filter);
        if (wanted.error() != KR_C_OK)
            return wanted.error();
        *matches = wanted.takes(view(record, record_size)) ? 1 : 0;
        return KR_C_OK;
    });
}

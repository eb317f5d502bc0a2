#include <KRCommon/capi/krcommon_c.h>

#include <KRCommon/capi/Call.h>
#include <KRCommon/capi/Types.h>
#include <KRCommon/colors/Configuration_Check.h>
#include <KRCommon/frame/Configuration_Status.h>

using namespace kr_internal::c;

kr_c_error kr_c_configuration_is_read(kr_c_int32* is_read)
{
    if (const kr_c_error error = check_pointer(is_read))
        return error;
    *is_read = kr_configuration_status().is_read ? 1 : 0;
    return KR_C_OK;
}

kr_c_error kr_c_configuration_path(char* out, kr_c_size capacity, kr_c_size* length)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = check_out(out, capacity, length))
            return error;
        return give_text(from_system_text(kr_configuration_status().path), out, capacity, length);
    });
}

kr_c_error kr_c_configuration_problem(char* out, kr_c_size capacity, kr_c_size* length)
{
    if (const kr_c_error error = check_out(out, capacity, length))
        return error;
    return give_text(kr_configuration_status().error, out, capacity, length);
}

namespace {

using Use_Report = Use<kr_c_configuration, KR_Configuration_Report, Sharing::by_all>;

template <typename List>
kr_c_error check_index(const List& list, std::size_t index)
{
    return index < list.size() ? KR_C_OK : KR_C_NOT_FOUND;
}

} // namespace

kr_c_error kr_c_configuration_check(const void* document, kr_c_size document_size,
                                    kr_c_owned_configuration* configuration)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error =
                first_error({check_bytes(document, document_size), check_pointer(configuration)}))
            return error;
        return give_handle<kr_c_configuration, KR_Configuration_Report>(
            configuration, kr_check_configuration(view_of(document, document_size)));
    });
}

kr_c_error kr_c_configuration_destroy(kr_c_owned_configuration* configuration)
{
    return destroy_handle<kr_c_configuration, KR_Configuration_Report>(configuration);
}

kr_c_error kr_c_configuration_get_summary(const kr_c_configuration* configuration,
                                          kr_c_configuration_summary* summary)
{
    return run([&]() -> kr_c_error {
        const Use_Report report(configuration);
        if (const kr_c_error error = first_error({report.error(), check_struct(summary)}))
            return error;
        auto told = make_struct<kr_c_configuration_summary>();
        told.is_complete = report->is_complete ? 1 : 0;
        told.errors = static_cast<std::uint32_t>(report->errors.size());
        told.ranges = static_cast<std::uint32_t>(report->ranges.size());
        *summary = told;
        return KR_C_OK;
    });
}

kr_c_error kr_c_configuration_get_error(const kr_c_configuration* configuration, kr_c_size index,
                                        kr_c_configuration_error* error)
{
    return run([&]() -> kr_c_error {
        const Use_Report report(configuration);
        if (const kr_c_error refusal = first_error({report.error(), check_struct(error)}))
            return refusal;
        if (const kr_c_error refusal = check_index(report->errors, index))
            return refusal;
        const KR_Configuration_Error& found = report->errors[index];
        auto told = make_struct<kr_c_configuration_error>();
        told.code = found.code;
        told.line = found.line;
        told.begin = found.begin;
        told.end = found.end;
        *error = told;
        return KR_C_OK;
    });
}

kr_c_error kr_c_configuration_error_text(const kr_c_configuration* configuration, kr_c_size index,
                                         char* out, kr_c_size capacity, kr_c_size* length)
{
    return run([&]() -> kr_c_error {
        const Use_Report report(configuration);
        if (const kr_c_error error =
                first_error({report.error(), check_out(out, capacity, length)}))
            return error;
        if (const kr_c_error error = check_index(report->errors, index))
            return error;
        return give_text(report->errors[index].text, out, capacity, length);
    });
}

kr_c_error kr_c_configuration_get_range(const kr_c_configuration* configuration, kr_c_size index,
                                        kr_c_configured_range* range)
{
    return run([&]() -> kr_c_error {
        const Use_Report report(configuration);
        if (const kr_c_error error = first_error({report.error(), check_struct(range)}))
            return error;
        if (const kr_c_error error = check_index(report->ranges, index))
            return error;
        const KR_Configured_Range& read = report->ranges[index];
        auto told = make_struct<kr_c_configured_range>();
        told.preset = read.preset;
        told.hue_from = read.hue_from;
        told.hue_to = read.hue_to;
        told.saturation_from = read.sat_from;
        told.saturation_to = read.sat_to;
        told.value_from = read.val_from;
        told.value_to = read.val_to;
        told.begin = read.begin;
        told.end = read.end;
        told.rgb = {read.rgb.red, read.rgb.green, read.rgb.blue};
        *range = told;
        return KR_C_OK;
    });
}

kr_c_error kr_c_configuration_text(const kr_c_configuration* configuration, char* out,
                                   kr_c_size capacity, kr_c_size* length)
{
    return run([&]() -> kr_c_error {
        const Use_Report report(configuration);
        if (const kr_c_error error =
                first_error({report.error(), check_out(out, capacity, length)}))
            return error;
        return give_text(report->text, out, capacity, length);
    });
}

kr_c_error kr_c_configuration_colors(const kr_c_configuration* configuration,
                                     kr_c_owned_colors* colors)
{
    return run([&]() -> kr_c_error {
        const Use_Report report(configuration);
        if (const kr_c_error error = first_error({report.error(), check_pointer(colors)}))
            return error;
        return give_handle<kr_c_colors, Shared_Colors>(colors, report->colors);
    });
}

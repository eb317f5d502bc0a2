#pragma once

/// \file
/// All functions of the C interface, to be called in turn with arguments that are made by their types.
/// For tests and fuzzing; not part of the library.

#include <KRCommon/capi/krcommon_c.h>

#include <cstddef>
#include <tuple>
#include <type_traits>

namespace kr_c_testing {

/// Calls a function with arguments that `source.make<Type>()` gives, from the first to the last.
template <typename Source, typename Result, typename... Parameters>
Result call(Source& source, Result (*function)(Parameters...))
{
    const std::tuple<Parameters...> arguments{source.template make<Parameters>()...};
    return std::apply(function, arguments);
}

/// Whether a type is a handle of the interface: a struct that nobody has the members of.
template <typename Type, typename = void>
inline constexpr bool is_complete = false;
template <typename Type>
inline constexpr bool is_complete<Type, std::void_t<decltype(sizeof(Type))>> = true;
template <typename Type>
inline constexpr bool is_handle = std::is_class_v<Type> && !is_complete<Type>;

/// Whether a struct begins with its size.
template <typename Type, typename = void>
inline constexpr bool has_size = false;
template <typename Type>
inline constexpr bool has_size<Type, std::void_t<decltype(Type::size)>> = true;

/// visit(name, function) for each of them. A test compares the names with the header.
template <typename Visit>
void each_function(Visit visit)
{
    visit("kr_c_abi", &kr_c_abi);
    visit("kr_c_angle_distance", &kr_c_angle_distance);
    visit("kr_c_ansi_to_utf8", &kr_c_ansi_to_utf8);
    visit("kr_c_base64_decode", &kr_c_base64_decode);
    visit("kr_c_base64_encode", &kr_c_base64_encode);
    visit("kr_c_capabilities", &kr_c_capabilities);
    visit("kr_c_color_palette", &kr_c_color_palette);
    visit("kr_c_color_presets", &kr_c_color_presets);
    visit("kr_c_color_presets_batch", &kr_c_color_presets_batch);
    visit("kr_c_colors_destroy", &kr_c_colors_destroy);
    visit("kr_c_configuration_check", &kr_c_configuration_check);
    visit("kr_c_configuration_colors", &kr_c_configuration_colors);
    visit("kr_c_configuration_destroy", &kr_c_configuration_destroy);
    visit("kr_c_configuration_error_text", &kr_c_configuration_error_text);
    visit("kr_c_configuration_get_error", &kr_c_configuration_get_error);
    visit("kr_c_configuration_get_range", &kr_c_configuration_get_range);
    visit("kr_c_configuration_get_summary", &kr_c_configuration_get_summary);
    visit("kr_c_configuration_is_read", &kr_c_configuration_is_read);
    visit("kr_c_configuration_path", &kr_c_configuration_path);
    visit("kr_c_configuration_problem", &kr_c_configuration_problem);
    visit("kr_c_configuration_text", &kr_c_configuration_text);
    visit("kr_c_count_color_presets", &kr_c_count_color_presets);
    visit("kr_c_decrypt_string", &kr_c_decrypt_string);
    visit("kr_c_duration_from_text", &kr_c_duration_from_text);
    visit("kr_c_duration_to_text", &kr_c_duration_to_text);
    visit("kr_c_encrypt_string", &kr_c_encrypt_string);
    visit("kr_c_error_text", &kr_c_error_text);
    visit("kr_c_event_log_create", &kr_c_event_log_create);
    visit("kr_c_event_log_declare", &kr_c_event_log_declare);
    visit("kr_c_event_log_destroy", &kr_c_event_log_destroy);
    visit("kr_c_event_log_notify", &kr_c_event_log_notify);
    visit("kr_c_event_log_register", &kr_c_event_log_register);
    visit("kr_c_event_log_text", &kr_c_event_log_text);
    visit("kr_c_event_log_write", &kr_c_event_log_write);
    visit("kr_c_file_version", &kr_c_file_version);
    visit("kr_c_filter_init", &kr_c_filter_init);
    visit("kr_c_guid_create", &kr_c_guid_create);
    visit("kr_c_guid_from_text", &kr_c_guid_from_text);
    visit("kr_c_guid_to_text", &kr_c_guid_to_text);
    visit("kr_c_hsv_to_rgb", &kr_c_hsv_to_rgb);
    visit("kr_c_hsv_to_rgb_batch", &kr_c_hsv_to_rgb_batch);
    visit("kr_c_instructions", &kr_c_instructions);
    visit("kr_c_is_color_similar", &kr_c_is_color_similar);
    visit("kr_c_log_close", &kr_c_log_close);
    visit("kr_c_log_file", &kr_c_log_file);
    visit("kr_c_log_get_options", &kr_c_log_get_options);
    visit("kr_c_log_get_sizes", &kr_c_log_get_sizes);
    visit("kr_c_log_get_status", &kr_c_log_get_status);
    visit("kr_c_log_last_error", &kr_c_log_last_error);
    visit("kr_c_log_line", &kr_c_log_line);
    visit("kr_c_log_open", &kr_c_log_open);
    visit("kr_c_log_reopen", &kr_c_log_reopen);
    visit("kr_c_log_run", &kr_c_log_run);
    visit("kr_c_log_set_level", &kr_c_log_set_level);
    visit("kr_c_log_set_options", &kr_c_log_set_options);
    visit("kr_c_log_set_sizes", &kr_c_log_set_sizes);
    visit("kr_c_log_stop", &kr_c_log_stop);
    visit("kr_c_percent_decode", &kr_c_percent_decode);
    visit("kr_c_percent_encode", &kr_c_percent_encode);
    visit("kr_c_preset_name", &kr_c_preset_name);
    visit("kr_c_preset_number", &kr_c_preset_number);
    visit("kr_c_record_add_colors", &kr_c_record_add_colors);
    visit("kr_c_record_add_instances", &kr_c_record_add_instances);
    visit("kr_c_record_clear", &kr_c_record_clear);
    visit("kr_c_record_create", &kr_c_record_create);
    visit("kr_c_record_decode", &kr_c_record_decode);
    visit("kr_c_record_destroy", &kr_c_record_destroy);
    visit("kr_c_record_encode", &kr_c_record_encode);
    visit("kr_c_record_get_fields", &kr_c_record_get_fields);
    visit("kr_c_record_instance_count", &kr_c_record_instance_count);
    visit("kr_c_record_set_auxiliary", &kr_c_record_set_auxiliary);
    visit("kr_c_record_set_fields", &kr_c_record_set_fields);
    visit("kr_c_rgb_to_hsv", &kr_c_rgb_to_hsv);
    visit("kr_c_rgb_to_hsv_batch", &kr_c_rgb_to_hsv_batch);
    visit("kr_c_scan_colors", &kr_c_scan_colors);
    visit("kr_c_scan_instances", &kr_c_scan_instances);
    visit("kr_c_scan_records", &kr_c_scan_records);
    visit("kr_c_sha1_create", &kr_c_sha1_create);
    visit("kr_c_sha1_destroy", &kr_c_sha1_destroy);
    visit("kr_c_sha1_digest", &kr_c_sha1_digest);
    visit("kr_c_sha1_feed", &kr_c_sha1_feed);
    visit("kr_c_sha1_feed_file", &kr_c_sha1_feed_file);
    visit("kr_c_sha1_reset", &kr_c_sha1_reset);
    visit("kr_c_sha1_text", &kr_c_sha1_text);
    visit("kr_c_time_from_date", &kr_c_time_from_date);
    visit("kr_c_time_from_iso8601", &kr_c_time_from_iso8601);
    visit("kr_c_time_from_text", &kr_c_time_from_text);
    visit("kr_c_time_to_date", &kr_c_time_to_date);
    visit("kr_c_time_to_iso8601", &kr_c_time_to_iso8601);
    visit("kr_c_time_to_text", &kr_c_time_to_text);
    visit("kr_c_url_destroy", &kr_c_url_destroy);
    visit("kr_c_url_host_kind", &kr_c_url_host_kind);
    visit("kr_c_url_log_text", &kr_c_url_log_text);
    visit("kr_c_url_parse", &kr_c_url_parse);
    visit("kr_c_url_part", &kr_c_url_part);
    visit("kr_c_url_port", &kr_c_url_port);
    visit("kr_c_url_query_value", &kr_c_url_query_value);
    visit("kr_c_url_with_credentials", &kr_c_url_with_credentials);
    visit("kr_c_utf16_to_utf8", &kr_c_utf16_to_utf8);
    visit("kr_c_utf8_to_ansi", &kr_c_utf8_to_ansi);
    visit("kr_c_utf8_to_utf16", &kr_c_utf8_to_utf16);
    visit("kr_c_version", &kr_c_version);
    visit("kr_c_version_from_text", &kr_c_version_from_text);
    visit("kr_c_version_text", &kr_c_version_text);
    visit("kr_c_view_auxiliary", &kr_c_view_auxiliary);
    visit("kr_c_view_check", &kr_c_view_check);
    visit("kr_c_view_color_shares", &kr_c_view_color_shares);
    visit("kr_c_view_colors", &kr_c_view_colors);
    visit("kr_c_view_fields", &kr_c_view_fields);
    visit("kr_c_view_instances", &kr_c_view_instances);
    visit("kr_c_view_matches", &kr_c_view_matches);
}

} // namespace kr_c_testing

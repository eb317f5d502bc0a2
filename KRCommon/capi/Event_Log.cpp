#include <KRCommon/capi/krcommon_c.h>

#include <KRCommon/capi/Call.h>
#include <KRCommon/capi/Handles.h>
#include <KRCommon/eventlog/Event_Log.h>
#include <KRCommon/util/Code_Pages.h>

#include <vector>

using namespace kr_internal::c;

namespace {

template <typename Steps>
kr_c_error with_event_log(kr_c_event_log* event_log, Steps steps)
{
    return run([&]() -> kr_c_error {
        const Use<kr_c_event_log, KR_Event_Log> events(event_log);
        return events.error() != KR_C_OK ? events.error() : steps(*events);
    });
}

} // namespace

kr_c_error kr_c_event_log_create(const char* name, kr_c_size name_length, kr_c_int32 is_exclusive,
                                 kr_c_owned_event_log* event_log)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error =
                first_error({check_text(name, name_length), check_pointer(event_log)}))
            return error;
        std::string source;
        if (const kr_c_error error = to_system_text(name, name_length, source))
            return error;
        return give_handle<kr_c_event_log, KR_Event_Log>(event_log, source, is_exclusive != 0);
    });
}

kr_c_error kr_c_event_log_destroy(kr_c_owned_event_log* event_log)
{
    return destroy_handle<kr_c_event_log, KR_Event_Log>(event_log);
}

kr_c_error kr_c_event_log_declare(kr_c_event_log* event_log)
{
    return with_event_log(event_log, [](KR_Event_Log& events) -> kr_c_error {
        events.createRegistry();
        return KR_C_OK;
    });
}

kr_c_error kr_c_event_log_register(kr_c_event_log* event_log)
{
    return with_event_log(event_log, [](KR_Event_Log& events) -> kr_c_error {
        events.registerToEventLog();
        return KR_C_OK;
    });
}

kr_c_error kr_c_event_log_write(kr_c_event_log* event_log, kr_c_int32 id, kr_c_int32 type,
                                const char* text, kr_c_size text_length)
{
    return with_event_log(event_log, [&](KR_Event_Log& events) -> kr_c_error {
        if (const kr_c_error error = check_text(text, text_length))
            return error;
        std::string told;
        if (const kr_c_error error = to_system_text(text, text_length, told))
            return error;
        events.write(id, type, told);
        return KR_C_OK;
    });
}

namespace {

// The parameters of a notification, as the library has them.
struct Parameters {
    const kr_c_parameter* first;
    std::size_t count;

    [[nodiscard]] kr_c_error check() const
    {
        if (const kr_c_error error = check_array(first, count, sizeof *first))
            return error;
        for (std::size_t i = 0; i < count; ++i)
            if (const kr_c_error error =
                    first_error({check_text(first[i].name, first[i].name_length),
                                 check_text(first[i].value, first[i].value_length)}))
                return error;
        return KR_C_OK;
    }

    [[nodiscard]] std::vector<ns__LogParam> list() const
    {
        std::vector<ns__LogParam> list(count);
        for (std::size_t i = 0; i < count; ++i) {
            list[i].name = utf8_to_widechar(string_of(first[i].name, first[i].name_length));
            list[i].value = utf8_to_widechar(string_of(first[i].value, first[i].value_length));
        }
        return list;
    }
};

kr_c_error make_text(const KR_Event_Log& events, kr_c_int32 code, const char* message,
                     std::size_t message_length, const Parameters& parameters,
                     const Parameters& entity_parameters, std::string& text)
{
    if (const kr_c_error error = first_error(
            {check_text(message, message_length), parameters.check(), entity_parameters.check()}))
        return error;
    std::string told;
    if (const kr_c_error error = to_system_text(message, message_length, told))
        return error;
    ns__LogEntity entity;
    entity.params = entity_parameters.list();
    events.prepareEventMsg(static_cast<ns__NotificationCode>(code), told, parameters.list(), entity,
                           text);
    return KR_C_OK;
}

} // namespace

kr_c_error kr_c_event_log_text(kr_c_event_log* event_log, kr_c_int32 code, const char* message,
                               kr_c_size message_length, const kr_c_parameter* parameters,
                               kr_c_size parameter_count, const kr_c_parameter* entity_parameters,
                               kr_c_size entity_parameter_count, char* out, kr_c_size capacity,
                               kr_c_size* length)
{
    return with_event_log(event_log, [&](KR_Event_Log& events) -> kr_c_error {
        if (const kr_c_error error = check_out(out, capacity, length))
            return error;
        std::string text;
        if (const kr_c_error error =
                make_text(events, code, message, message_length, {parameters, parameter_count},
                          {entity_parameters, entity_parameter_count}, text))
            return error;
        return give_text(text, out, capacity, length);
    });
}

kr_c_error kr_c_event_log_notify(kr_c_event_log* event_log, kr_c_int32 type, kr_c_int32 code,
                                 const char* message, kr_c_size message_length,
                                 const kr_c_parameter* parameters, kr_c_size parameter_count,
                                 const kr_c_parameter* entity_parameters,
                                 kr_c_size entity_parameter_count)
{
    return with_event_log(event_log, [&](KR_Event_Log& events) -> kr_c_error {
        std::string text;
        if (const kr_c_error error =
                make_text(events, code, message, message_length, {parameters, parameter_count},
                          {entity_parameters, entity_parameter_count}, text))
            return error;
        events.write(code, type, text);
        return KR_C_OK;
    });
}

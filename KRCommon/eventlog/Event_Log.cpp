#include <KRCommon/eventlog/Event_Log.h>

#include <KRCommon/eventlog/Event_Log_System.h>
#include <KRCommon/frame/Log.h>
#include <KRCommon/platform/Event_Source.h>
#include <KRCommon/platform/Platform.h>
#include <KRCommon/util/Sizes.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <string_view>
#include <utility>

namespace {

using kr_platform::Event_System;
using kr_platform::last_error;
using kr_platform::Registry_Key;

constexpr std::array reported_names = {"AsIpAddress",   "AsHostAddress", "ServiceName",
                                       "IsPrimaryLbs",  "DBInstance",    "IsPrimaryDB",
                                       "DBCurrentSize", "DBLimitSize",   "DaysBeforeExpiry",
                                       "VmsId",         "VmsHost",       "VmsName",
                                       "Host",          "Port",          "VmsProxyHost",
                                       "VmsHost",       "VmsName"};

} // namespace

kr_internal::Seam<Event_System> kr_internal::event_system;

KR_Event_Log::KR_Event_Log(const std::string& log_name, bool exclusive)
    : log_name_(log_name), reported_names_(reported_names.begin(), reported_names.end()),
      exclusive_(exclusive), system_(kr_internal::event_system.in_use(kr_platform::event_system()))
{
}

KR_Event_Log::~KR_Event_Log()
{
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    if (source_ == nullptr)
        return;
    // Quirk: the test is inverted; operators know the line as that of an orderly shutdown.
    if (system_.deregister_source(std::exchange(source_, nullptr)))
        kr_log(KR_LOG_SITE(LM_ERROR),
               "%T T%04t*ERR KR_Event_Log::KR_Event_Log - Failed in function "
               "DeregisterEventSource - error %d \n",
               last_error());
}

namespace {

std::string parent_path(bool exclusive)
{
    const std::string logs = "SYSTEM\\CurrentControlSet\\Services\\Eventlog";
    return exclusive ? logs : logs + "\\Application";
}

// Closes its key, unless that was done.
class Open_Key {
public:
    Open_Key(Event_System& system, Registry_Key* key) : system_(system), key_(key) {}
    ~Open_Key()
    {
        if (key_ != nullptr)
            system_.close_key(key_);
    }
    Open_Key(const Open_Key&) = delete;
    Open_Key& operator=(const Open_Key&) = delete;

    Registry_Key* get() const { return key_; }
    [[nodiscard]] bool close() { return system_.close_key(std::exchange(key_, nullptr)); }

private:
    Event_System& system_;
    Registry_Key* key_;
};

// Hands the result on.
bool log_unless_set(bool is_set, const char* value_name)
{
    if (!is_set)
        kr_log(KR_LOG_SITE(LM_ERROR),
               "%T T%04t*ERR KR_Event_Log::KR_Event_Log - Failed in function RegSetValueEx with "
               "argument '%s' - error %d \n",
               value_name, last_error());
    return is_set;
}

bool set_dword(Event_System& system, const Open_Key& key, const char* name, std::uint32_t value)
{
    return log_unless_set(system.set_dword(key.get(), name, value), name);
}

// Fills and closes the key of a log; true when all of that succeeded.
bool configure_log(Event_System& system, Registry_Key* log_key)
{
    constexpr std::uint32_t max_size = 0x80000;
    Open_Key key(system, log_key);
    if (!set_dword(system, key, "AutoBackupLogFiles", 0) ||
        !set_dword(system, key, "MaxSize", max_size))
        return false;
    if (key.close())
        return true;
    kr_log(KR_LOG_SITE(LM_ERROR),
           "%T T%04t*ERR KR_Event_Log::KR_Event_Log - Failed in function RegCloseKey (exclusive "
           "case) - error %d \n",
           last_error());
    return false;
}

// The key of the log's only source, which bears the same name; null when it cannot be made.
Registry_Key* create_source_key(Event_System& system, const std::string& log_path,
                                const std::string& name)
{
    Registry_Key* const key = system.create_key(log_path, name).key;
    if (key == nullptr)
        kr_log(KR_LOG_SITE(LM_ERROR),
               "%T T%04t*ERR KR_Event_Log::KR_Event_Log - Failed in function RegCreateKeyEx "
               "(exclusive case) - error %d \n",
               last_error());
    return key;
}

std::string message_file()
{
    constexpr std::size_t max_folder_size = 520;
    return kr_platform::working_folder().substr(0, max_folder_size) +
           "\\..\\common\\eventMessages.dll;";
}

void configure_source(Event_System& system, Registry_Key* source_key)
{
    constexpr const char* name = "EventMessageFile";
    Open_Key key(system, source_key);
    if (!log_unless_set(system.set_text(key.get(), name, message_file()), name))
        return;
    if (!key.close())
        kr_log(KR_LOG_SITE(LM_ERROR),
               "%T T%04t*ERR KR_Event_Log::KR_Event_Log - Failed in function RegCloseKey - error "
               "%d \n",
               last_error());
}

} // namespace

void KR_Event_Log::createRegistry()
{
    kr_internal::within_memory([this] { create_registry(); });
}

void KR_Event_Log::create_registry()
{
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    kr_log(KR_LOG_SITE(LM_DEBUG),
           "%T T%04t DBG KR_Event_Log::KR_Event_Log - log_name = %s. exclusive = %d\n", log_name_,
           exclusive_);
    const std::string parent = parent_path(exclusive_);
    const std::string path = parent + '\\' + log_name_;
    kr_log(KR_LOG_SITE(LM_DEBUG), "%T T%04t DBG KR_Event_Log::KR_Event_Log - reg_path = %s \n",
           path);

    const auto [key, existed] = system_.create_key(parent, log_name_);
    if (key == nullptr) {
        kr_log(KR_LOG_SITE(LM_ERROR),
               "%T T%04t*ERR KR_Event_Log::KR_Event_Log - Failed in function RegCreateKeyEx - "
               "error %d \n",
               last_error());
        return;
    }
    if (existed) {
        // Quirk: the key is left open; that this path changes nothing includes the handle.
        kr_log(KR_LOG_SITE(LM_DEBUG),
               "%T T%04t DBG KR_Event_Log::KR_Event_Log - registry key exists already \n");
        return;
    }
    // Quirk: "does NOT yet exists"; the logs are searched for it.
    kr_log(KR_LOG_SITE(LM_DEBUG),
           "%T T%04t DBG KR_Event_Log::KR_Event_Log - registry key does NOT yet exists, creating "
           "and configuring now \n");

    Registry_Key* source_key = key;
    if (exclusive_)
        source_key =
            configure_log(system_, key) ? create_source_key(system_, path, log_name_) : nullptr;
    if (source_key != nullptr)
        configure_source(system_, source_key);
}

void KR_Event_Log::registerToEventLog()
{
    if (source_ != nullptr) // that it fails is of no interest: the handle is given up
        static_cast<void>(system_.deregister_source(std::exchange(source_, nullptr)));
    source_ = system_.register_source(log_name_);
    if (source_ == nullptr)
        kr_log(KR_LOG_SITE(LM_ERROR),
               "%T T%04t*ERR KR_Event_Log::KR_Event_Log - Failed in function "
               "RegisterEventSource - error %d\n",
               last_error());
}

void KR_Event_Log::write(int id, int type, const std::string& text)
{
    if (source_ == nullptr)
        return;
    const std::lock_guard<std::recursive_mutex> lock(mutex_);
    kr_log(KR_LOG_SITE(LM_DEBUG), "%T T%04t DBG KR_Event_Log::write - id = %d \n", id);
    if (!system_.report(source_, type, id, text))
        // Quirk: an empty line follows.
        kr_log(KR_LOG_SITE(LM_ERROR),
               "%T T%04t*ERR KR_Event_Log::write - Failed in function ReportEvent - error %d\n\n",
               last_error());
}

namespace {

constexpr int message_only_code = 15;

bool takes_entity(int code) noexcept
{
    constexpr std::array without_entity = {14, 24, 35, 36, 38, 39};
    return std::find(without_entity.begin(), without_entity.end(), code) == without_entity.end();
}

// The low byte of each UTF-16 unit. Whatever is no character at all counts as one unit.
std::string narrow(std::wstring_view text)
{
    std::string bytes;
    for (const wchar_t c : text) {
        const auto code = static_cast<char32_t>(c);
        if (code > 0xffff && code <= 0x10ffff) // its high surrogate; the low one ends as the code
            bytes += static_cast<char>((code - 0x10000) >> 10 & 0xff);
        bytes += static_cast<char>(code & 0xff);
    }
    return bytes;
}

void append_parameter(std::string& out, const std::string& name, const std::wstring& value)
{
    out += name + " = " + narrow(value) + '\n';
}

} // namespace

void KR_Event_Log::prepareEventMsg(ns__NotificationCode code, std::string& message,
                                   const std::vector<ns__LogParam>& params,
                                   const ns__LogEntity& entity, std::string& result) const
{
    kr_internal::within_memory([&] {
        const std::string parameters = parameters_text(code, params, entity);
        result = "Message = " + message;
        if (code != message_only_code)
            result += '\n' + parameters;
    });
}

std::string KR_Event_Log::parameters_text(ns__NotificationCode code,
                                          const std::vector<ns__LogParam>& params,
                                          const ns__LogEntity& entity) const
{
    std::string parameters;
    for (const ns__LogParam& param : params) {
        const std::string name = narrow(param.name);
        if (reported_names_.count(name) != 0)
            append_parameter(parameters, name, param.value);
    }
    if (takes_entity(code))
        for (const ns__LogParam& param : entity.params)
            append_parameter(parameters, narrow(param.name), param.value);
    return parameters;
}

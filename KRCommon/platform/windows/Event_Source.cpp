// The Windows side of Event_Source.h; its twin is ../linux/Event_Source.cpp.

#include <KRCommon/platform/Event_Source.h>

#include <cerrno>
#include <string_view>
#include <windows.h>

namespace kr_platform {

namespace {

// Makes the outcome what last_error() gives; true for success.
bool keep_outcome(DWORD error) noexcept
{
    SetLastError(error);
    errno = 0;
    return error == ERROR_SUCCESS;
}

bool keep_outcome(LSTATUS status) noexcept
{
    return keep_outcome(static_cast<DWORD>(status));
}

bool is_one_level(std::string_view name) noexcept
{
    return !name.empty() && name.find_first_of(std::string_view("\\\0", 2)) == name.npos;
}

HKEY handle_of(Registry_Key* key) noexcept
{
    return reinterpret_cast<HKEY>(key);
}

const BYTE* bytes_of(const void* data) noexcept
{
    return static_cast<const BYTE*>(data);
}

class Windows_Event_System final : public Event_System {
public:
    Opened_Key create_key(const std::string& parent, const std::string& name) override
    {
        if (!is_one_level(name)) {
            keep_outcome(DWORD{ERROR_INVALID_NAME});
            return {};
        }
        HKEY key = nullptr;
        DWORD disposition = 0;
        if (!keep_outcome(RegCreateKeyExA(HKEY_LOCAL_MACHINE, (parent + '\\' + name).c_str(), 0,
                                          nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr,
                                          &key, &disposition)))
            return {};
        return {reinterpret_cast<Registry_Key*>(key), disposition == REG_OPENED_EXISTING_KEY};
    }

    bool set_dword(Registry_Key* key, const char* name, std::uint32_t value) override
    {
        return keep_outcome(
            RegSetValueExA(handle_of(key), name, 0, REG_DWORD, bytes_of(&value), sizeof value));
    }

    bool set_text(Registry_Key* key, const char* name, const std::string& text) override
    {
        return keep_outcome(RegSetValueExA(handle_of(key), name, 0, REG_SZ, bytes_of(text.c_str()),
                                           static_cast<DWORD>(text.size())));
    }

    bool close_key(Registry_Key* key) override { return keep_outcome(RegCloseKey(handle_of(key))); }

    Event_Source* register_source(const std::string& name) override
    {
        const HANDLE source = RegisterEventSourceA(nullptr, name.c_str());
        keep_outcome(source != nullptr ? DWORD{ERROR_SUCCESS} : GetLastError());
        return static_cast<Event_Source*>(source);
    }

    bool report(Event_Source* source, int type, int id, const std::string& text) override
    {
        const char* insertion = text.c_str();
        const BOOL is_done =
            ReportEventA(source, static_cast<WORD>(type), 0, static_cast<DWORD>(id), nullptr, 1, 0,
                         &insertion, nullptr);
        return keep_outcome(is_done != 0 ? DWORD{ERROR_SUCCESS} : GetLastError());
    }

    bool deregister_source(Event_Source* source) override
    {
        const BOOL is_done = DeregisterEventSource(source);
        return keep_outcome(is_done != 0 ? DWORD{ERROR_SUCCESS} : GetLastError());
    }
};

} // namespace

Event_System& event_system() noexcept
{
    static Windows_Event_System system;
    return system;
}

} // namespace kr_platform

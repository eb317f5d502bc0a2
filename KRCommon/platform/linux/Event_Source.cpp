// The Linux side of Event_Source.h; its twin is ../windows/Event_Source.cpp.

#include <KRCommon/platform/Event_Source.h>

#include <KRCommon/platform/linux/Syslog.h>

#include <cerrno>
#include <memory>
#include <syslog.h>

namespace kr_platform {

struct Event_Source {
    std::string name;
};

namespace {

bool not_supported() noexcept
{
    errno = ENOTSUP;
    return false;
}

bool succeeded() noexcept
{
    errno = 0;
    return true;
}

int level_of(int type) noexcept
{
    switch (type & 0xffff) {
    case 1: return LOG_ERR;
    case 2:
    case 16: return LOG_WARNING;
    case 8: return LOG_NOTICE;
    default: return LOG_INFO;
    }
}

class Linux_Event_System final : public Event_System {
public:
    Opened_Key create_key(const std::string&, const std::string&) override
    {
        not_supported();
        return {};
    }

    bool set_dword(Registry_Key*, const char*, std::uint32_t) override { return not_supported(); }

    bool set_text(Registry_Key*, const char*, const std::string&) override
    {
        return not_supported();
    }

    bool close_key(Registry_Key*) override { return not_supported(); }

    Event_Source* register_source(const std::string& name) override
    {
        auto source = std::make_unique<Event_Source>(Event_Source{name});
        succeeded();
        return source.release();
    }

    bool report(Event_Source* source, int type, int id, const std::string& text) override
    {
        const int level = level_of(type);
        if ((setlogmask(0) & LOG_MASK(level)) == 0)
            return succeeded(); // the host wants none of them
        const std::string event = ": event " + std::to_string(id) + ": ";
        errno = daemon_.send(LOG_USER | level, source->name.c_str() + event + text.c_str());
        return errno == 0;
    }

    bool deregister_source(Event_Source* source) override
    {
        delete source;
        return succeeded();
    }

private:
    static constexpr int patience = 1000; // milliseconds

    Syslog daemon_{"/dev/log", patience};
};

} // namespace

Event_System& event_system() noexcept
{
    static Linux_Event_System system;
    return system;
}

} // namespace kr_platform

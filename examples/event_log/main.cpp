// A small installer and service in one: declares a source of events, writes an event as that
// source, and shows what the system has of it.
//
//     event_log            declare, write, show; needs administrative rights on Windows
//     event_log --remove   forget the source
//
// On Windows the event viewer looks for the message table in ..\common\eventMessages.dll, as seen
// from the folder in which this was run first.

#include <KRCommon/eventlog/Event_Log.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

namespace {

constexpr const char* source_name = "KRCommon example";
constexpr bool has_registry = std::filesystem::path::preferred_separator == '\\';
constexpr int error_event = 1; // the event's type, as Windows numbers them

// What an installer does, once a machine.
void install(KR_Event_Log& events)
{
    if (has_registry) // elsewhere it would only log that this is not supported
        events.createRegistry();
}

// What a service does with a notification.
void report_lost_camera(KR_Event_Log& events)
{
    ns__LogParam host;
    host.name = L"Host";
    host.value = L"10.0.0.5";
    ns__LogParam camera;
    camera.name = L"Camera";
    camera.value = L"gate 7";
    ns__LogEntity entity;
    entity.params = {camera};

    const auto code = ns__NotificationCode__value_0;
    std::string message = "the video stream is lost";
    std::string text;
    events.prepareEventMsg(code, message, {host}, entity, text);
    events.write(code, error_event, text);
    std::printf("written:\n%s", text.c_str());
}

std::string source_key()
{
    return std::string("\"HKLM\\SYSTEM\\CurrentControlSet\\Services\\Eventlog\\Application\\") +
           source_name + '"';
}

int show()
{
    if (has_registry)
        return std::system(("reg query " + source_key() + " /v EventMessageFile").c_str());
    std::printf("to be seen by one of:\n"
                "  journalctl --since=-1min | grep '%s: event 0'\n"
                "  grep '%s: event 0' /var/log/syslog\n",
                source_name, source_name);
    return 0;
}

int forget()
{
    return has_registry ? std::system(("reg delete " + source_key() + " /f").c_str()) : 0;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1)
        return std::string(argv[1]) == "--remove" ? forget() : 2;
    {
        KR_Event_Log events(source_name, false);
        install(events);
        events.registerToEventLog();
        report_lost_camera(events);
    } // logs the line of an orderly shutdown, see docs/event_log.md
    return show() == 0 ? 0 : 1;
}

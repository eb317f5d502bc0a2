// A module that uses the library, for programs that come to know the library in the middle of
// their life: it is loaded and unloaded with the module. Everything in it is exported.

#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Manager.h>

#include <ace/Log_Msg_Callback.h>

#include <atomic>

namespace {

// Called for every line, before ACE takes its log lock.
class Counter : public ACE_Log_Msg_Callback {
public:
    void log(ACE_Log_Record&) override { ++lines; }
    std::atomic<int> lines{0};
};

Counter* const counter = new Counter; // never destroyed: threads run on while the process ends

} // namespace

extern "C" {

void plugin_open(const char* folder, const char* prefix)
{
    KR_LOG_MANAGER* const logs = KR_LOG_MANAGER::instance();
    logs->set_debug_level(3);
    logs->open(nullptr, folder, prefix);
    ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::STDERR);
    ACE_Log_Msg::instance()->set_flags(ACE_Log_Msg::MSG_CALLBACK);
}

void plugin_log(const char* text)
{
    kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF %s\n", text);
}

// Counts the calling thread's lines from now on.
void plugin_count()
{
    ACE_Log_Msg::instance()->msg_callback(counter);
}

int plugin_counted()
{
    return counter->lines;
}

} // extern "C"

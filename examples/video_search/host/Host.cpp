#include "Host.h"

#include <KRCommon/frame/Configuration_Status.h>
#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Manager.h>
#include <KRCommon/kernels/Instructions.h>
#include <KRCommon/util/Code_Pages.h>
#include <KRCommon/util/Guid.h>
#include <KRCommon/util/Program_Version.h>

#include <ace/Event_Handler.h>
#include <ace/OS_NS_errno.h>
#include <ace/OS_NS_unistd.h>
#include <ace/Signal.h>
#include <ace/Thread.h>
#include <ace/UUID.h>

#include <csignal>
#include <ostream>
#include <system_error>
#include <type_traits>

namespace video_search {

namespace {

constexpr unsigned debug_level = 4;        // everything from debug to notice
constexpr int wait_microseconds = 100'000; // until run() looks whether it is to end
constexpr int report_seconds = 60;

} // namespace

std::filesystem::path to_path(const std::string& name)
{
    if constexpr (std::is_same_v<std::filesystem::path::value_type, wchar_t>)
        return kr_to_widechar(name);
    else
        return name;
}

// Signals

namespace {

// All that a signal handler may touch.
std::atomic<bool> is_signalled{false};
static_assert(std::atomic<bool>::is_always_lock_free);

std::atomic<bool> has_host{false};

extern "C" void take_signal(int number)
{
    std::signal(number, take_signal); // Windows has set it back to ending the process
    is_signalled = true;
}

extern "C" void take_hangup(int number)
{
    std::signal(number, take_hangup);
    KR_LOG_MANAGER::request_reopen();
}

} // namespace

// Takes the signals while it lives.
class Host::Signals {
public:
    Signals();
    ~Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

private:
    void register_hangup();

    ACE_Sig_Action previous_interrupt_;
    ACE_Sig_Action previous_terminate_;
    ACE_Sig_Action previous_hangup_;
};

Host::Signals::Signals()
{
    if (has_host.exchange(true))
        throw std::logic_error("a process has one host at a time");
    is_signalled = false;
    ACE_Sig_Action action(take_signal);
    action.register_action(SIGINT, &previous_interrupt_);
    action.register_action(SIGTERM, &previous_terminate_);
    register_hangup();
}

// With a terminal it means that this has gone; else somebody has moved the log file away. nohup's wish is
// kept. Windows has no such signal.
void Host::Signals::register_hangup()
{
    const bool has_terminal = ACE_OS::isatty(ACE_STDIN) != 0;
    // A thread that waits for connections need not know.
    ACE_Sig_Action action(has_terminal ? take_signal : take_hangup, ACE_Sig_Set(), SA_RESTART);
    action.register_action(SIGHUP, &previous_hangup_);
    if (previous_hangup_.handler() == ACE_SignalHandler(SIG_IGN))
        previous_hangup_.register_action(SIGHUP);
}

Host::Signals::~Signals()
{
    previous_hangup_.register_action(SIGHUP);
    previous_terminate_.register_action(SIGTERM);
    previous_interrupt_.register_action(SIGINT);
    has_host = false;
}

bool Host::is_interrupted() const noexcept
{
    return is_signalled;
}

// Log

namespace {

void make_folder(const std::string& folder)
{
    std::error_code error;
    std::filesystem::create_directories(to_path(folder), error);
    if (error)
        throw Failure("cannot make the log folder '" + folder + "': " + error.message());
}

} // namespace

// The log files, while it lives; then the log settings are again those of before.
class Host::Log {
public:
    Log(ACE_Reactor& reactor, const std::string& folder, const std::string& program);
    ~Log() { close(); }
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

private:
    void close();

    ACE_Log_Msg& settings_ = *ACE_Log_Msg::instance();
    const unsigned long flags_ = settings_.flags();
    const unsigned long mask_ = settings_.priority_mask(ACE_Log_Msg::PROCESS);
};

Host::Log::Log(ACE_Reactor& reactor, const std::string& folder, const std::string& program)
{
    make_folder(folder);
    KR_LOG_MANAGER* const manager = KR_LOG_MANAGER::instance();
    KR_Log_Options options;
    options.retries = options.finds_lost_file = options.keeps_file_in_use = true;
    options.writes_header = true;
    options.silences_stderr = true; // the files are enough
    manager->set_options(options);
    manager->set_debug_level(debug_level);
    manager->open(&reactor, folder.c_str(), program.c_str());
    if (!manager->status().is_good) {
        close();
        throw Failure("cannot write a log file in the folder '" + folder + "'");
    }
    options.reports_failures = true; // those that come later: of this one the failure tells
    manager->set_options(options);
}

void Host::Log::close()
{
    KR_LOG_MANAGER::instance()->close();
    KR_LOG_MANAGER::instance()->set_options({});
    settings_.clr_flags(~0UL);
    settings_.set_flags(flags_);
    settings_.priority_mask(mask_, ACE_Log_Msg::PROCESS);
}

// Reporter

// Reports the profile again and again, and a last time when it ends.
class Host::Reporter : private ACE_Event_Handler {
public:
    Reporter(ACE_Reactor& reactor, ProfileHelper& profile);
    ~Reporter() override;
    Reporter(const Reporter&) = delete;
    Reporter& operator=(const Reporter&) = delete;

private:
    int handle_timeout(const ACE_Time_Value& now, const void* act) override;

    ProfileHelper& profile_;
};

Host::Reporter::Reporter(ACE_Reactor& reactor, ProfileHelper& profile)
    : ACE_Event_Handler(&reactor), profile_(profile)
{
    const ACE_Time_Value period(report_seconds);
    if (reactor.schedule_timer(this, nullptr, period, period) == -1)
        throw Failure("cannot start the timer of the profiler");
}

Host::Reporter::~Reporter()
{
    reactor()->cancel_timer(this);
    profile_.ReportStat();
}

int Host::Reporter::handle_timeout(const ACE_Time_Value& /*now*/, const void* /*act*/)
{
    profile_.ReportStat();
    return 0; // the timer stays
}

// Host

std::string make_run_id()
{
    ACE_Utils::UUID uuid;
    ACE_Utils::UUID_GENERATOR::instance()->generate_UUID(uuid);
    return kr_to_string(kr_to_guid(uuid.to_string()->c_str()));
}

namespace {

// It was read before any log was open.
void report_configuration(const std::string& program)
{
    const KR_Configuration_Status& configuration = kr_configuration_status();
    if (configuration.is_read)
        kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF %s: named colours from '%s'\n", program,
               configuration.path);
    else
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR %s: no named colours, '%s' is not used: %s\n",
               program, configuration.path, configuration.error);
}

} // namespace

// The interval of the profiler is 0, so that each call reports: the reporter keeps the time.
Host::Host(const std::string& program, const std::string& logs)
    : program_(program), run_id_(make_run_id()), signals_(std::make_unique<Signals>()),
      log_(std::make_unique<Log>(reactor_, logs, program)), profile_(0, logs + '/' + program),
      reporter_(std::make_unique<Reporter>(reactor_, profile_))
{
    kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF %s: started, run %s, %s on %s, instructions %s\n",
           program_, run_id_, kr_to_string(kr_running_program_version()),
           kr_to_string(kr_library_version()), kr_instructions());
    report_configuration(program_);
}

Host::~Host()
{
    reporter_.reset();
    kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF %s: %s, run %s\n", program_,
           is_interrupted() ? "interrupted" : "ended", run_id_);
}

bool Host::run(KR_Component_Base& component)
{
    reactor_.owner(ACE_Thread::self());
    if (component.component_start(&reactor_) != 0)
        return false;
    bool has_run = false;
    try {
        has_run = run_reactor();
    } catch (...) {
        component.component_stop();
        throw;
    }
    return component.component_stop() == 0 && has_run;
}

bool Host::run_reactor()
{
    while (!is_over_ && !is_interrupted()) {
        ACE_Time_Value wait(0, wait_microseconds);
        if (reactor_.handle_events(wait) == -1 && ACE_OS::last_error() != EINTR) {
            kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR %s: the reactor failed, %p\n", program_,
                   "handle_events");
            return false;
        }
    }
    return true;
}

} // namespace video_search

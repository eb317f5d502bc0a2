#include <KRCommon/frame/Log_Manager.h>

#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Files.h>
#include <KRCommon/frame/Log_Fork.h>
#include <KRCommon/frame/Log_Gate.h>
#include <KRCommon/frame/Log_Health.h>
#include <KRCommon/frame/Log_Line.h>
#include <KRCommon/frame/Log_Ring.h>
#include <KRCommon/frame/Log_Stream.h>

#include <ace/Guard_T.h>
#include <ace/Lock.h>
#include <ace/OS_NS_stdlib.h>
#include <ace/OS_NS_sys_time.h>
#include <ace/OS_NS_unistd.h>
#include <ace/Reactor.h>

#include <algorithm>
#include <atomic>
#include <ostream>
#include <utility>

using kr_internal::Log_Health;
using kr_internal::Log_Lock;
using kr_internal::Saved_Log_Attributes;

namespace {

const ACE_Time_Value& tick()
{
    static const ACE_Time_Value five_seconds(5);
    return five_seconds;
}

unsigned long mask_of_level(unsigned level) noexcept
{
    switch (level) {
    case 1: return LM_EMERGENCY | LM_ERROR;
    // Quirk: debug lines come before informational ones.
    case 2: return LM_EMERGENCY | LM_ERROR | LM_DEBUG;
    case 3: return LM_EMERGENCY | LM_ERROR | LM_DEBUG | LM_INFO;
    case 4: return LM_EMERGENCY | LM_ERROR | LM_DEBUG | LM_INFO | LM_NOTICE;
    default: return LM_EMERGENCY;
    }
}

std::string text_or_empty(const char* text)
{
    return text != nullptr ? text : "";
}

// A stream in the failed state has position -1 and so is never full.
bool is_full(std::ostream& stream, std::uint32_t max_file_size)
{
    return static_cast<std::int64_t>(stream.tellp()) >= static_cast<std::int64_t>(max_file_size);
}

constexpr KR_Log_Site file_was_lost{"Log_Manager.cpp", 56, LM_ERROR};

std::atomic<bool> is_reopening_asked_for{false};

// Windows tells it under the loader's lock, which comes before the log lock: asked for before that one is
// taken, and kept.
const std::string& program_path()
{
    static const std::string path = kr_platform::program_path();
    return path;
}

// "host 'cam01', program '/usr/bin/server'"
std::string header_names()
{
    char host[256] = {};
    if (ACE_OS::hostname(host, sizeof host - 1) != 0)
        host[0] = '\0';
    constexpr std::size_t room = 600;
    const kr_internal::Log_Text host_text(std::string_view(host), room);
    const kr_internal::Log_Text program_text(program_path(), room);
    return std::string("host '") + host_text.value() + "', program '" + program_text.value() + '\'';
}

bool is_level_managers_alone = false; // promised by the host; guarded by the log lock

// After a change of the level, the ring or the promise. The log lock is held.
void note_dropped_priorities(ACE_Log_Msg& log)
{
    const bool is_sure = is_level_managers_alone && kr_internal::log_ring() == nullptr;
    const auto passed = static_cast<std::uint32_t>(log.priority_mask(ACE_Log_Msg::PROCESS));
    kr_internal::dropped_priorities = is_sure ? ~passed : 0;
}

KR_LOG_MANAGER* process_manager = nullptr; // of Of_Process

} // namespace

// The process's manager. Once it has been opened, the process's end does not destroy it: threads
// of the host run on meanwhile, and a reactor may still hold it.
class KR_LOG_MANAGER::Of_Process {
public:
    Of_Process()
    {
        Log_Health::of_process(); // no fork makes it
        process_manager = new KR_LOG_MANAGER;
        kr_internal::keep_log_across_forks({&before_fork, &in_parent, &in_child});
    }

    ~Of_Process()
    {
        constexpr int patience = 1000; // ms: a line takes microseconds, unless it is stuck
        if (kr_platform::do_threads_outlive_exit() &&
            !kr_internal::Log_Gate::of_process().close(patience))
            kr_platform::abandon_stderr_lock();
        if (process_manager->openings_ == 0)
            delete std::exchange(process_manager, nullptr);
        else
            process_manager->leave_reactor();
    }

private:
    static void before_fork() noexcept
    {
        if (process_manager != nullptr)
            process_manager->timer_mutex_.acquire();
        Log_Health::of_process().lock();
    }
    static void in_parent() noexcept
    {
        Log_Health::of_process().unlock();
        if (process_manager != nullptr)
            process_manager->timer_mutex_.release();
    }
    // A child has a copy of the reactor, but not the thread that runs it: asking it to cancel the
    // timer would wait for ever. So the timer is forgotten.
    static void in_child() noexcept
    {
        kr_internal::Log_Gate::of_process().forget_other_threads();
        if (kr_internal::Log_Ring* const ring = kr_internal::log_ring())
            ring->forget_other_threads();
        in_parent();
        if (process_manager != nullptr)
            process_manager->take_timer();
    }
};

KR_LOG_MANAGER* KR_LOG_MANAGER::instance()
{
    static const Of_Process process; // built at attach: destroyed before ACE's own objects
    return process_manager;
}

KR_LOG_MANAGER::KR_LOG_MANAGER() : saved_attributes_(std::make_unique<Saved_Log_Attributes>())
{
    const Log_Lock lock;
    saved_attributes_->capture();
}

KR_LOG_MANAGER::KR_LOG_MANAGER(const KR_LOG_MANAGER& other)
    : ACE_Event_Handler(nullptr, other.priority()),
      saved_attributes_(std::make_unique<Saved_Log_Attributes>())
{
    copy_settings(other);
}

KR_LOG_MANAGER& KR_LOG_MANAGER::operator=(const KR_LOG_MANAGER& other)
{
    if (this != &other)
        copy_settings(other);
    return *this;
}

// Without the log lock: it may be somebody's for ever.
KR_LOG_MANAGER::~KR_LOG_MANAGER()
{
    cancel(take_timer());
}

void KR_LOG_MANAGER::copy_settings(const KR_LOG_MANAGER& other)
{
    const Log_Lock lock;
    current_date_ = other.current_date_;
    part_number_ = other.part_number_;
    max_total_size_ = other.max_total_size_;
    max_file_size_ = other.max_file_size_;
    file_name_prefix_ = other.file_name_prefix_;
    log_directory_ = other.log_directory_;
    options_ = other.options_;
    saved_attributes_->capture(); // ACE's record cannot be copied
}

void KR_LOG_MANAGER::open(ACE_Reactor* reactor, const char* directory, const char* prefix)
{
    const kr_internal::Log_Passage passage;
    if (!passage)
        return;
    // Threads that live on after an unloading would keep a stream that a second load knows nothing
    // of. Before the log lock is taken, since the loader's lock comes first.
    kr_platform::keep_loaded(reinterpret_cast<void (*)()>(&KR_LOG_MANAGER::instance));
    static_cast<void>(program_path());
    Timer previous;
    try {
        const Log_Lock lock;
        previous = take_timer();
        apply_options();
        if (options_.silences_stderr)
            lock.log().clr_flags(ACE_Log_Msg::STDERR);
        else
            lock.log().set_flags(ACE_Log_Msg::STDERR);
        file_name_prefix_ = text_or_empty(prefix);
        log_directory_ = text_or_empty(directory);
        install_first_file();
    } catch (...) { // no memory
        cancel(previous);
        throw;
    }
    cancel(previous);
    start_timer(reactor, previous.opening);
}

void KR_LOG_MANAGER::close()
{
    const kr_internal::Log_Passage passage;
    if (!passage) {
        cancel(take_timer());
        return;
    }
    Timer timer;
    {
        const Log_Lock lock;
        timer = take_timer();
    }
    cancel(timer);
}

// The log lock is held.
void KR_LOG_MANAGER::install_first_file()
{
    current_date_ = ACE_Date_Time(ACE_OS::gettimeofday());
    part_number_ = kr_internal::highest_part(log_directory_, log_file_name_left());
    set_current_file();
    del_old_files();
}

// Ends the open state and begins the next, whose number is in the result. The caller cancels the
// timer when it holds no lock: a reactor's thread that is about to log holds what cancelling waits
// for.
KR_LOG_MANAGER::Timer KR_LOG_MANAGER::take_timer()
{
    const ACE_Guard<ACE_Thread_Mutex> guard(timer_mutex_);
    Timer timer = timer_;
    timer_ = Timer();
    reactor(nullptr);
    timer.opening = ++openings_;
    return timer;
}

// At the process's end: as close(), but waits for nobody. A reactor that is busy keeps the timer,
// which does no harm, since the manager stays.
void KR_LOG_MANAGER::leave_reactor()
{
    const Timer timer = take_timer();
    if (timer.reactor == nullptr || timer.reactor->lock().tryacquire() == -1)
        return;
    cancel(timer);
    timer.reactor->lock().release();
}

// By number, not by handler: a timer that another thread's open() has just started stays.
void KR_LOG_MANAGER::cancel(const Timer& timer)
{
    if (timer.reactor != nullptr)
        timer.reactor->cancel_timer(timer.id, nullptr, 1);
}

void KR_LOG_MANAGER::start_timer(ACE_Reactor* reactor, unsigned opening)
{
    if (reactor == nullptr)
        return;
    const Timer timer{reactor, reactor->schedule_timer(this, nullptr, tick(), tick()), opening};
    if (timer.id == -1)
        return;
    {
        const ACE_Guard<ACE_Thread_Mutex> guard(timer_mutex_);
        if (openings_ == opening) {
            timer_ = timer;
            return;
        }
        this->reactor(timer_.reactor); // scheduling has set it to the reactor of a past opening
    }
    cancel(timer);
}

void KR_LOG_MANAGER::set_debug_level(unsigned level)
{
    const kr_internal::Log_Passage passage;
    if (!passage)
        return;
    kr_internal::own_log().priority_mask(mask_of_level(level), ACE_Log_Msg::PROCESS);
    Log_Health::of_process().set_level(level);
    const Log_Lock lock;
    note_dropped_priorities(lock.log());
    saved_attributes_->capture();
}

void KR_LOG_MANAGER::set_options(const KR_Log_Options& options)
{
    const kr_internal::Log_Passage passage;
    if (!passage)
        return;
    kr_platform::keep_loaded(reinterpret_cast<void (*)()>(&KR_LOG_MANAGER::instance));
    static_cast<void>(program_path());
    const Log_Lock lock;
    const KR_Log_Options previous = std::exchange(options_, options);
    try {
        apply_options();
    } catch (...) {
        options_ = previous;
        throw;
    }
    saved_attributes_->capture();
}

KR_Log_Options KR_LOG_MANAGER::options() const
{
    const Log_Lock lock;
    return options_;
}

// The log lock is held.
void KR_LOG_MANAGER::apply_options()
{
    constexpr std::uint32_t most_early_bytes = 1'048'576;
    constexpr std::uint32_t most_ring_lines = 10'000;
    kr_internal::Log_Policy policy;
    policy.retries = options_.retries;
    policy.reports = options_.reports_failures;
    policy.gives_name = options_.finds_lost_file;
    if (options_.writes_header)
        policy.header = header_names();
    const Log_Lock lock;
    const bool is_early = options_.early_bytes > 0 && Log_Health::of_process().place().file.empty();
    kr_internal::set_log_policy(lock.log(), std::move(policy),
                                std::min(options_.early_bytes, most_early_bytes));
    if (is_early)
        lock.log().set_flags(ACE_Log_Msg::OSTREAM);
    kr_internal::set_log_ring(std::min(options_.ring_lines, most_ring_lines));
    kr_internal::set_fast_lines(options_.fast_lines &&
                                ACE_OS::getenv("ACE_LOG_TIMESTAMP") == nullptr);
    is_level_managers_alone = options_.only_manager_sets_level;
    note_dropped_priorities(lock.log());
}

bool KR_LOG_MANAGER::reopen()
{
    const kr_internal::Log_Passage passage;
    if (!passage)
        return false;
    const Log_Lock lock;
    if (Log_Health::of_process().place().file.empty())
        return false;
    change_file();
    return kr_internal::log_buffer()->is_good();
}

void KR_LOG_MANAGER::request_reopen() noexcept
{
    is_reopening_asked_for = true;
}

KR_Log_Status KR_LOG_MANAGER::status() const
{
    const Log_Health& health = Log_Health::of_process();
    KR_Log_Status status = health.status();
    if (status.file.empty())
        return status;
    const kr_internal::Log_Place place = health.place();
    if (const auto info = kr_platform::file_info(status.file))
        status.file_bytes = info->size;
    status.total_bytes = kr_internal::bytes_of_log_files(place.directory, place.prefix);
    return status;
}

void KR_LOG_MANAGER::set_file_max_sizes(unsigned max_file_size, unsigned max_total_size)
{
    const Log_Lock lock;
    max_file_size_ = max_file_size;
    max_total_size_ = max_total_size;
}

void KR_LOG_MANAGER::get_file_max_sizes(unsigned* max_file_size, unsigned* max_total_size)
{
    const Log_Lock lock;
    if (max_file_size != nullptr)
        *max_file_size = max_file_size_;
    if (max_total_size != nullptr)
        *max_total_size = max_total_size_;
}

void KR_LOG_MANAGER::non_ace_thread_init_log()
{
    const kr_internal::Log_Passage passage;
    if (!passage)
        return;
    const Log_Lock lock;
    saved_attributes_->inherit(lock.log());
}

int KR_LOG_MANAGER::handle_timeout(const ACE_Time_Value& now, const void*)
{
    const kr_internal::Log_Passage passage;
    if (!passage)
        return 0;
    try {
        if (rotate(now))
            del_old_files();
    } catch (...) {
        // No memory. The reactor is no place to report it: the file in use stays, and the next tick
        // tries again.
    }
    return 0;
}

// Whether it was time for the next file.
bool KR_LOG_MANAGER::rotate(const ACE_Time_Value& now)
{
    const Log_Lock lock;
    kr_internal::join_log_stream(lock.log());
    std::ostream* const stream = lock.log().msg_ostream();
    if (stream == nullptr || Log_Health::of_process().place().file.empty())
        return false;
    const ACE_Date_Time date(now);
    // Quirk: the day of the month alone, so the 5th of the next month is the same day.
    const bool is_same_day = date.day() == current_date_.day();
    if (is_same_day && !is_full(*stream, max_file_size_)) {
        look_after_file();
        return false;
    }
    const ACE_Date_Time previous_date = current_date_;
    const std::uint32_t previous_part = part_number_;
    part_number_ = is_same_day ? part_number_ + 1 : 0;
    current_date_ = date;
    bool is_changed = false;
    try {
        is_changed = change_file();
    } catch (...) {
        current_date_ = previous_date;
        part_number_ = previous_part;
        throw;
    }
    if (!is_changed) { // the old file goes on
        current_date_ = previous_date;
        part_number_ = previous_part;
    }
    return is_changed;
}

// What else a tick does, when asked to. The log lock is held.
void KR_LOG_MANAGER::look_after_file()
{
    const kr_internal::Log_Buffer& buffer = *kr_internal::log_buffer();
    const bool is_lost = options_.finds_lost_file && buffer.is_good() &&
                         !buffer.is_at(Log_Health::of_process().place().file);
    const bool has_failed = options_.retries && !buffer.is_good();
    const bool is_asked_for = is_reopening_asked_for.exchange(false);
    if (is_lost)
        set_current_file(); // Windows keeps a deleted file's name until the file is closed
    else if (has_failed || is_asked_for)
        change_file();
    if (is_lost && !is_asked_for && options_.reports_failures)
        kr_log(file_was_lost,
               "%T T%04t*ERR KR_LOG_MANAGER: The log file was deleted or renamed.\n");
}

void KR_LOG_MANAGER::set_current_file()
{
    open_current_file(false);
}

// The same for a file that follows another, which stays when the next cannot be opened and the host
// wants it so: false.
bool KR_LOG_MANAGER::change_file()
{
    return open_current_file(true);
}

bool KR_LOG_MANAGER::open_current_file(bool may_keep_old)
{
    const Log_Lock lock;
    using Old_File = kr_internal::Log_Buffer::Old_File;
    kr_internal::Log_Place place{log_file_name(), log_directory_, file_name_prefix_, part_number_};
    const bool is_changed = kr_internal::open_log_file(
        lock.log(), place.file, may_keep_old ? Old_File::stays : Old_File::goes);
    if (is_changed)
        Log_Health::of_process().set_place(std::move(place));
    lock.log().set_flags(ACE_Log_Msg::OSTREAM);
    saved_attributes_->capture();
    return is_changed;
}

void KR_LOG_MANAGER::del_old_files()
{
    kr_internal::Prune_Request request;
    {
        const Log_Lock lock;
        request = {log_directory_, file_name_prefix_, max_total_size_, {}};
        if (options_.keeps_file_in_use)
            request.exempt = Log_Health::of_process().place().file;
    }
    kr_internal::prune_log_files(request);
}

std::string KR_LOG_MANAGER::log_file_name_left()
{
    kr_platform::make_folder(log_directory_);
    return kr_internal::log_file_left(log_directory_, file_name_prefix_, current_date_);
}

std::string KR_LOG_MANAGER::log_file_name_right()
{
    return kr_internal::log_file_right(part_number_);
}

std::string KR_LOG_MANAGER::log_file_name()
{
    return log_file_name_left() + log_file_name_right();
}

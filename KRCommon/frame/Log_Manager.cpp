#include <KRCommon/frame/Log_Manager.h>

#include <KRCommon/frame/Log_Files.h>
#include <KRCommon/frame/Log_Fork.h>
#include <KRCommon/frame/Log_Gate.h>
#include <KRCommon/frame/Log_Stream.h>

#include <ace/Guard_T.h>
#include <ace/Lock.h>
#include <ace/OS_NS_sys_time.h>
#include <ace/Reactor.h>

#include <ostream>
#include <utility>

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

KR_LOG_MANAGER* process_manager = nullptr; // of Of_Process

} // namespace

// The process's manager. Once it has been opened, the process's end does not destroy it: threads
// of the host run on meanwhile, and a reactor may still hold it.
class KR_LOG_MANAGER::Of_Process {
public:
    Of_Process()
    {
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
    }
    static void in_parent() noexcept
    {
        if (process_manager != nullptr)
            process_manager->timer_mutex_.release();
    }
    // A child has a copy of the reactor, but not the thread that runs it: asking it to cancel the
    // timer would wait for ever. So the timer is forgotten.
    static void in_child() noexcept
    {
        kr_internal::Log_Gate::of_process().forget_other_threads();
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
    Timer previous;
    try {
        const Log_Lock lock;
        previous = take_timer();
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
    const Log_Lock lock;
    saved_attributes_->capture();
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
    if (stream == nullptr)
        return false;
    const ACE_Date_Time date(now);
    // Quirk: the day of the month alone, so the 5th of the next month is the same day.
    const bool is_same_day = date.day() == current_date_.day();
    if (is_same_day && !is_full(*stream, max_file_size_))
        return false;
    const ACE_Date_Time previous_date = current_date_;
    const std::uint32_t previous_part = part_number_;
    part_number_ = is_same_day ? part_number_ + 1 : 0;
    current_date_ = date;
    try {
        set_current_file();
    } catch (...) {
        current_date_ = previous_date;
        part_number_ = previous_part;
        throw;
    }
    return true;
}

void KR_LOG_MANAGER::set_current_file()
{
    const Log_Lock lock;
    kr_internal::open_log_file(lock.log(), log_file_name());
    lock.log().set_flags(ACE_Log_Msg::OSTREAM);
    saved_attributes_->capture();
}

void KR_LOG_MANAGER::del_old_files()
{
    kr_internal::Prune_Request request;
    {
        const Log_Lock lock;
        request = {log_directory_, file_name_prefix_, max_total_size_};
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

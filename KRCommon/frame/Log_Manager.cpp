#include <KRCommon/frame/Log_Manager.h>

#include <KRCommon/frame/Log_Files.h>
#include <KRCommon/frame/Log_Fork.h>
#include <KRCommon/frame/Log_Stream.h>

#include <ace/OS_NS_sys_time.h>
#include <ace/Reactor.h>

#include <ostream>

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

} // namespace

KR_LOG_MANAGER* KR_LOG_MANAGER::instance()
{
    static KR_LOG_MANAGER manager;
    return &manager;
}

KR_LOG_MANAGER::KR_LOG_MANAGER() : saved_attributes_(std::make_unique<Saved_Log_Attributes>())
{
    {
        const Log_Lock lock;
        saved_attributes_->capture();
    }
    // A forked child has a copy of the reactor, but not the thread that runs it: asking it to cancel
    // the timer would wait for ever.
    kr_internal::keep_log_across_forks([]() noexcept { instance()->take_timer(); });
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

KR_LOG_MANAGER::~KR_LOG_MANAGER()
{
    // At process exit a thread may have died inside the log lock: leave it alone where possible.
    if (!is_open_ && timer_.reactor == nullptr)
        return;
    try {
        close();
    } catch (...) { // no memory for the log of a thread that never logged
    }
}

void KR_LOG_MANAGER::copy_settings(const KR_LOG_MANAGER& other)
{
    const Log_Lock lock;
    current_date_ = other.current_date_;
    part_number_ = other.part_number_;
    is_open_ = other.is_open_;
    max_total_size_ = other.max_total_size_;
    max_file_size_ = other.max_file_size_;
    file_name_prefix_ = other.file_name_prefix_;
    log_directory_ = other.log_directory_;
    saved_attributes_->capture(); // ACE's record cannot be copied
}

void KR_LOG_MANAGER::open(ACE_Reactor* reactor, const char* directory, const char* prefix)
{
    // Threads may log after an unloading, through code of this library. Before the log lock is taken,
    // since the loader's lock comes first.
    kr_platform::keep_loaded(reinterpret_cast<void (*)()>(&KR_LOG_MANAGER::instance));
    Timer previous;
    unsigned opening = 0;
    try {
        const Log_Lock lock;
        previous = take_timer();
        opening = openings_;
        lock.log().set_flags(ACE_Log_Msg::STDERR);
        file_name_prefix_ = text_or_empty(prefix);
        log_directory_ = text_or_empty(directory);
        install_first_file();
        is_open_ = true;
    } catch (...) { // no memory
        cancel(previous);
        throw;
    }
    cancel(previous);
    start_timer(reactor, opening);
}

void KR_LOG_MANAGER::close()
{
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

// Ends the open state; the log lock is held. The caller cancels the timer when it has released
// the lock: a reactor's thread that is about to log holds what cancelling waits for.
KR_LOG_MANAGER::Timer KR_LOG_MANAGER::take_timer()
{
    const Timer timer = timer_;
    timer_ = Timer();
    reactor(nullptr);
    is_open_ = false;
    ++openings_;
    return timer;
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
    const Timer timer{reactor, reactor->schedule_timer(this, nullptr, tick(), tick())};
    if (timer.id == -1)
        return;
    {
        const Log_Lock lock;
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
    const Log_Lock lock;
    saved_attributes_->inherit(lock.log());
}

int KR_LOG_MANAGER::handle_timeout(const ACE_Time_Value& now, const void*)
{
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

#include <KRCommon/capi/krcommon_c.h>

#include <KRCommon/capi/Call.h>
#include <KRCommon/capi/Handles.h>
#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Manager.h>

#include <ace/Reactor.h>
#include <ace/Thread.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>

using namespace kr_internal::c;

namespace {

using Clock = std::chrono::steady_clock;

// The reactor of the open log, and the thread that turns it.
class Turned_Reactor {
public:
    ACE_Reactor* reactor() noexcept { return &reactor_; }
    bool is_usable() { return reactor_.initialized() != 0; }

    kr_c_error turn(std::int64_t microseconds)
    {
        {
            const std::lock_guard lock(mutex_);
            if (is_turned_)
                return KR_C_IN_USE;
            is_turned_ = true;
        }
        const bool is_good = turn_until_stopped(microseconds);
        const std::lock_guard lock(mutex_);
        is_turned_ = false;
        changed_.notify_all();
        return is_good ? KR_C_OK : KR_C_SYSTEM;
    }

    void stop()
    {
        const std::lock_guard lock(mutex_);
        if (is_turned_ && !is_stopped_)
            wake();
        is_stopped_ = true;
    }

    // For good: waits until nobody turns it, and nobody will.
    void end()
    {
        std::unique_lock lock(mutex_);
        is_over_ = true;
        wake();
        changed_.wait(lock, [this] { return !is_turned_; });
    }

private:
    // Waits for nothing, however many wake-ups nobody has taken.
    void wake()
    {
        ACE_Time_Value no_time;
        reactor_.notify(nullptr, ACE_Event_Handler::EXCEPT_MASK, &no_time);
    }

    bool turn_until_stopped(std::int64_t microseconds)
    {
        reactor_.owner(ACE_Thread::self());
        const Clock::time_point begin = Clock::now();
        while (!takes_stop()) {
            // Should a wake-up be lost, a second is what it costs.
            ACE_Time_Value wait(1, 0);
            if (microseconds >= 0) {
                const auto gone =
                    std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - begin);
                const std::int64_t left = microseconds - gone.count();
                if (left <= 0)
                    return true;
                wait = std::min(wait, to_time_value(left));
            }
            if (reactor_.handle_events(wait) < 0 && errno != EINTR)
                return takes_stop();
        }
        return true;
    }

    bool takes_stop()
    {
        const std::lock_guard lock(mutex_);
        const bool is_stopped = is_stopped_ || is_over_;
        is_stopped_ = false;
        return is_stopped;
    }

    ACE_Reactor reactor_;
    std::mutex mutex_; // for the rest
    std::condition_variable changed_;
    bool is_turned_ = false;
    bool is_stopped_ = false;
    bool is_over_ = false;
};

std::atomic<bool> is_log_open{false};

using Use_Log = Use<kr_c_log, Turned_Reactor, Sharing::by_all>;

KR_LOG_MANAGER& manager()
{
    return *KR_LOG_MANAGER::instance();
}

kr_c_error check_prefix(const std::string& prefix)
{
    return prefix.find("_part_") == std::string::npos ? KR_C_OK : KR_C_OUT_OF_RANGE;
}

// With the place of the open log taken.
kr_c_error open_log(const std::string& directory, const std::string& prefix, kr_c_owned_log* log)
{
    kr_c_log* handle = nullptr;
    if (const kr_c_error error = give_handle<kr_c_log, Turned_Reactor>(&handle))
        return error;
    try {
        const Use_Log turned(handle);
        if (turned->is_usable()) {
            manager().open(turned->reactor(), directory.c_str(), prefix.c_str());
            *log = handle;
            return KR_C_OK;
        }
    } catch (const std::bad_alloc&) {
        take_handle<kr_c_log, Turned_Reactor>(&handle);
        throw;
    }
    take_handle<kr_c_log, Turned_Reactor>(&handle);
    return KR_C_SYSTEM;
}

} // namespace

kr_c_error kr_c_log_open(const char* directory, kr_c_size directory_length, const char* prefix,
                         kr_c_size prefix_length, kr_c_owned_log* log)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error =
                first_error({check_text(directory, directory_length),
                             check_text(prefix, prefix_length), check_pointer(log)}))
            return error;
        std::string folder;
        std::string stem;
        if (const kr_c_error error = to_system_text(directory, directory_length, folder))
            return error;
        if (const kr_c_error error = to_system_text(prefix, prefix_length, stem))
            return error;
        if (const kr_c_error error = check_prefix(stem))
            return error;
        if (is_log_open.exchange(true))
            return KR_C_IN_USE;
        const kr_c_error error = run([&] { return open_log(folder, stem, log); });
        if (error != KR_C_OK)
            is_log_open = false;
        return error;
    });
}

kr_c_error kr_c_log_run(kr_c_log* log, kr_c_int64 microseconds)
{
    return run([&]() -> kr_c_error {
        const Use_Log turned(log);
        return turned.error() != KR_C_OK ? turned.error() : turned->turn(microseconds);
    });
}

kr_c_error kr_c_log_stop(kr_c_log* log)
{
    return run([&]() -> kr_c_error {
        const Use_Log turned(log);
        if (turned.error() == KR_C_OK)
            turned->stop();
        return turned.error();
    });
}

kr_c_error kr_c_log_close(kr_c_owned_log* log)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = check_pointer(log))
            return error;
        if (*log == nullptr)
            return KR_C_OK;
        const auto held = take_handle<kr_c_log, Turned_Reactor>(log);
        if (held == nullptr)
            return KR_C_BAD_HANDLE;
        held->value.end();
        manager().close();
        is_log_open = false;
        return KR_C_OK;
    });
}

kr_c_error kr_c_log_set_level(kr_c_uint32 level)
{
    return run([&]() -> kr_c_error {
        if (level > 4)
            return KR_C_OUT_OF_RANGE;
        manager().set_debug_level(level);
        return KR_C_OK;
    });
}

kr_c_error kr_c_log_set_sizes(kr_c_uint32 file_size, kr_c_uint32 total_size)
{
    return run([&]() -> kr_c_error {
        manager().set_file_max_sizes(file_size, total_size);
        return KR_C_OK;
    });
}

kr_c_error kr_c_log_get_sizes(kr_c_uint32* file_size, kr_c_uint32* total_size)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error =
                first_error({check_pointer(file_size), check_pointer(total_size)}))
            return error;
        manager().get_file_max_sizes(file_size, total_size);
        return KR_C_OK;
    });
}

namespace {

struct Option_Flag {
    std::uint32_t flag;
    bool KR_Log_Options::*option;
};

constexpr Option_Flag option_flags[] = {
    {KR_C_LOG_RETRIES, &KR_Log_Options::retries},
    {KR_C_LOG_REPORTS_FAILURES, &KR_Log_Options::reports_failures},
    {KR_C_LOG_FINDS_LOST_FILE, &KR_Log_Options::finds_lost_file},
    {KR_C_LOG_KEEPS_FILE_IN_USE, &KR_Log_Options::keeps_file_in_use},
    {KR_C_LOG_WRITES_HEADER, &KR_Log_Options::writes_header},
    {KR_C_LOG_SILENCES_STDERR, &KR_Log_Options::silences_stderr},
    {KR_C_LOG_FAST_LINES, &KR_Log_Options::fast_lines},
    {KR_C_LOG_ONLY_MANAGER_SETS_LEVEL, &KR_Log_Options::only_manager_sets_level},
};

std::uint32_t flags_of(const KR_Log_Options& options)
{
    std::uint32_t flags = 0;
    for (const Option_Flag& each : option_flags)
        if (options.*each.option)
            flags |= each.flag;
    return flags;
}

} // namespace

kr_c_error kr_c_log_set_options(const kr_c_log_options* options)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = check_struct(options))
            return error;
        KR_Log_Options wanted;
        for (const Option_Flag& each : option_flags)
            wanted.*each.option = (options->flags & each.flag) != 0;
        wanted.early_bytes = options->early_bytes;
        wanted.ring_lines = options->ring_lines;
        if (flags_of(wanted) != options->flags)
            return KR_C_OUT_OF_RANGE;
        manager().set_options(wanted);
        return KR_C_OK;
    });
}

kr_c_error kr_c_log_get_options(kr_c_log_options* options)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = check_struct(options))
            return error;
        const KR_Log_Options set = manager().options();
        *options = {sizeof *options, flags_of(set), set.early_bytes, set.ring_lines};
        return KR_C_OK;
    });
}

namespace {

constexpr KR_Log_Site site_of(ACE_Log_Priority priority)
{
    return {"krcommon_c.h", 0, priority};
}

} // namespace

kr_c_error kr_c_log_line(kr_c_int32 priority, const char* text, kr_c_size text_length)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = check_bytes(text, text_length))
            return error;
        const std::string_view line = view_of(text, text_length);
        switch (priority) {
        case KR_C_LOG_DEBUG: kr_log(site_of(LM_DEBUG), "%T T%04t DBG %s\n", line); break;
        case KR_C_LOG_INFO: kr_log(site_of(LM_INFO), "%T T%04t INF %s\n", line); break;
        case KR_C_LOG_ERROR: kr_log(site_of(LM_ERROR), "%T T%04t*ERR %s\n", line); break;
        case KR_C_LOG_EMERGENCY: kr_log(site_of(LM_EMERGENCY), "%T T%04t*EMR %s\n", line); break;
        default: return KR_C_OUT_OF_RANGE;
        }
        return KR_C_OK;
    });
}

kr_c_error kr_c_log_reopen(kr_c_int32* is_good)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = check_pointer(is_good))
            return error;
        *is_good = manager().reopen() ? 1 : 0;
        return KR_C_OK;
    });
}

kr_c_error kr_c_log_get_status(kr_c_log_status* status)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = check_struct(status))
            return error;
        const KR_Log_Status found = manager().status();
        auto told = make_struct<kr_c_log_status>();
        told.part = found.part;
        told.is_good = found.is_good ? 1 : 0;
        told.level = found.level;
        told.last_error = found.last_error;
        told.last_error_time = found.last_error_time;
        told.file_bytes = found.file_bytes;
        told.total_bytes = found.total_bytes;
        told.lines = found.lines;
        told.lines_lost = found.lines_lost;
        *status = told;
        return KR_C_OK;
    });
}

kr_c_error kr_c_log_file(char* out, kr_c_size capacity, kr_c_size* length)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = check_out(out, capacity, length))
            return error;
        return give_text(from_system_text(manager().status().file), out, capacity, length);
    });
}

kr_c_error kr_c_log_last_error(char* out, kr_c_size capacity, kr_c_size* length)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = check_out(out, capacity, length))
            return error;
        return give_text(from_system_text(manager().status().last_error_text), out, capacity,
                         length);
    });
}

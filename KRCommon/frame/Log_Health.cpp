#include <KRCommon/frame/Log_Health.h>

#include <KRCommon/platform/Platform.h>

#include <ace/Guard_T.h>

#include <system_error>
#include <utility>

namespace kr_internal {

using Guard = ACE_Guard<ACE_Thread_Mutex>;

Log_Health& Log_Health::of_process()
{
    static Log_Health& health = *new Log_Health;
    return health;
}

void Log_Health::set_place(Log_Place place) noexcept
{
    const Guard guard(mutex_);
    std::swap(place_, place);
}

void Log_Health::set_error(int code) noexcept
{
    const Guard guard(mutex_);
    error_ = code;
    error_time_ = kr_platform::coarse_wall_microseconds();
}

KR_Log_Status Log_Health::status() const
{
    KR_Log_Status status;
    {
        const Guard guard(mutex_);
        status.file = place_.file;
        status.part = place_.part;
        status.last_error = error_;
        status.last_error_time = error_time_;
    }
    status.is_good = is_good_;
    status.lines = static_cast<std::uint64_t>(written_.load());
    status.lines_lost = static_cast<std::uint64_t>(lost_.load());
    status.level = level_;
    if (status.last_error != 0)
        status.last_error_text = std::system_category().message(status.last_error);
    return status;
}

Log_Place Log_Health::place() const
{
    const Guard guard(mutex_);
    return place_;
}

} // namespace kr_internal

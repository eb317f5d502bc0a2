#include <KRCommon/frame/Log_Fork.h>

#include <KRCommon/frame/Log_Gate.h>

#include <ace/Base_Thread_Adapter.h>
#include <ace/Log_Msg.h>
#include <ace/OS_Log_Msg_Attributes.h>

namespace kr_internal {

namespace {

kr_platform::Fork_Steps inner;
ACE_Log_Msg_Backend* backend = nullptr; // the host's own; guarded by the log lock

// What ACE keeps for the calling thread. A log line that it is in the middle of is not part of it.
class Thread_Settings {
public:
    // Without the lock, which cannot be had in a child.
    explicit Thread_Settings(ACE_Log_Msg& log)
        : callback_(log.msg_callback()), thread_(ACE_Base_Thread_Adapter::thr_desc_log_msg()),
          mask_(log.priority_mask(ACE_Log_Msg::THREAD))
    {
        ACE_Log_Msg::init_hook(attributes_); // with a share in a stream that ACE counts
    }

    void give_to(ACE_Log_Msg& log)
    {
        ACE_Log_Msg::inherit_hook(thread_, attributes_); // the share goes with it
        log.msg_callback(callback_);
        log.priority_mask(mask_, ACE_Log_Msg::THREAD); // also where there is no stream
    }

private:
    ACE_OS_Log_Msg_Attributes attributes_;
    ACE_Log_Msg_Callback* callback_;
    ACE_OS_Thread_Descriptor* thread_;
    u_long mask_;
};

thread_local bool holds_log = false;

// A thread whose log ACE cannot make for lack of memory forks without the lock, and so does one that
// forks while the process ends.
void hold_log() noexcept
{
    ACE_Log_Msg* const log = is_log_closed() ? nullptr : ACE_Log_Msg::instance();
    holds_log = log != nullptr;
    if (holds_log) {
        log->acquire();
        backend = ACE_Log_Msg::msg_backend();
    }
    inner.before();
}

void release_log() noexcept
{
    inner.in_parent();
    if (holds_log)
        ACE_Log_Msg::instance()->release();
}

// The lock belongs to the thread that took it, by a number which that thread does not have any more:
// nobody can release it here. ACE throws it away when its log is closed, and makes another.
void renew_log() noexcept
{
    if (holds_log) {
        ACE_Log_Msg* const log = ACE_Log_Msg::instance();
        Thread_Settings settings(*log);
        log->release(); // in vain, but tools that watch locks want to see it
        ACE_Base_Thread_Adapter::close_log_msg();
        if (ACE_Log_Msg* const renewed = ACE_Log_Msg::instance()) {
            settings.give_to(*renewed);
            ACE_Log_Msg::msg_backend(backend);
        }
    }
    inner.in_child();
}

} // namespace

void keep_log_across_forks(const kr_platform::Fork_Steps& steps) noexcept
{
    inner = steps;
    kr_platform::around_forks({&hold_log, &release_log, &renew_log});
}

} // namespace kr_internal

#pragma once

/// \file
/// The base of service components, KR_Component_Base.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/frame/Mutex.h>

#include <cstdint>
#include <string>

class ACE_Reactor;

/// The base of a long-lived service component: it gives the component a name, a state and a start
/// and a stop that check the state, call the derived class's hooks and log the outcome.
///
///     class Heartbeat final : public KR_Component_Base, private ACE_Event_Handler {
///     public:
///         Heartbeat() : KR_Component_Base("heartbeat") {}
///         ~Heartbeat() override
///         {
///             if (get_state() != STATE_STOPPED)
///                 component_stop();
///         }
///
///     private:
///         State do_component_start(ACE_Reactor* reactor) override
///         {
///             const ACE_Time_Value period(1);
///             reactor_ = reactor;
///             timer_ = reactor_ ? reactor_->schedule_timer(this, nullptr, period, period) : -1;
///             return timer_ != -1 ? STATE_STARTED : STATE_STOPPED;
///         }
///         State do_component_stop() override
///         {
///             reactor_->cancel_timer(timer_);
///             return STATE_STOPPED;
///         }
///         int handle_timeout(const ACE_Time_Value& now, const void* act) override;
///
///         ACE_Reactor* reactor_ = nullptr;
///         long timer_ = -1;
///     };
///
///     heartbeat.component_start(ACE_Reactor::instance());   // 0: it runs
///     heartbeat.component_stop();                           // 0: it has stopped
///
/// The state is 0 while the component is stopped; any other value means that it runs.
///
/// | from     | operation       | the hook returns | to         | result, line           |
/// |----------|-----------------|------------------|------------|------------------------|
/// | stopped  | component_start | not 0            | that value | 0, started             |
/// | stopped  | component_start | 0                | stopped    | -1, failed to start    |
/// | running  | component_start | (not called)     | unchanged  | -1, cannot start       |
/// | running  | component_stop  | 0                | stopped    | 0, stopped             |
/// | running  | component_stop  | not 0            | that value | -1, failed to stop     |
/// | stopped  | component_stop  | (not called)     | stopped    | -1, cannot stop        |
///
/// Each call logs one line, as from "Component_Base.cpp", after the stamp and the thread:
///
/// | line | priority | text                                                      |
/// |------|----------|-----------------------------------------------------------|
/// | 21   | LM_ERROR | "*ERR <name>: Cannot start component while in state <n>." |
/// | 24   | LM_ERROR | "*ERR <name>: Failed to start component."                 |
/// | 25   | LM_DEBUG | " DBG <name>: Component started."                         |
/// | 33   | LM_ERROR | "*ERR <name>: Cannot stop component while in state <n>."  |
/// | 36   | LM_ERROR | "*ERR <name>: Failed to stop component."                  |
/// | 37   | LM_DEBUG | " DBG <name>: Component stopped."                         |
///
/// Threads: every member may be called from any thread from the end of construction to the start of
/// destruction. Start and stop, hooks included, and each reading or writing of the state run under
/// mutex_, so they exclude each other. The mutex is recursive: a hook may call get_state() and
/// set_state() itself, and sees the state of before. But a hook that waits for another thread which
/// calls get_state(), or any operation, of the same component blocks: that thread waits for the
/// hook. Such a wait is reported after 10 seconds and ends the process after 130 (Mutex.h).
///
/// Same on Windows and Linux, but for how the process ends in ~KR_Component_Base().
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h, and those of the host's hooks.
class KRCOMMON_EXPORT KR_Component_Base {
public:
    /// Only 0 has a meaning here. A derived class may use any other value for its running states,
    /// by static_cast<State>(): all 32-bit numbers are valid.
    enum State : std::int32_t {
        STATE_STOPPED = 0,
        STATE_STARTED = 1,
    };

    KR_Component_Base(const KR_Component_Base&) = delete;
    KR_Component_Base& operator=(const KR_Component_Base&) = delete;

    /// Starts a stopped component. 0 when it runs now, else -1 as in the table above.
    ///
    /// reactor  handed to the hook and neither used nor kept here; may be null. The derived class
    ///          says whether it can do without one and how long it must live.
    ///
    /// An exception from the hook passes through, with the mutex released, the state as it was (or
    /// as the hook itself has set it) and nothing logged. Throws nothing else.
    int component_start(ACE_Reactor* reactor);

    /// Stops a running component. 0 when it has stopped, else -1 as in the table above. It runs on,
    /// and may be stopped again, when the hook returns a running state. Exceptions as above.
    int component_stop();

    /// Not supported: does nothing, takes no lock and returns -1 in every state.
    int component_wait_for_stop();

protected:
    /// A stopped component.
    ///
    /// name  begins its log lines, bounded and escaped as every text there; copied. Null counts as
    ///       empty.
    explicit KR_Component_Base(const char* name);

    /// The component must be stopped by now: a derived class that implements the hooks calls
    /// component_stop() in its own destructor. (On a stopped component that call logs the
    /// cannot-stop line, so ask get_state() first.)
    ///
    /// A component that still runs, be it that the derived class forgot or that its stop failed,
    /// cannot be stopped any more, as its hooks are gone. component_stop() is called all the same
    /// and ends the process with the runtime's pure-call error: "pure virtual method called" on
    /// stderr, then SIGABRT on Linux, exit code 3 on Windows.
    virtual ~KR_Component_Base();

    /// Starts the derived class's work and returns the new state, 0 when that failed. Called by
    /// component_start() alone, under mutex_, in state 0. Must not throw.
    virtual State do_component_start(ACE_Reactor* reactor) = 0;

    /// Stops the derived class's work and returns the new state, not 0 when that failed. Called by
    /// component_stop() alone, under mutex_, in a running state. Must not throw.
    virtual State do_component_stop() = 0;

    /// The state now; another thread may have changed it when the caller looks at it.
    State get_state();

    /// Sets the state, whatever it was, and returns the one of before. No hook is called, nothing
    /// is logged. What a hook sets is replaced by what it returns.
    State set_state(State state);

    /// Guards the state. A derived class may guard with it what changes along with the state.
    KR_Mutex_Ex<ACE_Process_Mutex> mutex_;

private:
    State state_ = STATE_STOPPED;
    const std::string name_;
};

#pragma once

/// \file
/// Components that start and stop as one, KR_Component_Group.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/frame/Component_Base.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

/// Components that start and stop as one: in order, with the ones before rolled back when one fails,
/// and stopped in reverse. No component keeps the others waiting: each has a limit, and one that hangs
/// is named.
///
///     KR_Component_Group service("service");
///     service.add("store", store);                        // starts first, stops last
///     service.add("cameras", cameras, 60'000);            // may take a minute
///     if (service.component_start(ACE_Reactor::instance()) != 0)
///         return 1;                                       // nothing runs; the log says why
///     ...
///     service.component_stop();
///
/// A group is a component itself, with the state, results and lines of Component_Base.h, so groups may
/// hold groups. Besides the lines of its components it logs, under the components' names as given to
/// add():
///
///     *ERR service: cameras failed to start; stopping what runs.
///     *ERR service: cameras failed to stop.
///     *ERR service: cameras hangs: its start has not returned after 60 seconds.
///     *ERR service: cameras hangs: its stop has not returned after 30 seconds.
///
/// Each start and stop of a component with a limit runs on a thread of its own, which is done when the
/// call returns. So a hook must not depend on the thread that it is called on (a reactor's owner, COM),
/// and a group is not to be started or stopped within an upcall of the reactor that its components use:
/// on Linux that reactor is locked meanwhile. Such components are added with the limit 0: their hooks run
/// on the thread that starts or stops the group, which waits as long as they take.
///
/// When a call hangs, the group goes on without it: a start counts as failed, and when it comes to its end
/// after all, the component is stopped at once. A stop counts as failed; the others are stopped all the
/// same. While such a call lasts, the group's next one to that component waits for it first, within the
/// same limit. The component must live until its calls have returned, the group need not.
///
/// An exception from a hook counts as a failure and goes no further.
///
/// Threads: as of every component, with add() before the first start. A start or stop lasts up to the sum
/// of the limits, and whoever asks the group for anything meanwhile waits as Mutex.h says, for 130 seconds
/// at most: keep the sum below when other threads ask. Same on Windows and Linux.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.
class KRCOMMON_EXPORT KR_Component_Group final : public KR_Component_Base {
public:
    /// An empty, stopped group. name  as of a component
    explicit KR_Component_Group(const char* name);

    /// Stops what runs, as component_stop() does, and never ends the process over what does not stop.
    ~KR_Component_Group() override;

    /// Appends a component. It must be stopped, belong to no other group, and live until the group is
    /// destroyed and its own calls have returned.
    ///
    /// name                for the group's lines; copied. Null counts as empty
    /// limit_milliseconds  so long its start and its stop may take, each; 0: as long as they take, on
    ///                     the thread that starts or stops the group
    ///
    /// returns 0; -1 when the group runs: then nothing changes.
    int add(const char* name, KR_Component_Base& component,
            std::uint32_t limit_milliseconds = 30'000);

    /// Names of those that failed or hung in the last start or stop of the group, in the order in which
    /// that was found; a component whose start fails comes before those whose rollback does.
    std::vector<std::string> failed();

private:
    struct Call;
    enum class Action { start, stop };
    struct Member {
        std::string name;
        KR_Component_Base* component;
        std::uint32_t limit;
        bool is_running = false;
        std::shared_ptr<Call> call = nullptr; // the last one, which may still last
    };

    State do_component_start(ACE_Reactor* reactor) override;
    State do_component_stop() override;
    bool stop_all();
    bool start(Member& member, ACE_Reactor* reactor);
    bool stop(Member& member);
    void call(Member& member, Action action, ACE_Reactor* reactor);
    bool settle(Member& member);

    const std::string group_name_;
    std::vector<Member> members_;
    std::vector<std::string> failed_;
};

#include <KRCommon/frame/Component_Group.h>

#include <KRCommon/frame/Log.h>
#include <KRCommon/platform/Platform.h>

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <new>
#include <system_error>
#include <thread>

// A start or stop of one component. It outlives the group when it hangs.
struct KR_Component_Group::Call {
    Call(Member& member, Action wanted, ACE_Reactor* for_start)
        : component(*member.component), action(wanted), reactor(for_start)
    {
    }

    // On the thread that it was given, or on the group's.
    void run() noexcept
    {
        const bool has_worked = execute(action);
        std::unique_lock<std::mutex> hold(mutex);
        is_good = has_worked;
        if (action == Action::start && is_good && is_given_up) { // nobody wants it any more
            hold.unlock();
            const bool is_undone = execute(Action::stop);
            hold.lock();
            is_good = false;
            is_left_running = !is_undone;
        }
        is_over = true;
        over.notify_all();
    }

    bool execute(Action what) noexcept
    {
        try {
            return (what == Action::start ? component.component_start(reactor)
                                          : component.component_stop()) == 0;
        } catch (...) { // the host's
            return false;
        }
    }

    bool wait_for(std::uint32_t milliseconds)
    {
        std::unique_lock<std::mutex> hold(mutex);
        const bool is_in_time = over.wait_for(hold, std::chrono::milliseconds(milliseconds),
                                              [this] { return is_over; });
        is_given_up = !is_in_time;
        return is_in_time;
    }

    // What the component does now that the call is over.
    bool leaves_running() const noexcept
    {
        return action == Action::start ? is_good || is_left_running : !is_good;
    }

    KR_Component_Base& component;
    const Action action;
    ACE_Reactor* const reactor;

    // The group's alone. Joined when the call is over, since a thread that is about to end may keep a
    // process from ending under Wine; let go of when the group goes first.
    std::thread thread;

    std::mutex mutex; // guards the following
    std::condition_variable over;
    bool is_over = false;
    bool is_given_up = false;
    bool is_left_running = false; // by a start that came late and could not be undone
    bool is_good = false;
};

KR_Component_Group::KR_Component_Group(const char* name)
    : KR_Component_Base(name), group_name_(name != nullptr ? name : "")
{
}

KR_Component_Group::~KR_Component_Group()
{
    if (get_state() != STATE_STOPPED) {
        try {
            component_stop();
        } catch (const std::bad_alloc&) { // what runs, runs on
        }
        set_state(STATE_STOPPED);
    }
    for (const Member& member : members_)
        if (member.call != nullptr && member.call->thread.joinable())
            member.call->thread.detach();
}

int KR_Component_Group::add(const char* name, KR_Component_Base& component,
                            std::uint32_t limit_milliseconds)
{
    KR_GUARD(mutex_);
    if (get_state() != STATE_STOPPED)
        return -1;
    members_.push_back({name != nullptr ? name : "", &component, limit_milliseconds});
    return 0;
}

std::vector<std::string> KR_Component_Group::failed()
{
    KR_GUARD(mutex_);
    return failed_;
}

// What still runs, since an earlier stop of it failed, is not started again.
KR_Component_Base::State KR_Component_Group::do_component_start(ACE_Reactor* reactor)
{
    failed_.clear();
    for (Member& member : members_) {
        if (start(member, reactor))
            continue;
        failed_.push_back(member.name);
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR %s: %s failed to start; stopping what runs.\n",
               group_name_, member.name);
        stop_all();
        return STATE_STOPPED;
    }
    return STATE_STARTED;
}

KR_Component_Base::State KR_Component_Group::do_component_stop()
{
    failed_.clear();
    return stop_all() ? STATE_STOPPED : STATE_STARTED;
}

bool KR_Component_Group::stop_all()
{
    bool are_stopped = true;
    for (auto member = members_.rbegin(); member != members_.rend(); ++member) {
        if (!member->is_running || stop(*member))
            continue;
        failed_.push_back(member->name);
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR %s: %s failed to stop.\n", group_name_,
               member->name);
        are_stopped = false;
    }
    return are_stopped;
}

bool KR_Component_Group::start(Member& member, ACE_Reactor* reactor)
{
    if (!settle(member))
        return false;
    if (member.is_running)
        return true;
    call(member, Action::start, reactor);
    return settle(member) && member.is_running;
}

bool KR_Component_Group::stop(Member& member)
{
    if (!settle(member))
        return false;
    if (!member.is_running)
        return true;
    call(member, Action::stop, nullptr);
    return settle(member) && !member.is_running;
}

void KR_Component_Group::call(Member& member, Action action, ACE_Reactor* reactor)
{
    const auto call = std::make_shared<Call>(member, action, reactor);
    if (member.limit == 0) {
        call->run();
    } else {
        try {
            call->thread = std::thread([call] { call->run(); });
        } catch (const std::system_error&) { // no thread is to be had: the component stays as it is
            return;
        }
    }
    member.call = call;
}

// Waits for the component's last call, within the limit, and takes note of what has become of it.
bool KR_Component_Group::settle(Member& member)
{
    if (member.call == nullptr)
        return true;
    if (!member.call->wait_for(member.limit)) {
        kr_platform::keep_loaded(
            reinterpret_cast<void (*)()>(&kr_assertion_failed)); // it runs here
        kr_log(KR_LOG_SITE(LM_ERROR),
               "%T T%04t*ERR %s: %s hangs: its %s has not returned after %g seconds.\n",
               group_name_, member.name, member.call->action == Action::start ? "start" : "stop",
               member.limit / 1000.0);
        return false;
    }
    if (member.call->thread.joinable())
        member.call->thread.join();
    member.is_running = member.call->leaves_running();
    member.call = nullptr;
    return true;
}

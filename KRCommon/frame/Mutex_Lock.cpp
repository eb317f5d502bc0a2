#include <KRCommon/frame/Mutex_Lock.h>

#include <KRCommon/kernels/Pause.h>
#include <KRCommon/platform/Lock.h>
#include <KRCommon/platform/Platform.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <mutex>
#include <new>

namespace kr_internal {

namespace {

using kr_platform::Seat;
using kr_platform::Short_Lock;

// A token: the number of a thread's place in the table, and which of the place's threads it is.
constexpr int token_shift = 2;
constexpr int place_bits = 22;
constexpr std::uint64_t next_thread = std::uint64_t{1} << (token_shift + place_bits);

constexpr std::int64_t patience = 1'000;          // microseconds until the lock is handed over
constexpr std::int64_t first_look = 2'000;        // until a waiter looks who has ended
constexpr std::int64_t longest_interval = 64'000; // between two such looks
constexpr int tries_before_queueing = 40;

constexpr std::memory_order relaxed = std::memory_order_relaxed;

// What is known of a thread that has ever used a lock, and the thread as it waits in a queue. Whoever
// has the seat may change the token.
struct Place {
    Seat* seat = nullptr;
    std::atomic<std::uint64_t> token{0}; // of the thread that has the seat, or had it last
    Thread_Locks locks;                  // of that thread

    // Under the lock of the queue:
    std::atomic<const Process_Lock*> waits_for{nullptr}; // in a queue while not null
    Place* before = nullptr;
    Place* after = nullptr;
    std::uint64_t waiter = 0; // the token of the thread that waits
    std::int64_t arrival = 0;
    bool is_woken = false;
    bool has_lock = false; // it was handed over
};

// All places that were ever needed, as many as there were threads at a time. They stay, so that a
// place may be looked at whenever a token says its number, and are found by it in blocks of 64, 128,
// 256 and so on. Constant-initialised: locks work before the library's static objects are made.
class Places {
public:
    // The calling thread's place from now on; null when there is no memory.
    Place* take() noexcept
    {
        prepare();
        Place* place = take_used();
        if (place == nullptr)
            place = take_new();
        if (place != nullptr) {
            const std::uint64_t token = place->token.load(relaxed) + next_thread;
            place->token.store(token, relaxed); // at once: what is shown there is another thread's
            place->locks.reset(kr_platform::thread_id(), token);
        }
        return place;
    }

    // Two who ask at the same time may both get "no"; so they ask again later.
    bool has_ended(std::uint64_t token) noexcept
    {
        const auto number = static_cast<std::uint32_t>((token & (next_thread - 1)) >> token_shift);
        if (number >= count_) // destroyed
            return true;
        Place& place = at(number);
        if (place.token.load(relaxed) != token)
            return true;
        if (!place.seat->take())
            return false;
        if (place.token.load(relaxed) == token)
            place.token.store(token + next_thread, relaxed);
        place.seat->leave();
        return true;
    }

    void for_each_thread(const Place* own,
                         const std::function<void(const Thread_Locks::State&)>& show)
    {
        for (std::uint32_t i = 0; i < count_.load(); ++i) {
            const Place& place = at(i);
            const std::uint64_t token = place.token;
            if (&place != own && has_ended(token))
                continue;
            const Thread_Locks::State state = place.locks.state();
            if (state.token == token && place.token == token)
                show(state);
        }
    }

    // In the child of a fork, for the only thread there is.
    void forget_all_but(const Place* own) noexcept
    {
        new (&adding_) Short_Lock;
        for (std::uint32_t i = 0; i < count_.load(); ++i) {
            Place& place = at(i);
            place.waits_for = nullptr;
            place.seat->forget();
            if (&place == own) {
                place.seat->take();
                place.locks.set_thread(kr_platform::thread_id());
            } else {
                place.token.store(place.token.load() + next_thread);
            }
        }
    }

    void destroy() noexcept
    {
        for (std::uint32_t i = 0; i < count_.load(); ++i)
            delete at(i).seat;
        count_ = 0;
        for (std::atomic<Place*>& block : blocks_)
            delete[] block.exchange(nullptr);
    }

private:
    static constexpr std::uint32_t first_block = 64;
    static constexpr std::uint32_t places_looked_at = 4;

    void prepare() noexcept;

    // A place whose thread has ended. Few are looked at, where one was found last, until the table has
    // grown by half since all were looked at and none was found. So it stays in proportion to the threads
    // that live at a time, and a thread that begins costs little.
    Place* take_used() noexcept
    {
        const std::uint32_t count = count_;
        const bool may_grow = count < may_grow_until_.load(relaxed);
        const std::uint32_t looks = may_grow ? std::min(count, places_looked_at) : count;
        const std::uint32_t first = cursor_.load(relaxed);
        for (std::uint32_t i = 0; i < looks; ++i) {
            const std::uint32_t number = (first + i) % count;
            Place& place = at(number);
            if (place.waits_for.load(std::memory_order_acquire) == nullptr && place.seat->take()) {
                cursor_.store(number, relaxed);
                return &place;
            }
        }
        cursor_.store(first + looks, relaxed);
        if (!may_grow)
            may_grow_until_.store(count + count / 2 + places_looked_at, relaxed);
        return nullptr;
    }

    Place* take_new() noexcept
    {
        Seat* const seat = Seat::make();
        if (seat == nullptr)
            return nullptr;
        seat->take();
        Place* const place = add(*seat);
        if (place == nullptr)
            delete seat;
        return place;
    }

    Place* add(Seat& seat) noexcept
    {
        const std::lock_guard<Short_Lock> hold(adding_);
        const std::uint32_t number = count_;
        if (number >> place_bits != 0)
            return nullptr;
        const Index index(number);
        if (blocks_[index.block] == nullptr)
            blocks_[index.block] = new (std::nothrow) Place[first_block << index.block];
        if (blocks_[index.block] == nullptr)
            return nullptr;
        Place& place = at(number);
        place.seat = &seat;
        place.token.store(std::uint64_t{number} << token_shift, relaxed);
        count_ = number + 1;
        return &place;
    }

    struct Index {
        explicit Index(std::uint32_t number)
        {
            for (offset = number; offset >= first_block << block; ++block)
                offset -= first_block << block;
        }
        std::uint32_t block = 0;
        std::uint32_t offset = 0;
    };

    Place& at(std::uint32_t number) noexcept
    {
        const Index index(number);
        return blocks_[index.block].load()[index.offset];
    }

    // Atomic: places are looked at without a lock, and a fork may come at any time.
    std::array<std::atomic<Place*>, place_bits> blocks_{};
    std::atomic<std::uint32_t> count_{0};
    std::atomic<std::uint32_t> cursor_{0};
    std::atomic<std::uint32_t> may_grow_until_{0};
    std::atomic<bool> is_prepared_{false};
    Short_Lock adding_;
};

// Those who wait for one of some locks, in order of arrival.
class Queue {
public:
    Short_Lock& lock() noexcept { return lock_; }

    void insert(Place& place, const Process_Lock& lock, std::int64_t arrival) noexcept
    {
        place.waiter = own_thread.token;
        place.arrival = arrival;
        place.is_woken = false;
        place.has_lock = false;
        place.before = last_;
        while (place.before != nullptr && place.before->arrival > arrival)
            place.before = place.before->before;
        place.after = place.before == nullptr ? first_ : place.before->after;
        link(place.before, &place);
        link(&place, place.after);
        place.waits_for.store(&lock, relaxed);
    }

    void remove(Place& place) noexcept
    {
        link(place.before, place.after);
        place.waits_for.store(nullptr, std::memory_order_release);
    }

    Place* first(const Process_Lock& lock) const noexcept { return next(first_, lock); }

    // What a lock's word says of its queue once `gone` has left it.
    std::uint64_t bits_without(const Place& gone, const Process_Lock& lock) const noexcept
    {
        Place* place = first(lock);
        if (place == &gone)
            place = next(place->after, lock);
        return bits(place);
    }

    static std::uint64_t bits(const Place* first) noexcept
    {
        if (first == nullptr)
            return 0;
        return first->is_woken ? is_queued | is_awake : is_queued;
    }

private:
    static Place* next(Place* place, const Process_Lock& lock) noexcept
    {
        while (place != nullptr && place->waits_for.load(relaxed) != &lock)
            place = place->after;
        return place;
    }

    void link(Place* before, Place* after) noexcept
    {
        (before == nullptr ? first_ : before->after) = after;
        (after == nullptr ? last_ : after->before) = before;
    }

    Short_Lock lock_;
    Place* first_ = nullptr;
    Place* last_ = nullptr;
};

Places places;
std::array<Queue, 64> queues;

__thread Place* own_place = nullptr; // null while there is no token

Queue& queue_of(const Process_Lock& lock) noexcept
{
    const auto address = reinterpret_cast<std::uintptr_t>(&lock);
    return queues[(address >> 4 ^ address >> 10) % queues.size()];
}

void start_anew_after_fork()
{
    for (Queue& queue : queues)
        new (&queue) Queue;
    places.forget_all_but(own_place);
}

void destroy_places()
{
    places.destroy();
    own_thread = {0, nullptr};
    own_place = nullptr;
}

void Places::prepare() noexcept
{
    if (is_prepared_.load(relaxed) || is_prepared_.exchange(true))
        return;
    kr_platform::
        thread_id(); // which has a number of its own in a child, asked for before ours runs
    kr_platform::call_after_fork(&start_anew_after_fork);
    kr_platform::call_at_unload(&destroy_places);
}

// For one who is in the queue: takes the lock if it is free and its turn, else sees to it that the
// lock's word tells of the queue.
bool take_in_turn(Queue& queue, Place& own, Process_Lock& lock) noexcept
{
    std::uint64_t word = lock.word.load(relaxed);
    for (;;) {
        Place* const first = queue.first(lock);
        const bool may_take = holder(word) == 0 && first == &own;
        const std::uint64_t wanted = may_take ? own_thread.token | queue.bits_without(own, lock)
                                              : holder(word) | Queue::bits(first);
        if (!lock.word.compare_exchange_weak(word, wanted, std::memory_order_acquire, relaxed))
            continue;
        if (may_take)
            queue.remove(own);
        return may_take;
    }
}

// Makes the first in the queue the lock's holder; it is to be woken.
Place& hand_over(Queue& queue, Process_Lock& lock) noexcept
{
    Place& heir = *queue.first(lock);
    heir.has_lock = true;
    const std::uint64_t bits = queue.bits_without(heir, lock);
    lock.word.store(heir.waiter | bits, std::memory_order_release);
    queue.remove(heir);
    return heir;
}

// For one who is in the queue: takes whoever has ended out of the way. Who has is asked outside the
// queue's lock, as the answer may come from the kernel.
void pass_over_the_ended(std::unique_lock<Short_Lock>& hold, Queue& queue, Place& own,
                         Process_Lock& lock) noexcept
{
    Place* const first = queue.first(lock);
    const std::uint64_t waiter = first->waiter;
    const std::uint64_t token = holder(lock.word.load(relaxed));
    hold.unlock();
    const bool has_first_ended = first != &own && places.has_ended(waiter);
    const bool has_holder_ended = token != 0 && places.has_ended(token);
    hold.lock();
    if (own.has_lock)
        return;
    if (has_first_ended && queue.first(lock) == first && first->waiter == waiter)
        queue.remove(*first);
    if (has_holder_ended && holder(lock.word.load(relaxed)) == token)
        hand_over(queue, lock).seat->wake();
}

void leave(Queue& queue, Place& own, Process_Lock& lock) noexcept
{
    queue.remove(own);
    std::uint64_t word = lock.word.load(relaxed);
    while (!lock.word.compare_exchange_weak(word, holder(word) | Queue::bits(queue.first(lock)),
                                            relaxed))
        ;
}

// Waits in the queue until the instant; says whether the lock has come.
bool wait_in_queue(Process_Lock& lock, std::int64_t arrival, std::int64_t until) noexcept
{
    Place& own = *own_place;
    Queue& queue = queue_of(lock);
    std::int64_t now = kr_platform::steady_microseconds();
    std::int64_t interval = first_look;
    std::int64_t next_look = now + interval;
    std::unique_lock<Short_Lock> hold(queue.lock());
    queue.insert(own, lock, arrival);
    for (;;) {
        if (now >= std::min(next_look, until)) {
            pass_over_the_ended(hold, queue, own, lock);
            interval = std::min(2 * interval, longest_interval);
            next_look = now + interval;
        }
        if (own.has_lock || take_in_turn(queue, own, lock))
            return true;
        if (now >= until) {
            leave(queue, own, lock);
            return false;
        }
        hold.unlock();
        own.seat->sleep_for(std::min(next_look, until) - now);
        now = kr_platform::steady_microseconds();
        hold.lock();
        own.is_woken = false;
        if (own.has_lock)
            return true;
    }
}

} // namespace

__thread Own_Thread own_thread = {0, nullptr};

std::uint64_t make_own_token() noexcept
{
    own_place = places.take();
    if (own_place != nullptr)
        own_thread = {own_place->token.load(relaxed), &own_place->locks};
    return own_thread.token;
}

void for_each_thread(const std::function<void(const Thread_Locks::State&)>& show)
{
    places.for_each_thread(own_place, show);
}

int acquire_for(Process_Lock& lock, std::int64_t milliseconds, std::int64_t arrival) noexcept
{
    if (own_thread.token == 0 && make_own_token() == 0) {
        errno = ENOMEM;
        return -1;
    }
    const std::int64_t until = kr_platform::steady_microseconds() +
                               std::clamp<std::int64_t>(milliseconds, 0, INT32_MAX) * 1000;
    for (int i = 0; i < tries_before_queueing; ++i) {
        if (try_acquire(lock) == Attempt::taken)
            return 0;
        pause_processor();
    }
    if (wait_in_queue(lock, arrival, until))
        return 0;
    errno = ETIME;
    return -1;
}

// Wakes the first in the queue, or hands over to it when it has waited for long enough.
void release_to_queue(Process_Lock& lock) noexcept
{
    Queue& queue = queue_of(lock);
    const std::int64_t now = kr_platform::steady_microseconds();
    std::unique_lock<Short_Lock> hold(queue.lock());
    Place* const first = queue.first(lock);
    if (first == nullptr) { // as in the child of a fork
        lock.word.store(0, std::memory_order_release);
        return;
    }
    if (now - first->arrival >= patience) {
        hand_over(queue, lock);
    } else {
        first->is_woken = true;
        lock.word.store(is_queued | is_awake, std::memory_order_release);
    }
    hold.unlock();
    first->seat->wake();
}

} // namespace kr_internal

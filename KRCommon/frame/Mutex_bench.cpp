// What a guard costs beside bare locks, in the same run.
//
//   Guard                 one guard on a free mutex; threads:2 and threads:4 contend for one
//   TimedMutexUntil       std::timed_mutex::try_lock_until(now + 10 s)
//   AbslMutex             absl::MutexLock
//   AceProcessMutex       acquire and release of the bare class
//   NestedGuard           a guard inside a guard
//   NestedRecursiveMutex  std::recursive_mutex, locked once more
//   Greedy<...>           threads:N that hold a lock as often as they can, for microseconds:N each
//                         (0: empty sections), with how that was shared out: longest_wait_ms,
//                         least_share (turns of the thread that got the fewest, in percent of the
//                         one that got the most) and sections per second

#include <KRCommon/frame/Mutex.h>

#include <benchmark/benchmark.h>

#if __has_include(<absl/synchronization/mutex.h>)
#define KR_BENCH_ABSEIL
#include <absl/synchronization/mutex.h>
#endif

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using Process_Mutex_Ex = KR_Mutex_Ex<ACE_Process_Mutex>;

// The C library's locks are cheaper in a process that never had a second thread.
const bool has_had_a_thread = [] {
    std::thread([] {}).join();
    return true;
}();

int shared_counter = 0;

void Guard(benchmark::State& state)
{
    static Process_Mutex_Ex mutex;
    for (auto _ : state) {
        KR_GUARD(mutex);
        benchmark::DoNotOptimize(++shared_counter);
    }
}

void TimedMutexUntil(benchmark::State& state)
{
    static std::timed_mutex mutex;
    for (auto _ : state) {
        const auto deadline = std::chrono::system_clock::now() + std::chrono::seconds(10);
        const std::unique_lock<std::timed_mutex> lock(mutex, deadline);
        benchmark::DoNotOptimize(++shared_counter);
    }
}

#ifdef KR_BENCH_ABSEIL
void AbslMutex(benchmark::State& state)
{
    static absl::Mutex mutex;
    for (auto _ : state) {
        const absl::MutexLock lock(&mutex);
        benchmark::DoNotOptimize(++shared_counter);
    }
}
#endif

void AceProcessMutex(benchmark::State& state)
{
    static ACE_Process_Mutex mutex;
    for (auto _ : state) {
        mutex.acquire();
        benchmark::DoNotOptimize(++shared_counter);
        mutex.release();
    }
}

void NestedGuard(benchmark::State& state)
{
    Process_Mutex_Ex mutex;
    KR_GUARD(mutex);
    for (auto _ : state) {
        KR_GUARD(mutex);
        benchmark::DoNotOptimize(++shared_counter);
    }
}

void NestedRecursiveMutex(benchmark::State& state)
{
    std::recursive_mutex mutex;
    const std::lock_guard<std::recursive_mutex> outer(mutex);
    for (auto _ : state) {
        const std::lock_guard<std::recursive_mutex> lock(mutex);
        benchmark::DoNotOptimize(++shared_counter);
    }
}

class Guarded {
public:
    template <typename Section>
    void run(Section section)
    {
        KR_GUARD(mutex_);
        section();
    }

private:
    Process_Mutex_Ex mutex_;
};

template <class MUTEX>
class Locked {
public:
    template <typename Section>
    void run(Section section)
    {
        const std::lock_guard<MUTEX> lock(mutex_);
        section();
    }

private:
    MUTEX mutex_;
};

struct Turns {
    std::int64_t count = 0;
    std::chrono::steady_clock::duration longest_wait{};
};

// What one greedy thread gets until it is told to stop. Of empty sections every 16th is timed, so
// that the clock is not what is measured.
template <class LOCK>
Turns take_turns(LOCK& lock, std::chrono::microseconds section, const std::atomic<bool>& is_over)
{
    using Clock = std::chrono::steady_clock;
    const int every = section.count() == 0 ? 16 : 1;
    Turns turns;
    while (!is_over.load(std::memory_order_relaxed)) {
        const bool is_timed = turns.count++ % every == 0;
        const Clock::time_point start = is_timed ? Clock::now() : Clock::time_point();
        lock.run([&] {
            if (is_timed)
                turns.longest_wait = std::max(turns.longest_wait, Clock::now() - start);
            if (section.count() != 0)
                std::this_thread::sleep_for(section);
        });
    }
    return turns;
}

template <class LOCK>
void Greedy(benchmark::State& state)
{
    std::int64_t sections = 0;
    double longest_wait = 0;
    double least_share = 100;
    for (auto _ : state) {
        LOCK lock;
        std::atomic<bool> is_over{false};
        std::vector<std::future<Turns>> threads;
        for (std::int64_t i = 0; i < state.range(0); ++i)
            threads.push_back(std::async(std::launch::async, [&] {
                return take_turns(lock, std::chrono::microseconds(state.range(1)), is_over);
            }));
        std::this_thread::sleep_for(std::chrono::seconds(3));
        is_over = true;
        std::int64_t fewest = INT64_MAX;
        std::int64_t most = 0;
        for (std::future<Turns>& thread : threads) {
            const Turns turns = thread.get();
            sections += turns.count;
            fewest = std::min(fewest, turns.count);
            most = std::max(most, turns.count);
            longest_wait =
                std::max(longest_wait,
                         std::chrono::duration<double, std::milli>(turns.longest_wait).count());
        }
        least_share =
            std::min(least_share, 100 * static_cast<double>(fewest) / static_cast<double>(most));
    }
    state.counters["longest_wait_ms"] = longest_wait;
    state.counters["least_share"] = least_share;
    state.SetItemsProcessed(sections);
}

void greedy_arguments(benchmark::internal::Benchmark* benchmark)
{
    benchmark->ArgNames({"threads", "microseconds"})->Args({4, 0})->Args({4, 2000});
    benchmark->Args({16, 0})->Iterations(1)->UseRealTime()->Unit(benchmark::kSecond);
}

} // namespace

BENCHMARK(Guard)->UseRealTime()->Threads(1)->Threads(2)->Threads(4);
BENCHMARK(TimedMutexUntil)->UseRealTime()->Threads(1)->Threads(2)->Threads(4);
#ifdef KR_BENCH_ABSEIL
BENCHMARK(AbslMutex)->UseRealTime()->Threads(1)->Threads(2)->Threads(4);
#endif
BENCHMARK(AceProcessMutex)->UseRealTime()->Threads(1)->Threads(2)->Threads(4);
BENCHMARK(NestedGuard);
BENCHMARK(NestedRecursiveMutex);
BENCHMARK_TEMPLATE(Greedy, Guarded)->Apply(greedy_arguments);
BENCHMARK_TEMPLATE(Greedy, Locked<std::mutex>)->Apply(greedy_arguments);
BENCHMARK_TEMPLATE(Greedy, Locked<std::timed_mutex>)->Apply(greedy_arguments);

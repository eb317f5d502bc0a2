// What a guard costs beside bare locks, in the same run.
//
//   Guard                 one guard on a free mutex; threads:2 and threads:4 contend for one
//   GuardLiteral          the same steps without the short cut: two clock reads around a timed acquire
//   BareLock              the lock behind the mutex, tried and released
//   TimedMutexUntil       std::timed_mutex::try_lock_until(now + 10 s)
//   AbslMutex             absl::MutexLock
//   AceProcessMutex       acquire and release of the bare class
//   NestedGuard           a guard inside a guard
//   NestedRecursiveMutex  std::recursive_mutex, locked once more

#include <KRCommon/frame/Mutex.h>
#include <KRCommon/platform/Platform.h>

#include <ace/OS_NS_sys_time.h>

#include <absl/synchronization/mutex.h>
#include <benchmark/benchmark.h>

#include <chrono>
#include <mutex>
#include <string>
#include <thread>

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

void GuardLiteral(benchmark::State& state)
{
    static const auto lock = kr_platform::Lock::make();
    for (auto _ : state) {
        const std::string name = "mutex_";
        benchmark::DoNotOptimize(ACE_OS::gettimeofday());
        kr_platform::clear_last_error();
        if (lock->acquire_for(10'000) != 0)
            state.SkipWithError("not acquired");
        benchmark::DoNotOptimize(ACE_OS::gettimeofday());
        benchmark::DoNotOptimize(kr_platform::thread_id());
        benchmark::DoNotOptimize(++shared_counter);
        lock->release();
    }
}

void BareLock(benchmark::State& state)
{
    static const auto lock = kr_platform::Lock::make();
    for (auto _ : state) {
        while (lock->try_acquire() != 0)
            ;
        benchmark::DoNotOptimize(++shared_counter);
        lock->release();
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

void AbslMutex(benchmark::State& state)
{
    static absl::Mutex mutex;
    for (auto _ : state) {
        const absl::MutexLock lock(&mutex);
        benchmark::DoNotOptimize(++shared_counter);
    }
}

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

} // namespace

BENCHMARK(Guard)->UseRealTime()->Threads(1)->Threads(2)->Threads(4);
BENCHMARK(GuardLiteral)->UseRealTime()->Threads(1)->Threads(2)->Threads(4);
BENCHMARK(BareLock)->UseRealTime()->Threads(1)->Threads(2)->Threads(4);
BENCHMARK(TimedMutexUntil)->UseRealTime()->Threads(1)->Threads(2)->Threads(4);
BENCHMARK(AbslMutex)->UseRealTime()->Threads(1)->Threads(2)->Threads(4);
BENCHMARK(AceProcessMutex)->UseRealTime()->Threads(1)->Threads(2)->Threads(4);
BENCHMARK(NestedGuard);
BENCHMARK(NestedRecursiveMutex);

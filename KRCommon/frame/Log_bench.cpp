// What a log line costs through kr_log(), beside the bare ACE call and spdlog in the same run. Lines go
// to a real file, each flushed; stderr is off.
//
//   Helper, FastHelper, BareAce, Spdlog
//                               one line that passes the mask, 1, 2, 4 and 16 threads
//   HelperMasked, FourStepsMasked, BareAceMasked, SpdlogMasked
//                               one line that the mask stops
//   HelperDropped               the same when the level is the log manager's alone
//   HelperKept                  the same while the last of such lines are kept

#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Manager.h>
#include <tests/support/Temp_Folder.h>

#include <benchmark/benchmark.h>

#if __has_include(<spdlog/spdlog.h>)
#define KR_BENCH_SPDLOG
#include <spdlog/sinks/rotating_file_sink.h>
#include <spdlog/spdlog.h>
#endif

namespace {

const char* const name = "camera-7";

// Opens the log file for the run; every thread joins it with its first line.
class Log_Bench : public benchmark::Fixture {
public:
    void SetUp(const benchmark::State& state) override
    {
        if (state.thread_index() != 0)
            return;
        KR_LOG_MANAGER* const manager = KR_LOG_MANAGER::instance();
        manager->set_options(options());
        manager->open(nullptr, folder().path().c_str(), "bench");
        manager->set_file_max_sizes(4'000'000'000, 4'000'000'000);
        manager->set_debug_level(3);
        ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::STDERR);
    }

protected:
    virtual KR_Log_Options options() const { return {}; }

    static Temp_Folder& folder()
    {
        static Temp_Folder folder;
        return folder;
    }
};

void log_by_helper(ACE_Log_Priority priority, int frame)
{
    kr_log(KR_LOG_SITE(priority), "%T T%04t INF %s: processed frame %d in %f ms\n", name, frame,
           0.25);
}

void log_by_bare_ace(ACE_Log_Priority priority, int frame)
{
    ACE_Log_Msg::instance()->log(priority, "%T T%04t INF %s: processed frame %d in %f ms\n", name,
                                 frame, 0.25);
}

#ifdef KR_BENCH_SPDLOG
spdlog::logger& peer()
{
    static const Temp_Folder folder;
    static const auto logger = [] {
        auto made = spdlog::rotating_logger_mt("bench", folder.path("spdlog.log"),
                                               std::size_t{4'000'000'000}, 3);
        made->set_pattern("%H:%M:%S.%f T%t INF %v");
        made->flush_on(spdlog::level::info);
        made->set_level(spdlog::level::info);
        return made;
    }();
    return *logger;
}

void log_by_spdlog(ACE_Log_Priority priority, int frame)
{
    peer().log(priority == LM_INFO ? spdlog::level::info : spdlog::level::debug,
               "{}: processed frame {} in {:f} ms", name, frame, 0.25);
}
#endif

void log_by_four_steps(ACE_Log_Priority priority, int frame)
{
    const int error = ACE_Log_Msg::last_error_adapter();
    ACE_Log_Msg* const log = ACE_Log_Msg::instance();
    log->conditional_set("Log_bench.cpp", 1, 0, error);
    log->log(priority, "%T T%04t INF %s: processed frame %d in %f ms\n", name, frame, 0.25);
}

template <typename Function>
void run(benchmark::State& state, ACE_Log_Priority priority, Function log)
{
    KR_LOG_MANAGER::instance()->non_ace_thread_init_log();
    int frame = 0;
    for (auto _ : state)
        log(priority, ++frame);
}

} // namespace

// The suite is the one name; each differs in its options alone.
class Log_Bench_Fast : public Log_Bench {
protected:
    KR_Log_Options options() const override
    {
        KR_Log_Options options;
        options.fast_lines = true;
        return options;
    }
};

class Log_Bench_Level : public Log_Bench {
protected:
    KR_Log_Options options() const override
    {
        KR_Log_Options options;
        options.only_manager_sets_level = true;
        return options;
    }
};

class Log_Bench_Ring : public Log_Bench {
protected:
    KR_Log_Options options() const override
    {
        KR_Log_Options options;
        options.ring_lines = 1'000;
        return options;
    }
};

BENCHMARK_DEFINE_F(Log_Bench, Helper)(benchmark::State& state)
{
    run(state, LM_INFO, log_by_helper);
}
BENCHMARK_DEFINE_F(Log_Bench, BareAce)(benchmark::State& state)
{
    run(state, LM_INFO, log_by_bare_ace);
}
BENCHMARK_DEFINE_F(Log_Bench, HelperMasked)(benchmark::State& state)
{
    run(state, LM_NOTICE, log_by_helper);
}
BENCHMARK_DEFINE_F(Log_Bench, FourStepsMasked)(benchmark::State& state)
{
    run(state, LM_NOTICE, log_by_four_steps);
}
BENCHMARK_DEFINE_F(Log_Bench, BareAceMasked)(benchmark::State& state)
{
    run(state, LM_NOTICE, log_by_bare_ace);
}

BENCHMARK_DEFINE_F(Log_Bench_Fast, FastHelper)(benchmark::State& state)
{
    run(state, LM_INFO, log_by_helper);
}
#ifdef KR_BENCH_SPDLOG
BENCHMARK_DEFINE_F(Log_Bench, Spdlog)(benchmark::State& state)
{
    run(state, LM_INFO, log_by_spdlog);
}
BENCHMARK_DEFINE_F(Log_Bench, SpdlogMasked)(benchmark::State& state)
{
    run(state, LM_NOTICE, log_by_spdlog);
}
#endif
BENCHMARK_DEFINE_F(Log_Bench_Level, HelperDropped)(benchmark::State& state)
{
    run(state, LM_NOTICE, log_by_helper);
}
BENCHMARK_DEFINE_F(Log_Bench_Ring, HelperKept)(benchmark::State& state)
{
    run(state, LM_NOTICE, log_by_helper);
}

namespace {

void with_threads(benchmark::internal::Benchmark* benchmark)
{
    benchmark->UseRealTime()->Threads(1)->Threads(2)->Threads(4)->Threads(16);
}

} // namespace

BENCHMARK_REGISTER_F(Log_Bench, Helper)->Apply(with_threads);
BENCHMARK_REGISTER_F(Log_Bench_Fast, FastHelper)->Name("Log_Bench/FastHelper")->Apply(with_threads);
BENCHMARK_REGISTER_F(Log_Bench, BareAce)->Apply(with_threads);
BENCHMARK_REGISTER_F(Log_Bench, HelperMasked)->Threads(1)->Threads(4);
BENCHMARK_REGISTER_F(Log_Bench_Level, HelperDropped)
    ->Name("Log_Bench/HelperDropped")
    ->Threads(1)
    ->Threads(4);
BENCHMARK_REGISTER_F(Log_Bench_Ring, HelperKept)->Name("Log_Bench/HelperKept")->Threads(1);
BENCHMARK_REGISTER_F(Log_Bench, FourStepsMasked)->Threads(1)->Threads(4);
BENCHMARK_REGISTER_F(Log_Bench, BareAceMasked)->Threads(1)->Threads(4);
#ifdef KR_BENCH_SPDLOG
BENCHMARK_REGISTER_F(Log_Bench, Spdlog)->Apply(with_threads);
BENCHMARK_REGISTER_F(Log_Bench, SpdlogMasked)->Threads(1)->Threads(4);
#endif

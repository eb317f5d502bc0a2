// What a log line costs through kr_log(), beside the bare ACE call in the same run. Lines go to
// a real file; stderr is off.
//
//   Helper, BareAce             one line that passes the mask, 1, 2 and 4 threads
//   HelperMasked, FourStepsMasked, BareAceMasked
//                               one line that the mask stops

#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Manager.h>
#include <tests/support/Temp_Folder.h>

#include <benchmark/benchmark.h>

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
        manager->open(nullptr, folder().path().c_str(), "bench");
        manager->set_file_max_sizes(4'000'000'000, 4'000'000'000);
        manager->set_debug_level(3);
        ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::STDERR);
    }

protected:
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

BENCHMARK_REGISTER_F(Log_Bench, Helper)->UseRealTime()->Threads(1)->Threads(2)->Threads(4);
BENCHMARK_REGISTER_F(Log_Bench, BareAce)->UseRealTime()->Threads(1)->Threads(2)->Threads(4);
BENCHMARK_REGISTER_F(Log_Bench, HelperMasked)->Threads(1)->Threads(4);
BENCHMARK_REGISTER_F(Log_Bench, FourStepsMasked)->Threads(1)->Threads(4);
BENCHMARK_REGISTER_F(Log_Bench, BareAceMasked)->Threads(1)->Threads(4);

#include <KRCommon/frame/Last_Line.h>

#include <KRCommon/frame/Mutex_World.h>
#include <KRCommon/platform/Platform.h>
#include <tests/support/Log_Capture.h>
#include <tests/support/Log_Text_Matching.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <thread>

namespace {

// The lock is never to be had, and the log may be stuck.
class Dead_Lock_World final : public kr_internal::Guard_World {
public:
    Dead_Lock_World(int error, bool may_log) : error_(error), may_log_(may_log)
    {
        kr_internal::guard_world.replace(this);
    }
    ~Dead_Lock_World() { kr_internal::guard_world.replace(nullptr); }
    Dead_Lock_World(const Dead_Lock_World&) = delete;
    Dead_Lock_World& operator=(const Dead_Lock_World&) = delete;

    int exit_code() const { return exit_code_; }

    std::int64_t steady_milliseconds() override { return 0; }
    std::int64_t wall_microseconds() override { return 0; }
    int acquire_for(kr_internal::Process_Lock&, std::int64_t, std::int64_t) override
    {
        errno = error_;
        return -1;
    }
    bool begin_end() override { return may_log_; }
    void end_process(int exit_code) override { exit_code_ = exit_code; }

private:
    int error_;
    bool may_log_;
    int exit_code_ = -1;
};

// The emergency lines of a guard on another thread than the mutex's holder.
std::size_t emergency_lines(KR_Mutex_Ex<ACE_Process_Mutex>& mutex)
{
    std::size_t count = 0;
    std::thread([&] {
        const Log_Capture capture;
        const KR_Mutex_Guard guard(mutex, "mutex", "x.cpp", 1);
        for (const Log_Capture::Line& line : capture.lines())
            count += line.priority == LM_EMERGENCY ? 1 : 0;
    }).join();
    return count;
}

TEST(LastLine, AGuardThatEndsTheProcessLogsItWhereItCanBeHad)
{
    KR_Mutex_Ex<ACE_Process_Mutex> mutex;
    const KR_Mutex_Guard holder(mutex, "mutex", "x.cpp", 1);
    for (const int error : {ETIME, EINVAL}) {
        for (const bool may_log : {true, false}) {
            const Dead_Lock_World world(error, may_log);
            EXPECT_EQ(may_log ? 1u : 0u, emergency_lines(mutex)) << error;
            EXPECT_EQ(1, world.exit_code()) << error;
        }
    }
}

TEST(LastLineDeathTest, AnAssertionThatFailsUnderTheLogLockOfAnotherThreadEndsTheProcess)
{
    EXPECT_EXIT(
        {
            std::thread([] {
                ACE_Log_Msg::instance()->acquire();
                std::this_thread::sleep_for(std::chrono::minutes(10));
            }).detach();
            std::this_thread::sleep_for(std::chrono::milliseconds(300));
            KR_ASSERT(kr_platform::thread_id() == 0);
        },
        testing::ExitedWithCode(1), "");
}

} // namespace

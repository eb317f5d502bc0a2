#include <KRCommon/platform/Platform.h>

#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Sanitizers.h>
#include <tests/support/Temp_Folder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ace/Time_Value.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <mutex>
#include <thread>

namespace {

using namespace kr_platform;

TEST(Platform, SecondsAre64BitsWideEverywhere)
{
    static_assert(sizeof(std::time_t) == 8);
    const std::int64_t year_2100 = 4'102'444'805;
    EXPECT_EQ(year_2100, static_cast<std::int64_t>(ACE_Time_Value(year_2100).sec()));
}

TEST(Platform, PathSeparatorFitsTheModulePath)
{
    const std::string path = module_path();
    ASSERT_NE(std::string::npos, path.find(path_separator()));
    EXPECT_THAT(path.substr(path.rfind(path_separator()) + 1),
                testing::StartsWith("platform_tests"));
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST(PlatformTesting, AnOpenFileIsOneHandleMore)
{
    const Temp_Folder folder;
    const std::string path = folder.write("file", "x");
    std::ifstream(path).get(); // whatever the first open file brings along
    const unsigned before = kr_platform_testing::open_handle_count();
    EXPECT_GT(before, 0U);
    const std::ifstream file(path);
    EXPECT_EQ(before + 1, kr_platform_testing::open_handle_count());
}

TEST(Platform, ThreadsHaveDifferentNumbersThatStay)
{
    unsigned other = 0;
    std::thread([&] { other = thread_id(); }).join();
    EXPECT_NE(0u, thread_id());
    EXPECT_NE(other, thread_id());
    EXPECT_EQ(thread_id(), thread_id());
}

TEST(Platform, AThreadsNoteIsItsOwnAndZeroAtFirst)
{
    const unsigned char before = thread_note();
    set_thread_note(7);
    kr_platform_testing::run_on_system_thread([] {
        EXPECT_EQ(0, thread_note());
        set_thread_note(200);
        EXPECT_EQ(200, thread_note());
    });
    EXPECT_EQ(7, thread_note());
    set_thread_note(before);
}

TEST(Platform, ReadingAThreadsNoteLeavesTheErrorsAlone)
{
    kr_platform_testing::set_last_errors(0, 5);
    const int before = last_error();
    thread_note();
    EXPECT_EQ(before, last_error());
}

TEST(Platform, AnEndingThreadCallsBackOnce)
{
    static std::atomic<int> calls;
    const auto count = []() noexcept { ++calls; };
    for (const auto run : {&kr_platform_testing::run_on_system_thread,
                           &kr_platform_testing::run_on_runtime_thread}) {
        calls = 0;
        run([&] {
            at_thread_end(count);
            at_thread_end(count);
            EXPECT_EQ(0, calls);
        });
        EXPECT_EQ(1, calls);
    }
}

TEST(PlatformDeathTest, EndProcessEndsAtOnceWithTheExitCode)
{
    EXPECT_EXIT(end_process(1), testing::ExitedWithCode(1), "");
    EXPECT_EXIT(end_process(0), testing::ExitedWithCode(0), "");
    struct Speaks {
        ~Speaks() { std::fprintf(stderr, "destroyed"); }
    };
    EXPECT_EXIT(
        {
            const Speaks speaks;
            std::atexit([] { std::fprintf(stderr, "exit routine"); });
            end_process(3);
        },
        testing::ExitedWithCode(3), testing::StrEq(""));
}

TEST(Platform, LastErrorIsErrnoWhenThatIsSet)
{
    kr_platform_testing::set_last_errors(EACCES, 5);
    EXPECT_EQ(EACCES, last_error());
    clear_last_error();
    EXPECT_EQ(0, last_error());
    EXPECT_EQ(0, errno);
}

TEST(Platform, MakeFolderMakesOneLevelOnly)
{
    const Temp_Folder temp;
    EXPECT_TRUE(make_folder(temp.path("a b")));
    EXPECT_TRUE(std::filesystem::is_directory(temp.path("a b")));
    EXPECT_FALSE(make_folder(temp.path("a b"))) << "it is there already";
    EXPECT_FALSE(make_folder(temp.path("missing") + path_separator() + "b"));
    EXPECT_FALSE(make_folder(temp.write("file", "")));
    EXPECT_FALSE(make_folder(""));
}

TEST(Platform, FileInfoTellsSizeAndTime)
{
    const Temp_Folder temp;
    const std::int64_t before = std::time(nullptr);
    const auto info = file_info(temp.write("file", "12345"));
    ASSERT_TRUE(info);
    EXPECT_EQ(5u, info->size);
    EXPECT_FALSE(info->is_folder);
    EXPECT_GE(info->created, before - 2);
    EXPECT_LE(info->created, std::time(nullptr) + 2);
}

TEST(Platform, FileInfoOfAFileAbove4GiBIsNotCut)
{
    const Temp_Folder temp;
    const std::string path = temp.write("sparse", "");
    std::filesystem::resize_file(path, 5'000'000'000);
    ASSERT_TRUE(file_info(path));
    EXPECT_EQ(5'000'000'000u, file_info(path)->size);
}

TEST(Platform, FileInfoOfAFolderHasSizeZero)
{
    const Temp_Folder temp;
    const auto info = file_info(temp.path());
    ASSERT_TRUE(info);
    EXPECT_TRUE(info->is_folder);
    EXPECT_EQ(0u, info->size);
}

TEST(Platform, FileInfoOfNothingIsNothing)
{
    const Temp_Folder temp;
    EXPECT_FALSE(file_info(temp.path("missing")));
    EXPECT_FALSE(file_info(""));
}

TEST(Platform, RemoveFileDeletesFilesOnly)
{
    const Temp_Folder temp;
    const std::string path = temp.write("file", "x");
    EXPECT_TRUE(remove_file(path));
    EXPECT_FALSE(std::filesystem::exists(path));
    EXPECT_FALSE(remove_file(path));
    EXPECT_FALSE(remove_file(temp.path()));
    EXPECT_TRUE(std::filesystem::exists(temp.path()));
}

TEST(Platform, RemovingAnOpenFileDependsOnTheSystem)
{
    const Temp_Folder temp;
    std::ofstream file(temp.path("open"));
    file << "x" << std::flush;
    EXPECT_EQ(kr_platform_testing::can_delete_open_files(), remove_file(temp.path("open")));
}

TEST(Platform, WorkingFolderIsWhereRelativeNamesLead)
{
    const Temp_Folder temp;
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(temp.path());
    const std::string folder = working_folder();
    std::ofstream("here") << "x";
    EXPECT_TRUE(std::filesystem::exists(folder + path_separator() + "here"));
    std::filesystem::current_path(before);
}

TEST(Platform, UtcBreakdownOfKnownInstants)
{
    struct Row {
        std::int64_t seconds;
        int year, month, day, hour, minute, second, weekday, year_day;
    };
    const Row rows[] = {
        {0, 1970, 1, 1, 0, 0, 0, 4, 0},
        {951'782'400, 2000, 2, 29, 0, 0, 0, 2, 59},
        {2'147'483'648, 2038, 1, 19, 3, 14, 8, 2, 18},
        {4'102'444'800, 2100, 1, 1, 0, 0, 0, 5, 0},
        {32'503'679'999, 2999, 12, 31, 23, 59, 59, 2, 364},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.seconds);
        const auto time = utc_breakdown(row.seconds);
        ASSERT_TRUE(time);
        EXPECT_EQ(row.year, time->year);
        EXPECT_EQ(row.month, time->month);
        EXPECT_EQ(row.day, time->day);
        EXPECT_EQ(row.hour, time->hour);
        EXPECT_EQ(row.minute, time->minute);
        EXPECT_EQ(row.second, time->second);
        EXPECT_EQ(row.weekday, time->weekday);
        EXPECT_EQ(row.year_day, time->year_day);
        EXPECT_EQ(row.seconds, utc_seconds(*time));
    }
}

TEST(Platform, UtcBreakdownRefusesInstantsBefore1970AndAfter3000)
{
    EXPECT_FALSE(utc_breakdown(-1));
    EXPECT_FALSE(utc_breakdown(INT64_MIN));
    EXPECT_FALSE(utc_breakdown(INT64_MAX));
}

TEST(Platform, UtcSecondsNormalisesFields)
{
    Calendar_Time time{1999, 13, 1, 0, 0, 0, 0, 0};
    EXPECT_EQ(946'684'800, utc_seconds(time)); // 2000-01-01
    time = {2000, 1, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(946'598'400, utc_seconds(time)); // 1999-12-31
    time = {2000, 1, 1, 25, -60, 61, 0, 0};
    EXPECT_EQ(946'684'800 + 24 * 3600 + 61, utc_seconds(time));
}

TEST(Platform, UtcSecondsOutsideTheRangeIsMinusOne)
{
    EXPECT_EQ(-1, utc_seconds({1969, 12, 31, 23, 59, 59, 0, 0}));
    EXPECT_EQ(-1, utc_seconds({1901, 1, 1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(-1, utc_seconds({3002, 1, 1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(-1, utc_seconds({INT32_MAX, 1, 1, 0, 0, 0, 0, 0}));
    EXPECT_EQ(-1, utc_seconds({2000, INT32_MIN, 1, 0, 0, 0, 0, 0}));
}

TEST(Platform, LocalClockTextIsTheLocalTimeOfDay)
{
    std::tm local{};
    local.tm_year = 120;
    local.tm_mday = 15;
    local.tm_hour = 7;
    local.tm_min = 8;
    local.tm_sec = 9;
    local.tm_isdst = -1;
    EXPECT_EQ("07:08:09", local_clock_text(std::mktime(&local)));
}

TEST(Platform, LocalClockTextOutsideTheRangeIsEmptyAndSetsErrno)
{
    for (const std::int64_t seconds : {std::int64_t{-1}, INT64_MIN, INT64_MAX}) {
        errno = 0;
        EXPECT_EQ("", local_clock_text(seconds));
        EXPECT_EQ(EINVAL, errno);
    }
}

TEST(Platform, SteadyMillisecondsMeasure)
{
    const std::int64_t start = steady_milliseconds();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    const std::int64_t passed = steady_milliseconds() - start;
    EXPECT_GE(passed, 98);
    EXPECT_LT(passed, 60'000);
}

TEST(Platform, CoarseWallClockIsTheWallClock)
{
    const std::int64_t before = std::time(nullptr);
    const std::int64_t seconds = coarse_wall_microseconds() / 1'000'000;
    EXPECT_GE(seconds, before - 1);
    EXPECT_LE(seconds, std::time(nullptr) + 1);
}

class PlatformLock : public testing::Test {
protected:
    // What an attempt on another thread gives: 0 or the error. A lock that it gets it gives back.
    template <typename Attempt>
    int on_another_thread(Attempt attempt)
    {
        int error = 0;
        std::thread([&] {
            clear_last_error();
            if (attempt() != 0)
                error = last_error();
            else
                EXPECT_EQ(0, lock_->release());
        }).join();
        return error;
    }

    int try_elsewhere()
    {
        return on_another_thread([&] { return lock_->try_acquire(); });
    }

    const std::unique_ptr<Lock> lock_ = Lock::make();
};

TEST_F(PlatformLock, IsExclusiveAndRecursive)
{
    EXPECT_EQ(0, lock_->try_acquire());
    EXPECT_EQ(0, lock_->try_acquire());
    EXPECT_EQ(0, lock_->acquire_for(1000));
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(EBUSY, try_elsewhere());
        EXPECT_EQ(0, lock_->release());
    }
    EXPECT_EQ(0, try_elsewhere());
}

TEST_F(PlatformLock, ReleaseByWhoeverDoesNotHoldItIsAnError)
{
    if (is_under_thread_sanitizer)
        GTEST_SKIP() << "ThreadSanitizer reports the wrong release itself";
    EXPECT_EQ(-1, lock_->release()) << "free";
    EXPECT_EQ(0, lock_->try_acquire());
    std::thread([&] { EXPECT_EQ(-1, lock_->release()); }).join();
    EXPECT_EQ(EBUSY, try_elsewhere());
    EXPECT_EQ(0, lock_->release());
}

TEST_F(PlatformLock, WaitsAsLongAsItIsTold)
{
    EXPECT_EQ(0, lock_->try_acquire());
    for (const std::int64_t milliseconds : {1, 50, 1100}) {
        const std::int64_t start = steady_milliseconds();
        EXPECT_EQ(ETIME, on_another_thread([&] { return lock_->acquire_for(milliseconds); }));
        EXPECT_GE(steady_milliseconds() - start, milliseconds - 1);
    }
    EXPECT_EQ(0, lock_->release());
}

TEST_F(PlatformLock, AWaitWhoseTimeIsOverAlreadyDoesNotWait)
{
    for (const std::int64_t milliseconds : {std::int64_t{0}, std::int64_t{-1}, INT64_MIN})
        EXPECT_EQ(0, on_another_thread([&] { return lock_->acquire_for(milliseconds); })) << "free";
    EXPECT_EQ(0, lock_->try_acquire());
    const std::int64_t start = steady_milliseconds();
    for (const std::int64_t milliseconds : {std::int64_t{0}, std::int64_t{-1}, INT64_MIN})
        EXPECT_EQ(ETIME, on_another_thread([&] { return lock_->acquire_for(milliseconds); }));
    EXPECT_LT(steady_milliseconds() - start, 10'000);
    EXPECT_EQ(0, lock_->release());
}

TEST_F(PlatformLock, AWaiterGetsItAsSoonAsItIsReleased)
{
    EXPECT_EQ(0, lock_->try_acquire());
    const std::int64_t start = steady_milliseconds();
    std::thread waiter([&] {
        EXPECT_EQ(0, lock_->acquire_for(100'000));
        EXPECT_EQ(0, lock_->release());
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_EQ(0, lock_->release());
    waiter.join();
    EXPECT_LT(steady_milliseconds() - start, 50'000);
}

TEST_F(PlatformLock, PassesOnWhenItsThreadEnds)
{
    std::thread([&] {
        EXPECT_EQ(0, lock_->try_acquire());
        EXPECT_EQ(0, lock_->try_acquire());
    }).join();
    EXPECT_EQ(0, lock_->try_acquire());
    EXPECT_EQ(EBUSY, try_elsewhere());
    EXPECT_EQ(0, lock_->release());
    EXPECT_EQ(0, try_elsewhere());
}

TEST_F(PlatformLock, PassesToAWaiterWhenItsThreadEnds)
{
    if (is_under_thread_sanitizer)
        GTEST_SKIP()
            << "ThreadSanitizer does not see a timed acquire take over from an ended thread";
    std::thread holder([&] {
        EXPECT_EQ(0, lock_->try_acquire());
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(0, on_another_thread([&] { return lock_->acquire_for(60'000); }));
    holder.join();
}

// The waits of the C++ library read a 64-bit time on every target; a run-time library with a
// 32-bit one would make them end at once.
class TimedWaits : public testing::Test {
protected:
    void TearDown() override
    {
        EXPECT_GE(std::chrono::steady_clock::now() - start_, std::chrono::milliseconds(195));
    }

    static constexpr std::chrono::milliseconds wait{200};
    const std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

TEST_F(TimedWaits, SleepForReallyWaits)
{
    std::this_thread::sleep_for(wait);
}

TEST_F(TimedWaits, ConditionVariableReallyWaits)
{
    std::mutex mutex;
    std::condition_variable condition;
    std::unique_lock<std::mutex> lock(mutex);
    EXPECT_EQ(std::cv_status::timeout, condition.wait_for(lock, wait));
}

TEST_F(TimedWaits, TimedMutexReallyWaits)
{
    std::timed_mutex mutex;
    mutex.lock();
    std::thread([&] { EXPECT_FALSE(mutex.try_lock_for(wait)); }).join();
    mutex.unlock();
}

TEST_F(TimedWaits, TimedMutexWaitsUntilAnInstant)
{
    std::timed_mutex mutex;
    mutex.lock();
    std::thread([&] {
        EXPECT_FALSE(mutex.try_lock_until(std::chrono::system_clock::now() + wait));
    }).join();
    mutex.unlock();
}

} // namespace

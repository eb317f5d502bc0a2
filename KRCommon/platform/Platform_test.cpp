#include <KRCommon/platform/Platform.h>

#include <KRCommon/platform/Platform_testing.h>
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
    errno = 0;
    EXPECT_EQ(last_error(), system_error());
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

struct Close_File {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Close_File>;

TEST(Platform, BytesLeftAreThoseBehindAFilesPosition)
{
    const Temp_Folder temp;
    const File file(std::fopen(temp.write("a", std::string(100, 'x')).c_str(), "rb"));
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(100U, bytes_left(file.get()));
    EXPECT_EQ('x', std::fgetc(file.get()));
    EXPECT_EQ(99U, bytes_left(file.get()));
    EXPECT_EQ('y', std::ungetc('y', file.get()));
    EXPECT_EQ(100U, bytes_left(file.get()));
    EXPECT_EQ('y', std::fgetc(file.get())) << "changes nothing";
    ASSERT_EQ(0, std::fseek(file.get(), 0, SEEK_END));
    EXPECT_EQ(0U, bytes_left(file.get()));
    ASSERT_EQ(0, std::fseek(file.get(), 200, SEEK_SET));
    EXPECT_EQ(0U, bytes_left(file.get()));
}

TEST(Platform, BytesLeftKnowsFilesAbove4Gib)
{
    const Temp_Folder temp;
    const std::string path = temp.write("a", "");
    constexpr std::uint64_t size = 5'000'000'001;
    std::error_code failure;
    std::filesystem::resize_file(path, size, failure);
    if (failure)
        GTEST_SKIP() << "no file of 5 GB here: " << failure.message();
    const File file(std::fopen(path.c_str(), "rb"));
    ASSERT_NE(nullptr, file);
    EXPECT_EQ(size, bytes_left(file.get()));
}

TEST(Platform, BytesLeftInAPipeAreNotKnown)
{
    const auto pipe = kr_platform_testing::open_pipe();
    const File reader(pipe.reader);
    const File writer(pipe.writer);
    ASSERT_NE(nullptr, reader);
    ASSERT_NE(nullptr, writer);
    std::fputs("text", writer.get());
    std::fflush(writer.get());
    EXPECT_EQ(0U, bytes_left(reader.get()));
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

TEST(Platform, CreationTimeOfAFileStaysWhenItIsWrittenLater)
{
    const Temp_Folder temp;
    const std::string path = temp.write("file", "1");
    if (!kr_platform_testing::keeps_creation_time(path))
        GTEST_SKIP() << "files have no creation time of their own here";
    const auto made = file_info(path);
    ASSERT_TRUE(made);
    while (coarse_wall_microseconds() / 1'000'000 < made->created + 1) // times are whole seconds
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
    std::ofstream(path, std::ios::app) << "2";
    const auto written = file_info(path);
    ASSERT_TRUE(written);
    EXPECT_EQ(2u, written->size);
    EXPECT_EQ(made->created, written->created);
}

TEST(Platform, CreationTimeIsToldWhereTheFileSystemKeepsNone)
{
    const std::string path = kr_platform_testing::unwritable_folder(); // of the kernel's own making
    const auto info = file_info(path);
    ASSERT_TRUE(info);
    EXPECT_GT(info->created, 0) << path;
    EXPECT_LE(info->created, std::time(nullptr) + 2) << path;
}

TEST(Platform, CoarseWallClockIsAStepBehindAtMost)
{
    const auto wall_microseconds = [] {
        const auto now = std::chrono::system_clock::now().time_since_epoch();
        return std::chrono::duration_cast<std::chrono::microseconds>(now).count();
    };
    for (int i = 0; i < 30; ++i) {
        const std::int64_t before = wall_microseconds();
        const std::int64_t coarse = coarse_wall_microseconds();
        EXPECT_GE(coarse, before - 200'000); // a step of 16 ms, and more on a busy machine
        EXPECT_LE(coarse, wall_microseconds() + 1'000);
        std::this_thread::sleep_for(std::chrono::milliseconds(7));
    }
}

TEST(Platform, ALibraryIsKeptLoadedThatWasLetGoOf)
{
    using namespace kr_platform_testing;
    const auto [path, name] = spare_library();
    if (is_library_loaded(path))
        GTEST_SKIP() << path << " is there already";
    void* library = load_library(path);
    ASSERT_NE(nullptr, library) << path;
    EXPECT_TRUE(unload_library(library));
    EXPECT_FALSE(is_library_loaded(path)) << "without keep_loaded()";

    library = load_library(path);
    ASSERT_NE(nullptr, library) << path;
    void (*const function)() = find_function(library, name);
    ASSERT_NE(nullptr, function) << name;
    keep_loaded(function);
    EXPECT_TRUE(unload_library(library));
    EXPECT_TRUE(is_library_loaded(path));
}

TEST(Platform, ProgramPathIsTheRunningProgram)
{
    const std::string path = kr_platform::program_path();
    EXPECT_TRUE(kr_platform::file_info(path)) << path;
    EXPECT_NE(std::string::npos, path.find("platform_tests"));
}

TEST(Platform, LocalDateIsTheCLibrarysAndItsOffset)
{
    for (const std::int64_t seconds :
         {86'400LL, 1'394'000'000LL, 1'406'000'000LL, 4'102'444'800LL}) {
        const auto time = static_cast<std::time_t>(seconds);
        const std::tm local = *std::localtime(&time);
        const kr_platform::Local_Date date = kr_platform::local_date(seconds);
        EXPECT_EQ(local.tm_year + 1900, date.year);
        EXPECT_EQ(local.tm_mon + 1, date.month);
        EXPECT_EQ(local.tm_mday, date.day);
        const auto shifted = static_cast<std::time_t>(seconds + date.offset_minutes * 60);
        const std::tm utc = *std::gmtime(&shifted);
        EXPECT_EQ(local.tm_hour, utc.tm_hour) << seconds;
        EXPECT_EQ(local.tm_min, utc.tm_min) << seconds;
        EXPECT_EQ(local.tm_mday, utc.tm_mday) << seconds;
    }
    for (const std::int64_t seconds : {std::int64_t{-1}, kr_platform::last_second + 1})
        EXPECT_EQ(0, kr_platform::local_date(seconds).year);
}

} // namespace

#include <KRCommon/frame/ProfileHelper.h>

#include <KRCommon/frame/Mutex_World.h>
#include <KRCommon/frame/ProfileHelper_Clock.h>
#include <KRCommon/platform/Platform.h>
#include <tests/support/Log_Capture.h>
#include <tests/support/Log_Text_Matching.h>
#include <tests/support/Private_Member.h>
#include <tests/support/Temp_Folder.h>

#include <ace/OS_NS_sys_time.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <limits>
#include <locale>
#include <optional>
#include <string>
#include <thread>
#include <type_traits>
#include <vector>

struct Statistics {
    friend auto private_member(Statistics);
};
struct Statistics_Mutex {
    friend auto private_member(Statistics_Mutex);
};
template struct Private_Member<Statistics, &ProfileHelper::statistics_>;
template struct Private_Member<Statistics_Mutex, &ProfileHelper::mutex_>;

namespace {

using namespace std::string_literals;

static_assert(!std::is_copy_constructible_v<ProfileHelper>);
static_assert(!std::is_copy_assignable_v<ProfileHelper>);
static_assert(std::is_copy_constructible_v<ProfileHelperBlock>);
static_assert(std::is_copy_assignable_v<ProfileHelperBlock>);
static_assert(std::is_nothrow_destructible_v<ProfileHelperBlock>);
static_assert(!std::is_default_constructible_v<ProfileHelperBlock>);

constexpr std::uint64_t start_time = 1'394'020'800'000;
constexpr char csv_header[] = "tag,timeStamp,totalMs,count,averageMs,highMs\n";

std::atomic<std::uint64_t> fake_now{start_time};

// Time stands still at start_time unless a test moves it.
struct Fake_Clock {
    Fake_Clock()
    {
        fake_now = start_time;
        kr_internal::profile_clock.replace([] { return fake_now.load(); });
    }
    ~Fake_Clock() { kr_internal::profile_clock.replace(nullptr); }
    Fake_Clock(const Fake_Clock&) = delete;
    Fake_Clock& operator=(const Fake_Clock&) = delete;
};

class Profile_Helper : public testing::Test {
protected:
    Profile_Helper() { ACE_Log_Msg::instance()->priority_mask(all, ACE_Log_Msg::PROCESS); }

    ~Profile_Helper() override
    {
        ACE_Log_Msg::instance()->priority_mask(all, ACE_Log_Msg::PROCESS);
    }

    std::string csv_path(const std::string& name = "camera") const
    {
        return folder_.path(name + "_1394020800000.csv");
    }

    // The CSV file after its header line.
    std::string rows() const
    {
        const std::string text = read_text(csv_path());
        EXPECT_EQ(csv_header, text.substr(0, sizeof csv_header - 1));
        return text.size() < sizeof csv_header ? "" : text.substr(sizeof csv_header - 1);
    }

    // The one line that is logged as from `line` of the source, whole but for its stamp.
    void expect_line(std::size_t index, int line, const std::string& text) const
    {
        SCOPED_TRACE(index);
        ASSERT_LT(index, capture_.lines().size());
        const Log_Capture::Line& logged = capture_.lines()[index];
        EXPECT_EQ(LM_INFO, logged.priority);
        EXPECT_EQ("ProfileHelper.cpp", logged.file);
        EXPECT_EQ(line, logged.line);
        EXPECT_EQ(0, logged.status);
        EXPECT_EQ(thread_mark() + text, capture_.unstamped(index));
    }

    // A report of one tag, of the first helper with interval 0.
    void expect_report_of_one(const std::string& tag_line, const std::string& row)
    {
        helper_.ReportStat();
        ASSERT_EQ(2u, capture_.lines().size());
        expect_line(0, 52, " INF ProfileHelper Report for last 0 seconds:\n");
        expect_line(1, 56, tag_line);
        EXPECT_EQ(row, rows());
    }

    static constexpr unsigned long all = 0x7ff;
    Temp_Folder folder_;
    Log_Capture capture_;
    Fake_Clock clock_; // before the first helper
    ProfileHelper helper_{0, folder_.path("camera")};
};

TEST_F(Profile_Helper, ConstructorMakesAFileOfTheHeaderLineOnly)
{
    EXPECT_THAT(folder_.names(), testing::ElementsAre("camera_1394020800000.csv"));
    EXPECT_EQ("tag,timeStamp,totalMs,count,averageMs,highMs\n", read_text(csv_path()));
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(Profile_Helper, ConstructorEmptiesAFileOfThatName)
{
    folder_.write("old_1394020800000.csv", "an old file");
    const ProfileHelper helper(1, folder_.path("old"));
    EXPECT_EQ(csv_header, read_text(csv_path("old")));
}

TEST_F(Profile_Helper, AnyNameAndTimeMakeTheFileName)
{
    const struct {
        std::uint64_t now;
        const char* name;
        const char* expected;
    } table[] = {
        {0, "a", "a_0.csv"},
        {1, "", "_1.csv"},
        {18'446'744'073'709'551'615u, "max", "max_18446744073709551615.csv"},
        {5, "%s%n 100%", "%s%n 100%_5.csv"},
        {5, "two.dots.csv", "two.dots.csv_5.csv"},
    };
    for (const auto& row : table) {
        fake_now = row.now;
        const ProfileHelper helper(1, folder_.path(row.name));
        EXPECT_EQ(csv_header, read_text(folder_.path(row.expected))) << row.expected;
    }
}

TEST_F(Profile_Helper, ARelativeNameIsRelativeToTheWorkingFolder)
{
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(folder_.path());
    {
        const ProfileHelper helper(0, "relative");
    }
    std::filesystem::current_path(before);
    EXPECT_EQ(csv_header, read_text(csv_path("relative")));
}

TEST_F(Profile_Helper, DestructorWritesNothing)
{
    {
        ProfileHelper helper(0, folder_.path("short lived"));
        helper.AddSample("decode", 5);
    }
    EXPECT_EQ(csv_header, read_text(csv_path("short lived")));
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(Profile_Helper, ReportLogsAndWritesTheTagsInAscendingOrder)
{
    for (const unsigned ms : {1u, 17u, 2u})
        helper_.AddSample("encode", ms);
    helper_.AddSample("decode", 7);
    helper_.AddSample("Z", 1);
    helper_.AddSample("", 2);
    fake_now = start_time + 1;
    helper_.ReportStat();
    ASSERT_EQ(5u, capture_.lines().size());
    expect_line(0, 52, " INF ProfileHelper Report for last 0 seconds:\n");
    expect_line(1, 56, " INF PROF:  - totalMs: 2, count: 1, averageMs: 2.000000, highMs: 2\n");
    expect_line(2, 56, " INF PROF: Z - totalMs: 1, count: 1, averageMs: 1.000000, highMs: 1\n");
    expect_line(3, 56,
                " INF PROF: decode - totalMs: 7, count: 1, averageMs: 7.000000, highMs: 7\n");
    expect_line(4, 56,
                " INF PROF: encode - totalMs: 20, count: 3, averageMs: 6.666667, highMs: 17\n");
    EXPECT_EQ(",1394020800001,2,1,2,2\n"
              "Z,1394020800001,1,1,1,1\n"
              "decode,1394020800001,7,1,7,7\n"
              "encode,1394020800001,20,3,6.66667,17\n",
              rows());
}

TEST_F(Profile_Helper, AReportWithoutTagsIsTheHeadLineAlone)
{
    helper_.ReportStat();
    ASSERT_EQ(1u, capture_.lines().size());
    expect_line(0, 52, " INF ProfileHelper Report for last 0 seconds:\n");
    EXPECT_EQ("", rows());
}

TEST_F(Profile_Helper, OneSampleOfZeroHasAverageZero)
{
    helper_.AddSample("a", 0);
    expect_report_of_one(" INF PROF: a - totalMs: 0, count: 1, averageMs: 0.000000, highMs: 0\n",
                         "a,1394020800000,0,1,0,0\n");
}

TEST_F(Profile_Helper, OneSampleOfOne)
{
    helper_.AddSample("a", 1);
    expect_report_of_one(" INF PROF: a - totalMs: 1, count: 1, averageMs: 1.000000, highMs: 1\n",
                         "a,1394020800000,1,1,1,1\n");
}

TEST_F(Profile_Helper, OneSampleOfTheLargestNumber)
{
    helper_.AddSample("a", 4'294'967'295u);
    expect_report_of_one(" INF PROF: a - totalMs: 4294967295, count: 1, averageMs: "
                         "4294967296.000000, highMs: 4294967295\n",
                         "a,1394020800000,4294967295,1,4.29497e+09,4294967295\n");
}

TEST_F(Profile_Helper, AverageIsOfSinglePrecision)
{
    helper_.AddSample("a", 16'777'217); // the first whole number that is no float
    expect_report_of_one(" INF PROF: a - totalMs: 16777217, count: 1, averageMs: 16777216.000000, "
                         "highMs: 16777217\n",
                         "a,1394020800000,16777217,1,1.67772e+07,16777217\n");
}

TEST_F(Profile_Helper, QuirkTotalsAre32BitsAndWrap)
{
    helper_.AddSample("a", 4'294'967'295u);
    helper_.AddSample("a", 3);
    expect_report_of_one(
        " INF PROF: a - totalMs: 2, count: 2, averageMs: 1.000000, highMs: 4294967295\n",
        "a,1394020800000,2,2,1,4294967295\n");
}

TEST_F(Profile_Helper, QuirkCountsAre32BitsAndWrap)
{
    helper_.AddSample("a", 3);
    (helper_.*private_member(Statistics()))["a"].count = 4'294'967'295u;
    helper_.AddSample("a", 3);
    helper_.AddSample("a", 3);
    expect_report_of_one(" INF PROF: a - totalMs: 9, count: 1, averageMs: 9.000000, highMs: 3\n",
                         "a,1394020800000,9,1,9,3\n");
}

TEST_F(Profile_Helper, QuirkLowestStaysZeroAndIsNotReported)
{
    helper_.AddSample("a", 7);
    helper_.AddSample("a", 5);
    helper_.AddSample("a", 9);
    EXPECT_EQ(0u, (helper_.*private_member(Statistics())).at("a").lowest);
    expect_report_of_one(" INF PROF: a - totalMs: 21, count: 3, averageMs: 7.000000, highMs: 9\n",
                         "a,1394020800000,21,3,7,9\n");
}

TEST_F(Profile_Helper, QuirkAReportClearsNothing)
{
    helper_.AddSample("a", 10);
    helper_.ReportStat();
    fake_now = start_time + 2000;
    helper_.ReportStat();
    helper_.AddSample("a", 4);
    fake_now = start_time + 5500;
    helper_.ReportStat();
    ASSERT_EQ(6u, capture_.lines().size());
    expect_line(2, 52, " INF ProfileHelper Report for last 2 seconds:\n");
    expect_line(3, 56, " INF PROF: a - totalMs: 10, count: 1, averageMs: 10.000000, highMs: 10\n");
    expect_line(4, 52, " INF ProfileHelper Report for last 3 seconds:\n");
    expect_line(5, 56, " INF PROF: a - totalMs: 14, count: 2, averageMs: 7.000000, highMs: 10\n");
    EXPECT_EQ("a,1394020800000,10,1,10,10\n"
              "a,1394020802000,10,1,10,10\n"
              "a,1394020805500,14,2,7,10\n",
              rows());
}

TEST_F(Profile_Helper, QuirkTagsAreNotQuotedInTheFile)
{
    const struct {
        const char* tag;
        const char* logged;
    } table[] = {
        {"two\nlines", "two\\nlines"},
        {"a,b", "a,b"},
        {"\"quoted\"", "\"quoted\""},
        {"100%s%n", "100%s%n"},
        {" ", " "},
        {"=1+1", "=1+1"},
        {"\xd0\xb0 \xff", "\xd0\xb0 \xff"},
        {"tab\t", "tab\\t"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.logged);
        ProfileHelper helper(0, folder_.path("camera"));
        helper.AddSample(row.tag, 5);
        const Log_Capture capture;
        helper.ReportStat();
        ASSERT_EQ(2u, capture.lines().size());
        EXPECT_EQ(thread_mark() + " INF PROF: " + row.logged +
                      " - totalMs: 5, count: 1, averageMs: 5.000000, highMs: 5\n",
                  capture.unstamped(1));
        EXPECT_EQ(row.tag + ",1394020800000,5,1,5,5\n"s, rows());
    }
}

TEST_F(Profile_Helper, AZeroByteIsPartOfTheTag)
{
    helper_.AddSample("a\0b"s, 5);
    helper_.AddSample("a\0c"s, 6);
    helper_.ReportStat();
    expect_line(1, 56,
                " INF PROF: a\\x00b - totalMs: 5, count: 1, averageMs: 5.000000, highMs: 5\n");
    EXPECT_EQ("a\0b,1394020800000,5,1,5,5\na\0c,1394020800000,6,1,6,6\n"s, rows());
}

TEST_F(Profile_Helper, AnOverlongTagIsCutInTheLogOnly)
{
    const std::string tag(10'000, 'x');
    helper_.AddSample(tag, 5);
    helper_.ReportStat();
    EXPECT_THAT(
        capture_.unstamped(1),
        testing::EndsWith("xxx... - totalMs: 5, count: 1, averageMs: 5.000000, highMs: 5\n"));
    EXPECT_EQ(tag + ",1394020800000,5,1,5,5\n", rows());
}

TEST_F(Profile_Helper, TheHostsLocaleChangesNothing)
{
    struct German : std::numpunct<char> {
        char do_decimal_point() const override { return ','; }
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\3"; }
    };
    const std::locale before = std::locale::global(std::locale(std::locale(), new German));
    ProfileHelper helper(0, folder_.path("camera"));
    helper.AddSample("a", 1000);
    helper.AddSample("a", 2001);
    helper.ReportStat();
    std::locale::global(before);
    EXPECT_EQ("a,1394020800000,3001,2,1500.5,2001\n", rows());
}

TEST_F(Profile_Helper, RowsAreWrittenAlsoWhenTheMaskStopsTheLines)
{
    ACE_Log_Msg::instance()->priority_mask(LM_EMERGENCY, ACE_Log_Msg::PROCESS);
    helper_.AddSample("a", 5);
    helper_.ReportStat();
    EXPECT_TRUE(capture_.lines().empty());
    EXPECT_EQ("a,1394020800000,5,1,5,5\n", rows());
}

TEST_F(Profile_Helper, AFileThatCannotBeOpenedLosesItsRowsSilently)
{
    ProfileHelper helper(0, folder_.path("missing") + kr_platform::path_separator() + "camera");
    helper.AddSample("a", 5);
    helper.ReportStat();
    ASSERT_EQ(2u, capture_.lines().size());
    expect_line(0, 52, " INF ProfileHelper Report for last 0 seconds:\n");
    expect_line(1, 56, " INF PROF: a - totalMs: 5, count: 1, averageMs: 5.000000, highMs: 5\n");
    EXPECT_FALSE(std::filesystem::exists(folder_.path("missing")));
    // Every report tries again; the header line was lost.
    std::filesystem::create_directory(folder_.path("missing"));
    fake_now = start_time + 1;
    helper.ReportStat();
    EXPECT_EQ(4u, capture_.lines().size());
    EXPECT_EQ("a,1394020800001,5,1,5,5\n",
              read_text(folder_.path("missing") + kr_platform::path_separator() +
                        "camera_1394020800000.csv"));
}

TEST_F(Profile_Helper, AFolderInPlaceOfTheFileIsSilentToo)
{
    std::filesystem::create_directory(csv_path("folder"));
    ProfileHelper helper(0, folder_.path("folder"));
    helper.AddSample("a", 5);
    helper.ReportStat();
    EXPECT_EQ(2u, capture_.lines().size());
    EXPECT_TRUE(std::filesystem::is_empty(csv_path("folder")));
}

TEST_F(Profile_Helper, TwoOfOneNameInOneMillisecondShareAFile)
{
    helper_.AddSample("lost", 1);
    helper_.ReportStat();
    ProfileHelper other(0, folder_.path("camera"));
    EXPECT_EQ("", rows()) << "the second constructor begins the file anew";
    helper_.Reset();
    helper_.AddSample("a", 2);
    other.AddSample("b", 3);
    helper_.ReportStat();
    other.ReportStat();
    EXPECT_EQ("a,1394020800000,2,1,2,2\nb,1394020800000,3,1,3,3\n", rows());
    EXPECT_EQ(1u, folder_.names().size());
    fake_now = start_time + 1;
    const ProfileHelper later(0, folder_.path("camera"));
    EXPECT_EQ(2u, folder_.names().size());
}

TEST_F(Profile_Helper, TheFirstReportOnlyBeginsTheInterval)
{
    ProfileHelper helper(5, folder_.path("camera"));
    helper.AddSample("a", 5);
    fake_now = start_time + 1'000'000;
    helper.ReportStat();
    EXPECT_TRUE(capture_.lines().empty());
    EXPECT_EQ("", rows());
    fake_now = start_time + 1'004'999;
    helper.ReportStat();
    EXPECT_TRUE(capture_.lines().empty()) << "counted from the first call, not from construction";
}

TEST_F(Profile_Helper, AReportIsDueWhenTheIntervalIsExactlyOver)
{
    ProfileHelper helper(5, folder_.path("camera"));
    const struct {
        std::uint64_t at;
        const char* head;
    } table[] = {
        {0, nullptr},
        {1, nullptr},
        {4999, nullptr},
        {5000, " INF ProfileHelper Report for last 5 seconds:\n"},
        {5000, nullptr},
        {9999, nullptr},
        {15'999, " INF ProfileHelper Report for last 10 seconds:\n"},
        {20'998, nullptr},
        {20'999, " INF ProfileHelper Report for last 5 seconds:\n"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.at);
        fake_now = start_time + row.at;
        const std::size_t before = capture_.lines().size();
        helper.ReportStat();
        ASSERT_EQ(before + (row.head != nullptr ? 1 : 0), capture_.lines().size());
        if (row.head != nullptr)
            expect_line(before, 52, row.head);
    }
}

TEST_F(Profile_Helper, WithIntervalZeroEveryCallReports)
{
    helper_.AddSample("a", 5);
    for (std::size_t calls = 1; calls <= 3; ++calls) {
        helper_.ReportStat();
        EXPECT_EQ(2 * calls, capture_.lines().size());
    }
    EXPECT_EQ("a,1394020800000,5,1,5,5\n"
              "a,1394020800000,5,1,5,5\n"
              "a,1394020800000,5,1,5,5\n",
              rows());
}

TEST_F(Profile_Helper, QuirkAClockSetBackReportsAtOnce)
{
    ProfileHelper helper(5, folder_.path("camera"));
    helper.ReportStat();
    fake_now = start_time - 1000; // elapsed is 2^64 - 1000 ms, cut to 32 bits of seconds
    helper.ReportStat();
    ASSERT_EQ(1u, capture_.lines().size());
    expect_line(0, 52, " INF ProfileHelper Report for last 1271310318 seconds:\n");
    fake_now = start_time + 3999;
    helper.ReportStat();
    EXPECT_EQ(1u, capture_.lines().size());
    fake_now = start_time + 4000;
    helper.ReportStat();
    ASSERT_EQ(2u, capture_.lines().size());
    expect_line(1, 52, " INF ProfileHelper Report for last 5 seconds:\n");
}

TEST_F(Profile_Helper, IntervalsAreOf64Bits)
{
    ProfileHelper helper(4'294'967'296, folder_.path("camera"));
    helper.ReportStat();
    fake_now = start_time + 4'294'967'295'999;
    helper.ReportStat();
    EXPECT_TRUE(capture_.lines().empty());
    fake_now = start_time + 4'294'967'296'000;
    helper.ReportStat();
    ASSERT_EQ(1u, capture_.lines().size());
    expect_line(0, 52, " INF ProfileHelper Report for last 0 seconds:\n"); // cut to 32 bits
}

TEST_F(Profile_Helper, ResetRemovesEveryTagAndLetsTheIntervalGoOn)
{
    ProfileHelper helper(5, folder_.path("camera"));
    helper.Reset();
    helper.AddSample("a", 50);
    helper.AddSample("b", 60);
    helper.ReportStat();
    fake_now = start_time + 4000;
    helper.Reset();
    helper.AddSample("b", 3);
    fake_now = start_time + 5000;
    helper.ReportStat();
    ASSERT_EQ(2u, capture_.lines().size());
    expect_line(0, 52, " INF ProfileHelper Report for last 5 seconds:\n");
    expect_line(1, 56, " INF PROF: b - totalMs: 3, count: 1, averageMs: 3.000000, highMs: 3\n");
    EXPECT_EQ("b,1394020805000,3,1,3,3\n", rows());
}

TEST_F(Profile_Helper, ALogCallbackMayComeBack)
{
    class Comes_Back : public ACE_Log_Msg_Callback {
    public:
        explicit Comes_Back(ProfileHelper& helper) : helper_(helper) {}
        void log(ACE_Log_Record&) override
        {
            helper_.Reset();
            helper_.AddSample("called back", 1);
        }

    private:
        ProfileHelper& helper_;
    } callback(helper_);
    helper_.AddSample("a", 2);
    helper_.AddSample("b", 3);
    ACE_Log_Msg_Callback* const before = ACE_Log_Msg::instance()->msg_callback(&callback);
    helper_.ReportStat();
    ACE_Log_Msg::instance()->msg_callback(before);
    EXPECT_EQ("a,1394020800000,2,1,2,2\nb,1394020800000,3,1,3,3\n", rows());
    helper_.ReportStat();
    expect_line(1, 56,
                " INF PROF: called back - totalMs: 1, count: 1, averageMs: 1.000000, highMs: 1\n");
}

TEST_F(Profile_Helper, SystemClockIsTheDefault)
{
    kr_internal::profile_clock.replace(nullptr);
    const auto now = [] { return ACE_OS::gettimeofday().get_msec(); };
    const std::uint64_t before = now();
    ProfileHelper helper(0, folder_.path("real"));
    const std::uint64_t after = now();
    std::vector<std::uint64_t> found;
    for (std::uint64_t time = before; time <= after; ++time)
        if (folder_.names().count("real_" + std::to_string(time) + ".csv") != 0)
            found.push_back(time);
    EXPECT_EQ(1u, found.size());
}

TEST_F(Profile_Helper, EightThreadsAddWhileAnotherReports)
{
    constexpr unsigned threads = 8;
    constexpr unsigned samples = 500;
    std::atomic<unsigned> running{threads};
    std::vector<std::thread> adders;
    adders.reserve(threads);
    for (unsigned thread = 0; thread < threads; ++thread)
        adders.emplace_back([&, thread] {
            for (unsigned sample = 1; sample <= samples; ++sample) {
                helper_.AddSample("shared", sample);
                helper_.AddSample("own " + std::to_string(thread), 1);
            }
            --running;
        });
    while (running != 0) {
        helper_.ReportStat();
        std::this_thread::yield();
    }
    for (std::thread& adder : adders)
        adder.join();
    const std::size_t before = capture_.lines().size();
    helper_.ReportStat();
    ASSERT_EQ(before + 1 + threads + 1, capture_.lines().size());
    for (unsigned thread = 0; thread < threads; ++thread)
        expect_line(before + 1 + thread, 56,
                    " INF PROF: own " + std::to_string(thread) +
                        " - totalMs: 500, count: 500, averageMs: 1.000000, highMs: 1\n");
    expect_line(before + 1 + threads, 56,
                " INF PROF: shared - totalMs: 1002000, count: 4000, averageMs: 250.500000, "
                "highMs: 500\n");
}

TEST_F(Profile_Helper, ThreadsThatBeginTheIntervalTogetherReportNothing)
{
    kr_internal::profile_clock.replace([] { return ++fake_now; });
    for (int round = 0; round < 20; ++round) {
        ProfileHelper helper(1'000'000'000, folder_.path("camera"));
        const std::string path = folder_.path("camera_" + std::to_string(fake_now) + ".csv");
        helper.AddSample("a", 1);
        std::vector<std::thread> reporters;
        reporters.reserve(4);
        for (int thread = 0; thread < 4; ++thread)
            reporters.emplace_back([&] {
                for (int call = 0; call < 50; ++call)
                    helper.ReportStat();
            });
        for (std::thread& reporter : reporters)
            reporter.join();
        EXPECT_EQ(csv_header, read_text(path)) << round;
    }
}

// Lets the first wait of 10 seconds pass at once, and lets the test know of the second.
class Impatient_World final : public kr_internal::Guard_World {
public:
    std::int64_t steady_milliseconds() override { return 0; }
    std::int64_t wall_microseconds() override { return 0; }
    int acquire_for(kr_internal::Process_Lock& lock, std::int64_t milliseconds,
                    std::int64_t arrival) override
    {
        if (++waits_ == 1) {
            errno = ETIME;
            return -1;
        }
        return kr_internal::acquire_for(lock, milliseconds, arrival);
    }
    void end_process(int) override {}

    int waits() const { return waits_; }

private:
    std::atomic<int> waits_{0};
};

TEST_F(Profile_Helper, AStallIsReportedWithTheLineOfTheWaitingOperation)
{
    const struct {
        void (*operation)(ProfileHelper&);
        const char* line;
    } table[] = {
        {[](ProfileHelper& helper) { helper.AddSample("a", 1); }, "24"},
        {[](ProfileHelper& helper) { helper.ReportStat(); }, "51"},
        {[](ProfileHelper& helper) { helper.Reset(); }, "73"},
    };
    for (const auto& row : table) {
        Impatient_World world;
        kr_internal::guard_world.replace(&world);
        std::string text;
        std::optional<KR_Mutex_Guard> guard;
        guard.emplace(helper_.*private_member(Statistics_Mutex()), "held", "Test.cpp", 5);
        std::thread waiting([&] {
            const Log_Capture capture;
            row.operation(helper_);
            text = capture.lines().at(0).text;
        });
        while (world.waits() < 2)
            std::this_thread::yield();
        guard.reset();
        waiting.join();
        kr_internal::guard_world.replace(nullptr);
        EXPECT_THAT(text, testing::HasSubstr("mutex_ - Lock acquire delay (0 seconds passed) at "
                                             "ProfileHelper.cpp:"s +
                                             row.line + " (locked 1 time(s) by"));
    }
}

class Profile_Helper_Block : public Profile_Helper {
protected:
    // Tag, total, count and highest of all tags, as the CSV file shows them.
    std::string figures(ProfileHelper& helper)
    {
        fake_now = start_time;
        helper.ReportStat();
        return rows();
    }
};

TEST_F(Profile_Helper_Block, AddsItsLifeAsOneSample)
{
    {
        const ProfileHelperBlock block(&helper_, "decode");
        fake_now += 7;
    }
    {
        const ProfileHelperBlock block(&helper_, "decode");
        fake_now += 3;
    }
    EXPECT_EQ("decode,1394020800000,10,2,5,7\n", figures(helper_));
    EXPECT_EQ(2u, capture_.lines().size());
}

TEST_F(Profile_Helper_Block, QuirkElapsedTimeIsCutTo32Bits)
{
    const struct {
        std::uint64_t elapsed;
        const char* row;
    } table[] = {
        {0, "a,1394020800000,0,1,0,0\n"},
        {1, "a,1394020800000,1,1,1,1\n"},
        {4'294'967'295, "a,1394020800000,4294967295,1,4.29497e+09,4294967295\n"},
        {4'294'967'296, "a,1394020800000,0,1,0,0\n"},
        {4'294'967'303, "a,1394020800000,7,1,7,7\n"},
        {std::numeric_limits<std::uint64_t>::max(), // the clock was set back by 1 ms
         "a,1394020800000,4294967295,1,4.29497e+09,4294967295\n"},
    };
    for (const auto& row : table) {
        SCOPED_TRACE(row.elapsed);
        fake_now = start_time;
        ProfileHelper helper(0, folder_.path("camera"));
        {
            const ProfileHelperBlock block(&helper, "a");
            fake_now += row.elapsed;
        }
        EXPECT_EQ(row.row, figures(helper));
    }
}

TEST_F(Profile_Helper_Block, WithoutAHelperDoesNothing)
{
    {
        const ProfileHelperBlock block(nullptr, "a");
        const ProfileHelperBlock copy(block); // NOLINT(performance-*): destroying it is the test
        fake_now += 5;
    }
    EXPECT_TRUE(capture_.lines().empty());
    EXPECT_EQ("", figures(helper_));
}

TEST_F(Profile_Helper_Block, KeepsACopyOfTheTag)
{
    std::string tag = "first";
    {
        const ProfileHelperBlock block(&helper_, tag);
        tag = "second";
    }
    EXPECT_EQ("first,1394020800000,0,1,0,0\n", figures(helper_));
}

TEST_F(Profile_Helper_Block, ACopyGoesOnFromTheOriginalsStart)
{
    {
        const ProfileHelperBlock block(&helper_, "a");
        fake_now += 10;
        {
            const ProfileHelperBlock copy(block); // NOLINT(performance-*): it adds a sample
            fake_now += 5;
        }
        fake_now += 5;
    }
    EXPECT_EQ("a,1394020800000,35,2,17.5,20\n", figures(helper_));
}

TEST_F(Profile_Helper_Block, AnAssignedOneForgetsWhatItTimed)
{
    ProfileHelper other(0, folder_.path("other"));
    {
        ProfileHelperBlock block(&other, "forgotten");
        fake_now += 10;
        const ProfileHelperBlock later(&helper_, "a");
        block = later;
        fake_now += 5;
    }
    EXPECT_EQ("a,1394020800000,10,2,5,5\n", figures(helper_));
    other.ReportStat();
    EXPECT_EQ(csv_header, read_text(csv_path("other")));
}

TEST_F(Profile_Helper_Block, BlocksOfOneTagNest)
{
    {
        const ProfileHelperBlock outer(&helper_, "a");
        fake_now += 1;
        {
            const ProfileHelperBlock inner(&helper_, "a");
            fake_now += 2;
        }
        fake_now += 4;
    }
    EXPECT_EQ("a,1394020800000,9,2,4.5,7\n", figures(helper_));
}

TEST_F(Profile_Helper_Block, BlocksOfManyThreadsAllCount)
{
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&] {
            for (int scope = 0; scope < 250; ++scope)
                const ProfileHelperBlock block(&helper_, "a");
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ("a,1394020800000,0,1000,0,0\n", figures(helper_));
}

// Percentiles, in a file of their own.

std::atomic<std::int64_t> fake_steady_now{0};

struct Fake_Steady_Clock {
    Fake_Steady_Clock()
    {
        kr_internal::steady_profile_clock.replace([] { return fake_steady_now.load(); });
    }
    ~Fake_Steady_Clock() { kr_internal::steady_profile_clock.replace(nullptr); }
    Fake_Steady_Clock(const Fake_Steady_Clock&) = delete;
    Fake_Steady_Clock& operator=(const Fake_Steady_Clock&) = delete;
};

class Profile_Percentiles : public Profile_Helper {
protected:
    std::string percentiles() const
    {
        return read_text(folder_.path("camera_1394020800000_percentiles.csv"));
    }

    Fake_Steady_Clock steady_clock_;
};

TEST_F(Profile_Percentiles, AreNotWrittenUntilAHostAsks)
{
    helper_.AddSample("a", 1);
    helper_.ReportStat();
    EXPECT_THAT(folder_.names(), testing::ElementsAre("camera_1394020800000.csv"));
}

TEST_F(Profile_Percentiles, AHeaderLineIsWrittenAtOnce)
{
    helper_.WritePercentiles();
    EXPECT_EQ("tag,timeStamp,count,p50Ms,p90Ms,p99Ms\n", percentiles());
}

TEST_F(Profile_Percentiles, AReportWritesARowForEachTagAndTheCsvAsBefore)
{
    helper_.AddSample("before", 7);
    helper_.WritePercentiles();
    for (unsigned ms = 1; ms <= 100; ++ms)
        helper_.AddSampleMicroseconds("b", ms);
    helper_.AddSample("a", 0);
    helper_.WritePercentiles();
    helper_.ReportStat();
    EXPECT_EQ("tag,timeStamp,count,p50Ms,p90Ms,p99Ms\n"
              "a,1394020800000,1,0,0,0\n"
              "b,1394020800000,100,0.05,0.091,0.099\n",
              percentiles());
    EXPECT_EQ("a,1394020800000,0,1,0,0\nb,1394020800000,0,100,0,0\n"
              "before,1394020800000,7,1,7,7\n",
              rows());
    helper_.ReportStat();
    const std::string both = percentiles();
    EXPECT_EQ(5, std::count(both.begin(), both.end(), '\n')) << "appended";
}

TEST_F(Profile_Percentiles, MillisecondsAreEstimatedWithinTheirBound)
{
    helper_.WritePercentiles();
    for (unsigned ms = 1; ms <= 1000; ++ms)
        helper_.AddSample("a", ms);
    helper_.ReportStat();
    double p50 = 0;
    double p90 = 0;
    double p99 = 0;
    ASSERT_EQ(3, std::sscanf(percentiles().c_str() + percentiles().find("1000,"),
                             "1000,%lf,%lf,%lf", &p50, &p90, &p99));
    EXPECT_NEAR(500, p50, 500.0 / 64);
    EXPECT_NEAR(900, p90, 900.0 / 64);
    EXPECT_NEAR(990, p99, 990.0 / 64);
}

TEST_F(Profile_Percentiles, ResetRemovesThemToo)
{
    helper_.WritePercentiles();
    helper_.AddSample("a", 1);
    helper_.Reset();
    helper_.ReportStat();
    EXPECT_EQ("tag,timeStamp,count,p50Ms,p90Ms,p99Ms\n", percentiles());
}

TEST_F(Profile_Percentiles, MicrosecondsCountAsWholeMillisecondsInTheCsv)
{
    helper_.AddSampleMicroseconds("a", 2'999);
    helper_.AddSampleMicroseconds("a", 999);
    expect_report_of_one(" INF PROF: a - totalMs: 2, count: 2, averageMs: 1.000000, highMs: 2\n",
                         "a,1394020800000,2,2,1,2\n");
}

TEST_F(Profile_Percentiles, AStepOfTheClockDoesNotSpoilASteadyBlock)
{
    helper_.WritePercentiles();
    for (const std::uint64_t step : {start_time + 3'600'000, start_time - 3'600'000}) {
        fake_now = start_time;
        const ProfileHelperSteadyBlock block(&helper_, "a");
        fake_steady_now += 2'016;
        fake_now = step;
    }
    fake_now = start_time;
    helper_.ReportStat();
    EXPECT_EQ("a,1394020800000,4,2,2,2\n", rows());
    EXPECT_EQ("tag,timeStamp,count,p50Ms,p90Ms,p99Ms\na,1394020800000,2,2.032,2.032,2.032\n",
              percentiles());
}

TEST_F(Profile_Percentiles, ASteadyBlockWithoutAHelperDoesNothingAndACopyCountsToo)
{
    {
        const ProfileHelperSteadyBlock nothing(nullptr, "a");
        const ProfileHelperSteadyBlock block(&helper_, "a");
        const ProfileHelperSteadyBlock copy(block);
        fake_steady_now += 5'000;
    }
    expect_report_of_one(" INF PROF: a - totalMs: 10, count: 2, averageMs: 5.000000, highMs: 5\n",
                         "a,1394020800000,10,2,5,5\n");
}

} // namespace

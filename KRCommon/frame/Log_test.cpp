#include <KRCommon/frame/Log.h>

#include <KRCommon/frame/Log_Manager.h>
#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Log_Capture.h>
#include <tests/support/Log_Text_Matching.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <cfloat>
#include <string>

namespace {

using namespace std::string_literals;

constexpr KR_Log_Site debug_site{"Camera.cpp", 11, LM_DEBUG};
constexpr KR_Log_Site info_site{"Camera.cpp", 12, LM_INFO};
constexpr KR_Log_Site error_site{"Camera.cpp", 13, LM_ERROR};
constexpr KR_Log_Site emergency_site{"Camera.cpp", 14, LM_EMERGENCY};

class Log : public testing::Test {
protected:
    void SetUp() override { ACE_Log_Msg::instance()->priority_mask(all, ACE_Log_Msg::PROCESS); }
    void TearDown() override { SetUp(); }

    static constexpr unsigned long all = 0x7ff;
    Log_Capture capture_;
};

TEST_F(Log, LineHasStampThreadSeverityMessageAndOneLineFeed)
{
    kr_log(info_site, "%T T%04t INF %s: %d frames\n", "camera-7", 25);
    ASSERT_EQ(1u, capture_.lines().size());
    EXPECT_THAT(capture_.lines()[0].text,
                FullyMatches("\\d\\d:\\d\\d:\\d\\d\\.\\d{6} T\\d{4,} INF camera-7: 25 frames\n"));
    EXPECT_EQ(thread_mark() + " INF camera-7: 25 frames\n", capture_.unstamped(0));
}

TEST_F(Log, SiteGivesPriorityFileLineAndStatus)
{
    kr_log(debug_site, "%T T%04t DBG a\n");
    kr_log(info_site, "%T T%04t INF b\n");
    kr_log(error_site, "%T T%04t*ERR c\n");
    kr_log(emergency_site, "%T T%04t*EMR d\n");
    struct Row {
        ACE_Log_Priority priority;
        int number, line, status;
        const char* text;
    };
    const Row rows[] = {{LM_DEBUG, 4, 11, 0, " DBG a\n"},
                        {LM_INFO, 8, 12, 0, " INF b\n"},
                        {LM_ERROR, 128, 13, -1, "*ERR c\n"},
                        {LM_EMERGENCY, 1024, 14, -1, "*EMR d\n"}};
    ASSERT_EQ(4u, capture_.lines().size());
    for (std::size_t i = 0; i < 4; ++i) {
        SCOPED_TRACE(i);
        EXPECT_EQ(rows[i].priority, capture_.lines()[i].priority);
        EXPECT_EQ(rows[i].number, capture_.lines()[i].priority);
        EXPECT_EQ("Camera.cpp", capture_.lines()[i].file);
        EXPECT_EQ(rows[i].line, capture_.lines()[i].line);
        EXPECT_EQ(rows[i].status, capture_.lines()[i].status);
        EXPECT_EQ(thread_mark() + rows[i].text, capture_.unstamped(i));
    }
}

TEST_F(Log, SiteMacroNamesTheBareFileAndItsLine)
{
    const int line = __LINE__ + 1;
    kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF at %N:%l\n");
    EXPECT_EQ("Log_test.cpp", capture_.lines().at(0).file);
    EXPECT_EQ(line, capture_.lines()[0].line);
    EXPECT_EQ(thread_mark() + " INF at Log_test.cpp:" + std::to_string(line) + "\n",
              capture_.unstamped(0));
}

TEST_F(Log, BareFileNameOfBothKindsOfPath)
{
    EXPECT_STREQ("x.cpp", kr_internal::bare_file_name("a/b/x.cpp"));
    EXPECT_STREQ("x.cpp", kr_internal::bare_file_name("C:\\a b\\x.cpp"));
    EXPECT_STREQ("x.cpp", kr_internal::bare_file_name("x.cpp"));
    EXPECT_STREQ("", kr_internal::bare_file_name("a/"));
    EXPECT_STREQ("", kr_internal::bare_file_name(""));
}

TEST_F(Log, ErrorNumberIsTakenFirstAndErrnoStays)
{
    kr_platform_testing::set_last_errors(ENOENT, 2);
    kr_log(error_site, "%T T%04t*ERR %p\n", "open"s);
    EXPECT_EQ(ENOENT, errno);
    EXPECT_EQ(ENOENT, capture_.lines().at(0).error);
    EXPECT_EQ(thread_mark() + "*ERR open: No such file or directory\n", capture_.unstamped(0));
}

TEST_F(Log, NoErrorTextBringsALineFeedOfItsOwn)
{
    for (int error = 0; error < 2000; ++error) {
        kr_platform_testing::set_last_errors(0, error);
        kr_log(error_site, "%T T%04t*ERR %p\n", "open");
        kr_platform_testing::set_last_errors(error, 0);
        kr_log(error_site, "%T T%04t*ERR %p\n", "open");
    }
    for (const Log_Capture::Line& line : capture_.lines()) {
        EXPECT_EQ(1, std::count(line.text.begin(), line.text.end(), '\n')) << line.error;
        EXPECT_EQ(0, std::count(line.text.begin(), line.text.end(), '\r')) << line.error;
        EXPECT_EQ('\n', line.text.back()) << line.error;
    }
    EXPECT_EQ(4000u, capture_.lines().size());
}

TEST_F(Log, ErrnoStaysWhenTheLineIsMasked)
{
    KR_LOG_MANAGER::instance()->set_debug_level(0);
    errno = ENOENT;
    kr_log(info_site, "%T T%04t INF a\n");
    EXPECT_EQ(ENOENT, errno);
    EXPECT_TRUE(capture_.lines().empty());
}

TEST_F(Log, ErrorLineIsDroppedAtLevelZeroAndEmergencyLineStillAppears)
{
    KR_LOG_MANAGER::instance()->set_debug_level(0);
    kr_log(error_site, "%T T%04t*ERR a\n");
    kr_log(emergency_site, "%T T%04t*EMR b\n");
    ASSERT_EQ(1u, capture_.lines().size());
    EXPECT_EQ(thread_mark() + "*EMR b\n", capture_.unstamped(0));
}

TEST_F(Log, MaskedLineLeavesNoSourceBehindForTheNextOne)
{
    KR_LOG_MANAGER::instance()->set_debug_level(0);
    kr_log(error_site, "%T T%04t*ERR a\n");
    kr_log((KR_Log_Site{"Other.cpp", 99, LM_EMERGENCY}), "%T T%04t*EMR b\n");
    EXPECT_EQ("Other.cpp", capture_.lines().at(0).file);
    EXPECT_EQ(99, capture_.lines()[0].line);
}

TEST_F(Log, NumbersOfEveryKind)
{
    enum Plain { seven = 7 };
    enum class Scoped : unsigned char { eight = 8 };
    kr_log(info_site, "%d %u %x %q %Q %f %f %d %d %d %c\n", -1, 4294967295u, 255,
           std::int64_t{-9'000'000'000}, std::uint64_t{18'446'744'073'709'551'615u}, 1.5, 0.25f,
           true, seven, Scoped::eight, 'x');
    EXPECT_EQ("-1 4294967295 ff -9000000000 18446744073709551615 1.500000 0.250000 1 7 8 x\n",
              capture_.lines().at(0).text);
}

TEST_F(Log, TextsOfEveryKind)
{
    const std::string string = "string";
    const std::string_view view = std::string_view("view of more").substr(0, 4);
    char array[] = "array";
    const char* null = nullptr;
    kr_log(info_site, "%s %s %s %s %C %s|%s\n", "literal", string, view, array, string, null, ""s);
    EXPECT_EQ("literal string view array string (null)|\n", capture_.lines().at(0).text);
}

TEST_F(Log, TextIsNeverReadAsAFormat)
{
    kr_log(info_site, "%s\n", "100%s%n%d%%");
    EXPECT_EQ("100%s%n%d%%\n", capture_.lines().at(0).text);
}

TEST_F(Log, NoArgumentCanForgeASecondLine)
{
    const std::string forged = "a\n12:00:00.000000 T0001*EMR forged\r\n";
    kr_log(error_site, "%T T%04t*ERR %s, %s\n", forged, forged.c_str());
    const std::string seen = "a\\n12:00:00.000000 T0001*EMR forged\\r\\n";
    EXPECT_EQ(thread_mark() + "*ERR " + seen + ", " + seen + "\n", capture_.unstamped(0));
}

TEST_F(Log, EveryControlCharacterIsEscapedAndNothingElse)
{
    for (int code = 0; code < 256; ++code) {
        const std::string text = "<"s + static_cast<char>(code) + ">";
        std::string expected = text;
        if (code == '\n')
            expected = "<\\n>";
        else if (code == '\r')
            expected = "<\\r>";
        else if (code == '\t')
            expected = "<\\t>";
        else if (code < 32 || code == 127) {
            char escaped[16];
            std::snprintf(escaped, sizeof escaped, "<\\x%02x>", code);
            expected = escaped;
        }
        kr_log(info_site, "%s\n", text);
        EXPECT_EQ(expected + "\n", capture_.lines().at(static_cast<std::size_t>(code)).text)
            << code;
    }
}

TEST_F(Log, FormatsOwnSecondLineFeedStays)
{
    kr_log(error_site, "%T T%04t*ERR a %d\n\n", 5);
    EXPECT_EQ(thread_mark() + "*ERR a 5\n\n", capture_.unstamped(0));
}

TEST_F(Log, TooLongTextsAreCutAndTheLineFeedStays)
{
    for (const std::size_t length : {3000u, 4000u, 4095u, 4096u, 4097u, 10'000u, 1'000'000u}) {
        SCOPED_TRACE(length);
        const Log_Capture capture;
        const std::string a(length, 'a');
        const std::string b(length, 'b');
        kr_log(error_site, "%T T%04t*ERR %s and %s\n", a, b);
        kr_log(error_site, "%T T%04t*ERR %s\n", a);
        ASSERT_EQ(2u, capture.lines().size());
        for (const Log_Capture::Line& line : capture.lines()) {
            EXPECT_EQ(1, std::count(line.text.begin(), line.text.end(), '\n'));
            EXPECT_EQ('\n', line.text.back());
            EXPECT_LT(line.text.size(), 4096u);
        }
        const std::string& both = capture.lines()[0].text;
        EXPECT_THAT(both, testing::HasSubstr("aaa... and bbb"));
        EXPECT_THAT(both, testing::EndsWith("bbb...\n"));
    }
}

TEST_F(Log, ATextOf1500CharactersIsNotCut)
{
    const std::string a(1500, 'a');
    const std::string b(1500, 'b');
    kr_log(error_site, "%T T%04t*ERR %s and %s\n", a, b);
    EXPECT_EQ(thread_mark() + "*ERR " + a + " and " + b + "\n", capture_.unstamped(0));
}

TEST_F(Log, TextsThatGrowByEscapingAreCutTheSameWay)
{
    const std::string feeds(5000, '\n');
    kr_log(error_site, "%T T%04t*ERR %s and %s\n", feeds, feeds.c_str());
    const std::string& text = capture_.lines().at(0).text;
    EXPECT_EQ(1, std::count(text.begin(), text.end(), '\n'));
    EXPECT_THAT(text, testing::EndsWith("...\n"));
}

TEST_F(Log, CutDoesNotSplitAUtf8Character)
{
    std::string text;
    while (text.size() < 10'000)
        text += "\xe2\x82\xac"; // the euro sign
    kr_log(error_site, "%s\n", text);
    const std::string& line = capture_.lines().at(0).text;
    ASSERT_THAT(line, testing::EndsWith("\xe2\x82\xac...\n"));
    EXPECT_EQ(0u, (line.size() - 4) % 3);
}

TEST_F(Log, LargestNumbersBesideALongTextLeaveTheLineFeed)
{
    const std::string text(10'000, 'x');
    kr_log(error_site, "%f %f %Q %p %s\n", DBL_MAX, -DBL_MAX, UINT64_MAX, text, text);
    const std::string& line = capture_.lines().at(0).text;
    EXPECT_EQ('\n', line.back());
    EXPECT_EQ(1, std::count(line.begin(), line.end(), '\n'));
}

TEST_F(Log, ThreadDirectiveInOtherPlacesAndNone)
{
    const std::string number = thread_mark().substr(2);
    kr_log(info_site, "no thread\n");
    kr_log(info_site, "%%04t %s %04t\n", "%04t");
    EXPECT_EQ("no thread\n", capture_.lines().at(0).text);
    EXPECT_EQ("%04t %04t " + number + "\n", capture_.lines().at(1).text);
}

TEST_F(Log, ThreadNumberHasAtLeastFourDigits)
{
    kr_log(info_site, "T%04t\n");
    const std::string text = capture_.lines().at(0).text;
    EXPECT_GE(text.size(), 6u);
    EXPECT_EQ(kr_platform::thread_id(), std::stoul(text.substr(1)));
}

// One line, whole, and nothing else of the log on stderr.
testing::Matcher<const std::string&> exactly_one_line(const std::string& pattern)
{
    return FullyMatches("\\d\\d:\\d\\d:\\d\\d\\.\\d{6} T\\d{4,}" + pattern + "\r?\n");
}

int pretend_depth = -1;

TEST(AssertionDeathTest, FailedAssertionLogsOneEmergencyLineAndEndsWithExitCode1)
{
    EXPECT_EXIT(kr_assert(pretend_depth >= 0, "lock_.dbg_depth_ >= 0", "Mutex.h", 150),
                testing::ExitedWithCode(1),
                exactly_one_line("\\*EMR Assertion failed for 'lock_\\.dbg_depth_ >= 0' in "
                                 "Mutex\\.h:150\\."));
}

TEST(AssertionDeathTest, MacroGivesExpressionBareFileAndLine)
{
    const int line = __LINE__ + 1;
    EXPECT_EXIT(KR_ASSERT(pretend_depth == 5 && "why"), testing::ExitedWithCode(1),
                exactly_one_line("\\*EMR Assertion failed for 'pretend_depth == 5 && \"why\"' in "
                                 "Log_test\\.cpp:" +
                                 std::to_string(line) + "\\."));
}

TEST(AssertionDeathTest, FailedAssertionIsLoggedAtEveryDebugLevel)
{
    for (unsigned level = 0; level <= 5; ++level)
        EXPECT_EXIT(
            {
                KR_LOG_MANAGER::instance()->set_debug_level(level);
                KR_ASSERT(pretend_depth > 0);
            },
            testing::ExitedWithCode(1), testing::HasSubstr("*EMR Assertion failed"));
}

TEST(AssertionDeathTest, NoCleanUpRuns)
{
    struct Speaks {
        ~Speaks() { std::fprintf(stderr, "destroyed"); }
    };
    EXPECT_EXIT(
        {
            const Speaks speaks;
            std::atexit([] { std::fprintf(stderr, "exit routine"); });
            KR_ASSERT(pretend_depth > 0);
        },
        testing::ExitedWithCode(1),
        testing::AllOf(testing::Not(testing::HasSubstr("destroyed")),
                       testing::Not(testing::HasSubstr("exit routine"))));
}

TEST(Assertion, ThatHoldsDoesNothing)
{
    const Log_Capture capture;
    KR_ASSERT(pretend_depth < 0);
    kr_assert(true, "x", "y", 1);
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(Log, AMaskedLineLeavesNoTrace)
{
    ACE_Log_Msg& log = *ACE_Log_Msg::instance();
    kr_log(error_site, "%T T%04t*ERR heard\n");
    log.priority_mask(LM_ERROR, ACE_Log_Msg::PROCESS);
    kr_log(info_site, "%T T%04t INF %s\n", "masked");
    EXPECT_EQ(1u, capture_.lines().size());
    EXPECT_EQ(13, log.linenum()) << "the place of the last line that was heard";
    EXPECT_EQ(-1, log.op_status());
    kr_log(emergency_site, "%T T%04t*EMR masked as well\n");
    EXPECT_EQ(1u, capture_.lines().size());
    EXPECT_EQ(13, log.linenum());
}

} // namespace

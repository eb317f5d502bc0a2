// Lines that the library formats itself: beside ACE's own formatting, byte for byte.

#include <KRCommon/frame/Log_Line.h>

#include <KRCommon/frame/Log_Clock.h>
#include <KRCommon/frame/Log_Format.h>
#include <KRCommon/frame/Log_Manager_testing.h>
#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Platform_testing.h>
#include <KRCommon/platform/Process_testing.h>
#include <tests/support/Log_Capture.h>
#include <tests/support/Log_Text_Matching.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <thread>

namespace {

using kr_internal::Format_Buffer;
using kr_internal::Line_Facts;

constexpr KR_Log_Site site{"Camera.cpp", 42, LM_ERROR};
constexpr const char* stamp = "12:30:01.250000";
const Line_Facts facts{stamp, 7, site, 2};

std::string ours(const char* format, ...)
{
    Format_Buffer out;
    std::va_list arguments;
    va_start(arguments, format);
    const std::size_t size =
        kr_internal::format_as_ace(out.data(), out.size(), format, facts, arguments);
    va_end(arguments);
    return size == 0 ? "not ours" : std::string(out.data(), size);
}

std::string plainly(const char* format, ...)
{
    std::array<char, 100> out;
    std::va_list arguments;
    va_start(arguments, format);
    const std::size_t size =
        kr_internal::format_plainly(out.data(), out.size(), format, facts, arguments);
    va_end(arguments);
    EXPECT_EQ(size, std::strlen(out.data()));
    return {out.data(), size};
}

// By ACE itself, as kr_log() gives it a line.
std::string aces(const char* format, ...)
{
    const Log_Capture capture;
    ACE_Log_Msg& log = *ACE_Log_Msg::instance();
    log.conditional_set(site.file, site.line, -1, facts.error);
    Format_Buffer buffer;
    std::va_list arguments;
    va_start(arguments, format);
    log.log(kr_internal::with_stamp(format, stamp, facts.thread, buffer), site.priority, arguments);
    va_end(arguments);
    return capture.lines().empty() ? "no line" : capture.lines()[0].text;
}

template <typename... Arguments>
void expect_same(const std::string& format, Arguments... arguments)
{
    EXPECT_EQ(aces(format.c_str(), arguments...), ours(format.c_str(), arguments...)) << format;
}

const char* const all_flags[] = {"",     "0",  "1",   "5",    "-5",  "05", "+",   " ",
                                 "#",    "+5", "-05", "#010", ".0",  ".3", "8.3", "-8.3",
                                 "08.3", "20", "020", ".",    "+ 0", "60", "060"};

TEST(Log_Line, WordsOfTheLineItself)
{
    EXPECT_EQ("12:30:01.250000 T0007*ERR a 100% in Camera.cpp:42.\n",
              ours("%T T%04t*ERR a 100%% in %N:%l.\n"));
    expect_same("%T T%04t*ERR a 100%% in %N:%l.\n");
    expect_same("T%04t at %T\n");
    expect_same("%T\n");
    expect_same("%04t\n");
    expect_same("no directive\n");
    expect_same("\n");
    for (const char* const flags : all_flags)
        if (std::string(flags).find_first_of("0+ #") == std::string::npos) // nonsense for texts
            expect_same(std::string("%") + flags + "N|%" + flags + "l\n");
}

TEST(Log_Line, Integers)
{
    for (const int number : {0, 1, -1, 7, 42, 1'000'000, INT_MAX, INT_MIN})
        for (const char* const flags : all_flags)
            for (const char letter : {'d', 'i', 'u', 'x', 'X', 'o'})
                expect_same(std::string("%") + flags + letter + "|\n", number);
}

TEST(Log_Line, IntegersOf64BitsAndSizes)
{
    const ACE_INT64 numbers[] = {0, 1, -1, 42, LLONG_MAX, LLONG_MIN};
    for (const ACE_INT64 number : numbers)
        for (const char* const flags : all_flags) {
            const std::string percent = std::string("%") + flags;
            expect_same(percent + "q|" + percent + "Q|\n", number, static_cast<ACE_UINT64>(number));
            expect_same(percent + "b|" + percent + "B|\n", static_cast<ssize_t>(number),
                        static_cast<std::size_t>(number));
        }
}

TEST(Log_Line, RealNumbers)
{
    constexpr double infinity = std::numeric_limits<double>::infinity();
    for (const double number : {0.0,
                                -0.0,
                                0.25,
                                -0.25,
                                1.0,
                                0.1,
                                -0.1,
                                2.0 / 3,
                                1e-7,
                                4.9e-7,
                                5e-7,
                                5.1e-7,
                                -1e-9,
                                1.5e-6,
                                2.5e-6,
                                0.0000005,
                                12345.6,
                                999999.5,
                                1e6,
                                7999999.9,
                                8e6,
                                8000001.0,
                                1e7,
                                1e15,
                                1e22,
                                1e100,
                                DBL_MAX,
                                DBL_MIN,
                                -DBL_MAX,
                                infinity,
                                -infinity,
                                0.9999995,
                                0.999999,
                                0.9999994999,
                                123.4567895,
                                0.0009765625,
                                0.00000095367431640625})
        for (const char* const flags : all_flags)
            for (const char letter : {'e', 'E', 'f', 'F', 'g', 'G'})
                expect_same(std::string("%") + flags + letter + "|\n", number);
    expect_same("%f\n", std::numeric_limits<double>::quiet_NaN());
}

TEST(Log_Line, RealNumbersOfEverySize)
{
    std::mt19937_64 random(1);
    std::uniform_real_distribution<double> exponent(-9, 9);
    for (int i = 0; i < 50'000; ++i) {
        const double number = std::pow(10.0, exponent(random)) * (i % 2 == 0 ? 1 : -1);
        expect_same("%f\n", number);
        // Close to where the sixth decimal changes, and exactly there.
        const double half = (std::floor(std::fabs(number) * 1e3) + 0.5) / 1e6;
        expect_same("%f %f\n", half, std::nextafter(half, 0));
        expect_same("%f\n", std::floor(number) / 128);
        if (HasFailure())
            break;
    }
}

TEST(Log_Line, Texts)
{
    const std::string longest(3'000, 'x');
    for (const char* const text : {"", "a", "text with % and %d", "\xC3\xA4", longest.c_str()})
        for (const char* const flags : {"", "5", "-5", ".3", "8.3", "-8.3", ".0", ".", "300"}) {
            expect_same(std::string("%") + flags + "s|\n", text);
            expect_same(std::string("%") + flags + "C|\n", text);
        }
    expect_same("%s|%C\n", static_cast<const char*>(nullptr), static_cast<const char*>(nullptr));
}

TEST(Log_Line, Characters)
{
    for (int c = 1; c < 256; ++c)
        expect_same("%c|%5c|%-5c|\n", c, c, c);
}

TEST(Log_Line, ManyArgumentsInOneLine)
{
    expect_same("%T T%04t INF %s %d %f %u %q %C %x %B %c %s\n", "a", -1, 0.5, 7u, ACE_INT64{-5},
                "b", 255u, std::size_t{9}, 'c', "d");
}

TEST(Log_Line, WhatIsNotOursGoesAcesWay)
{
    for (const char* const format :
         {"%p\n", "%m\n", "%M\n", "%n\n", "%P\n", "%R\n", "%D\n", "%Ld\n", "%Lu\n", "%Lf\n", "%t\n",
          "%4t\n", "%5T\n", "%T %T\n", "%04t %04t\n", "%y\n", "%", "%5"})
        EXPECT_EQ("not ours", ours(format, "text", 1, 2)) << format;
    EXPECT_EQ("not ours", ours("%c\n", 0)) << "a zero ends a text of ACE's";
    EXPECT_EQ("not ours", ours("%s\n", std::string(4'095, 'x').c_str())) << "ACE cuts it";
    EXPECT_EQ(4'095u, ours("%s\n", std::string(4'094, 'x').c_str()).size());
    expect_same("%s\n", std::string(4'094, 'x').c_str());
    EXPECT_EQ("not ours", ours(("%" + std::string(70, '0') + "1d\n").c_str(), 1));

    Format_Buffer out;
    const auto without_stamp = [&out](const char* format, ...) {
        std::va_list arguments;
        va_start(arguments, format);
        const Line_Facts none{"", 7, site, 2};
        const std::size_t size =
            kr_internal::format_as_ace(out.data(), out.size(), format, none, arguments);
        va_end(arguments);
        return size;
    };
    EXPECT_EQ(0u, without_stamp("%T\n"));
}

TEST(Log_Line, PlainLinesKnowEveryDirective)
{
    EXPECT_EQ("12:30:01.250000 T0007*ERR a: error 2, error 2\n",
              plainly("%T T%04t*ERR %p, %m\n", "a"));
    EXPECT_EQ("-5 5 1.500000 12:30:01.250000 0007 -1 7\n",
              plainly("%Ld %Lu %Lf %D %t %R %d\n", -5L, 5uL, 1.5L, 7));
    EXPECT_NE(std::string::npos, plainly("%M\n").find("ERROR"));
    EXPECT_EQ("\n", plainly("%c\n", 0));
}

TEST(Log_Line, PlainLinesThatAreTooLongAreCutAndKeepTheirLineFeed)
{
    EXPECT_EQ(std::string(95, 'x') + "...\n", plainly("%s\n", std::string(99, 'x').c_str()));
    EXPECT_EQ(std::string(98, 'x') + "\n", plainly("%s\n", std::string(98, 'x').c_str()));
    EXPECT_EQ(std::string(95, ' ') + "...\n", plainly("%200d\n", 1));
}

// Through kr_log(), with the option on.
class Log_Fast : public Log_Manager_Fixture {
protected:
    void SetUp() override
    {
        KR_Log_Options options;
        options.fast_lines = true;
        manager_.set_options(options);
        manager_.open_in(folder_.path());
    }
    void TearDown() override
    {
        manager_.set_options({});
        release_files();
    }

    std::string text() const { return read_text(manager_.status().file); }

    Temp_Folder folder_;
    Test_Log_Manager manager_;
};

TEST_F(Log_Fast, TheFileHoldsTheLine)
{
    kr_log(site, "%T T%04t*ERR %s: %d of %f in %N:%l\n", std::string("a\nb"), 5, 0.25);
    EXPECT_THAT(text(), FullyMatches("\\d\\d:\\d\\d:\\d\\d\\.\\d{6}" + thread_mark() +
                                     R"(\*ERR a\\nb: 5 of 0\.250000 in Camera\.cpp:42\n)"));
    EXPECT_EQ(text(), ACE_Log_Msg::instance()->msg()) << "as ACE leaves it";
}

TEST_F(Log_Fast, ALogCallbackSeesTheSameRecord)
{
    const Log_Capture capture;
    for (const bool is_fast : {true, false}) {
        KR_Log_Options options;
        options.fast_lines = is_fast;
        manager_.set_options(options);
        errno = EACCES;
        kr_log(site, "%T T%04t*ERR text %d\n", 1);
        EXPECT_EQ(EACCES, errno);
        errno = 0;
        kr_log((KR_Log_Site{"Other.cpp", 7, LM_INFO}), "%T T%04t INF text %d\n", 2);
    }
    ASSERT_EQ(4u, capture.lines().size());
    for (std::size_t i = 0; i < 2; ++i) {
        const Log_Capture::Line& fast = capture.lines()[i];
        const Log_Capture::Line& aces = capture.lines()[i + 2];
        EXPECT_EQ(aces.priority, fast.priority);
        EXPECT_EQ(aces.file, fast.file);
        EXPECT_EQ(aces.line, fast.line);
        EXPECT_EQ(aces.status, fast.status);
        EXPECT_EQ(aces.error, fast.error);
        EXPECT_EQ(aces.text.substr(15), fast.text.substr(15));
    }
    EXPECT_EQ(EACCES, capture.lines()[0].error);
}

TEST_F(Log_Fast, StderrStreamsAndFlagsWorkAsBefore)
{
    ACE_Log_Msg& log = *ACE_Log_Msg::instance();
    testing::internal::CaptureStderr();
    log.set_flags(ACE_Log_Msg::STDERR);
    say("on stderr too");
    log.clr_flags(ACE_Log_Msg::STDERR);
    EXPECT_EQ(text(), testing::internal::GetCapturedStderr());

    log.set_flags(ACE_Log_Msg::SILENT);
    say("nowhere");
    log.clr_flags(ACE_Log_Msg::SILENT);
    EXPECT_EQ("on stderr too\n", messages(manager_.status().file));

    std::thread([&] {
        std::ostringstream own;
        ACE_Log_Msg::instance()->msg_ostream(&own, false);
        say("in the thread's own stream");
        EXPECT_NE(std::string::npos, own.str().find(" INF in the thread's own stream\n"));
        ACE_Log_Msg::instance()->msg_ostream(nullptr, false);
    }).join();
}

TEST_F(Log_Fast, VerboseLinesAreAces)
{
    ACE_Log_Msg& log = *ACE_Log_Msg::instance();
    for (const unsigned long flag : {ACE_Log_Msg::VERBOSE, ACE_Log_Msg::VERBOSE_LITE}) {
        std::string lines[2];
        for (const bool is_fast : {true, false}) {
            KR_Log_Options options;
            options.fast_lines = is_fast;
            manager_.set_options(options);
            const std::size_t before = text().size();
            log.set_flags(flag);
            say("text");
            log.clr_flags(flag);
            lines[is_fast ? 0 : 1] = text().substr(before);
        }
        // The stamps differ: the day and the hour must not.
        EXPECT_EQ(lines[1].size(), lines[0].size());
        EXPECT_EQ(lines[1].substr(lines[1].find(" T")), lines[0].substr(lines[0].find(" T")));
    }
}

TEST_F(Log_Fast, LinesThatAreNotOursComeAsBefore)
{
    errno = EACCES;
    kr_log(site, "%T T%04t*ERR %p\n", "text");
    EXPECT_NE(std::string::npos, text().find("*ERR text: "));
    const std::size_t before = text().size();
    kr_log(site, "%T T%04t*ERR %Ld\n", 5L);
    EXPECT_EQ("*ERR 5\n", text().substr(text().find("*ERR", before)));
}

// The hour and minute of a line of ACE's own and of one of the helper's, which come one after the other.
void expect_stamped_alike(const std::string& path)
{
    for (int i = 0; i < 10; ++i) { // the minute may end between them
        const std::size_t before = read_text(path).size();
        ACE_Log_Msg::instance()->log(LM_INFO, "%T by ACE\n");
        kr_log(site, "%T T%04t*ERR by the helper\n");
        const std::string lines = read_text(path).substr(before);
        const std::string by_ace = lines.substr(0, 6);
        const std::string by_helper = lines.substr(lines.find('\n') + 1, 6);
        if (by_ace == by_helper || i == 9) {
            EXPECT_EQ(by_ace, by_helper);
            return;
        }
    }
}

TEST_F(Log_Fast, ATimeZoneThatIsSetShowsInTheNextLineAsInAces)
{
    kr_platform_testing::Time_Zone zone("UTC0");
    const std::string path = manager_.status().file;
    for (const char* const name : {"AAA-3", "BBB7:30", "UTC0", "CCC-11"}) {
        SCOPED_TRACE(name);
        zone.set(name);
        expect_stamped_alike(path);
    }
}

TEST_F(Log_Fast, AForkedChildsLinesHaveItsOwnNumberAndTime)
{
    if (!kr_platform_testing::can_fork())
        GTEST_SKIP() << "no fork on this system";
    kr_platform_testing::Time_Zone zone("UTC0");
    say("of the parent");
    const std::string path = manager_.status().file;
    const std::size_t before = text().size();
    const int result = kr_platform_testing::run_in_fork([&] {
        zone.set("AAA-3");
        expect_stamped_alike(path);
        say("of the child " + std::to_string(kr_platform::thread_id()));
        return HasFailure() ? 1 : 0;
    });
    EXPECT_EQ(0, result);
    EXPECT_THAT(text().substr(before),
                testing::ContainsRegex(" T[0-9]+ INF of the child [0-9]+\n"));
    const std::string line = text().substr(text().rfind(" T"));
    const std::string number = std::to_string(std::stoi(line.substr(2)));
    EXPECT_THAT(line, testing::HasSubstr("of the child " + number + "\n"));
    EXPECT_NE(kr_platform::thread_id(), static_cast<unsigned>(std::stoi(number)));
}

TEST_F(Log_Fast, LinesOfManyThreadsAreWhole)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([i] {
            for (int line = 0; line < 500; ++line)
                say("thread " + std::to_string(i) + " line " + std::to_string(line) + " end");
        });
    for (std::thread& thread : threads)
        thread.join();
    std::istringstream lines(text());
    int count = 0;
    for (std::string line; std::getline(lines, line); ++count)
        EXPECT_THAT(line,
                    FullyMatches(R"(\d\d:\d\d:\d\d\.\d{6} T\d{4,} INF thread \d line \d+ end)"));
    EXPECT_EQ(2'000, count);
}

TEST_F(Log_Fast, ALineWithinACallbackOfALineIsLogged)
{
    class Talkative : public ACE_Log_Msg_Callback {
    public:
        void log(ACE_Log_Record& record) override
        {
            if (depth_++ == 0)
                say("inner");
            text_ += record.msg_data();
            --depth_;
        }
        std::string text_;

    private:
        int depth_ = 0;
    };
    Talkative callback;
    ACE_Log_Msg& log = *ACE_Log_Msg::instance();
    log.set_flags(ACE_Log_Msg::MSG_CALLBACK);
    log.msg_callback(&callback);
    say("outer");
    log.msg_callback(nullptr);
    log.clr_flags(ACE_Log_Msg::MSG_CALLBACK);
    EXPECT_EQ("inner\nouter\n", messages(manager_.status().file));
    EXPECT_NE(std::string::npos, callback.text_.find(" INF outer\n"));
}

} // namespace

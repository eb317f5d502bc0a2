#pragma once

#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Manager.h>
#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Temp_Folder.h>

#include <ace/Log_Msg.h>

#include <gtest/gtest.h>

#include <ctime>
#include <ostream>
#include <string>

/// A log manager of the test's own: a copy of the process's, which stays as it was built. What
/// is protected is open to the test.
class Test_Log_Manager : public KR_LOG_MANAGER {
public:
    Test_Log_Manager() : KR_LOG_MANAGER(*KR_LOG_MANAGER::instance()) {}
    using KR_LOG_MANAGER::del_old_files;
    using KR_LOG_MANAGER::log_file_name;
    using KR_LOG_MANAGER::log_file_name_left;
    using KR_LOG_MANAGER::log_file_name_right;
    using KR_LOG_MANAGER::set_current_file;

    /// Opens without a reactor: the test moves time itself.
    void open_in(const std::string& directory, const char* prefix = "server")
    {
        open(nullptr, directory.c_str(), prefix);
        ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::STDERR); // quiet; open() has set it
    }

    void tick(const ACE_Time_Value& now) { EXPECT_EQ(0, handle_timeout(now, nullptr)); }
};

/// An instant given in local time.
inline ACE_Time_Value local_time(int year, int month, int day, int hour = 12, int minute = 0,
                                 int second = 0)
{
    std::tm fields{};
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    fields.tm_isdst = -1;
    return ACE_Time_Value(std::mktime(&fields));
}

/// Starts and ends with ACE as it is at process start: stderr only, every priority.
class Log_Manager_Fixture : public testing::Test {
protected:
    Log_Manager_Fixture() { reset(); }
    ~Log_Manager_Fixture() override { reset(); }

    static void reset()
    {
        ACE_Log_Msg* const log = ACE_Log_Msg::instance();
        log->priority_mask(0x7ff, ACE_Log_Msg::PROCESS);
        log->clr_flags(ACE_Log_Msg::OSTREAM);
        log->set_flags(ACE_Log_Msg::STDERR);
    }

    /// Closes the log file in use, so that the test's folder can go.
    static void release_files()
    {
        Test_Log_Manager manager;
        manager.open_in(kr_platform_testing::unwritable_folder());
    }

    /// Brings the manager to part 00 of a day, whatever today is: two ticks on two other days.
    static void go_to(Test_Log_Manager& manager, int year, int month, int day)
    {
        manager.tick(local_time(year - 1, 1, day == 10 ? 11 : 10));
        manager.tick(local_time(year - 1, 1, day == 20 ? 21 : 20));
        manager.tick(local_time(year, month, day));
    }

    static void say(const std::string& text)
    {
        kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF %s\n", text);
    }

    /// A file's messages, one a line, without stamp and thread.
    static std::string messages(const std::string& path)
    {
        std::string out;
        const std::string text = read_text(path);
        for (std::size_t at = 0; at < text.size();) {
            const std::size_t end = text.find('\n', at);
            const std::string line = text.substr(at, end - at);
            out += line.substr(std::min(line.size(), line.find(" INF ") + 5)) + '\n';
            at = end == std::string::npos ? text.size() : end + 1;
        }
        return out;
    }
};

/// For what holds whoever formats the lines.
class Both_Kinds_Of_Lines : public Log_Manager_Fixture, public testing::WithParamInterface<bool> {
protected:
    /// The options, with the parameter's kind of lines.
    static KR_Log_Options with_lines(KR_Log_Options options = {})
    {
        options.fast_lines = GetParam();
        return options;
    }
};

inline std::string name_of_lines(const testing::TestParamInfo<bool>& lines)
{
    return lines.param ? "Fast" : "ByAce";
}

#define INSTANTIATE_BOTH_KINDS_OF_LINES(suite)                                                     \
    INSTANTIATE_TEST_SUITE_P(Lines, suite, testing::Bool(), name_of_lines)

// Log files as the library writes them.

#include "Run.h"

#include "../../../tests/support/Temp_Folder.h"

#include <KRCommon/frame/Lock_Report.h>
#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Manager.h>
#include <KRCommon/frame/Mutex.h>

#include <ace/Log_Msg.h>
#include <ace/Reactor.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <atomic>
#include <chrono>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using testing::HasSubstr;

namespace {

// A host's log, as long as the object lives.
class Host_Log {
public:
    explicit Host_Log(const std::string& folder)
    {
        KR_Log_Options options;
        options.writes_header = true;
        logs().set_options(options);
        logs().set_debug_level(4);
        logs().open(&reactor_, folder.c_str(), "host");
        ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::STDERR);
    }
    ~Host_Log()
    {
        logs().close();
        ACE_Log_Msg::instance()->set_flags(ACE_Log_Msg::STDERR);
        logs().set_options({});
    }

private:
    static KR_LOG_MANAGER& logs() { return *KR_LOG_MANAGER::instance(); }

    ACE_Reactor reactor_;
};

std::vector<nlohmann::json> lines_of(const std::string& out)
{
    std::vector<nlohmann::json> lines;
    std::istringstream stream(out);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(nlohmann::json::parse(line));
    return lines;
}

} // namespace

TEST(Log_Library, EveryLineOfEveryThreadIsRead)
{
    const Temp_Folder folder;
    const std::string logs = folder.path("logs");
    {
        const Host_Log log(logs);
        std::vector<std::thread> threads;
        for (int camera = 0; camera < 3; ++camera)
            threads.emplace_back([camera] {
                for (int i = 0; i < 100; ++i)
                    kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR camera-%d: frame %d of '%s'\n",
                           camera, i, "a name with\na line feed");
            });
        for (std::thread& thread : threads)
            thread.join();
        kr_log(KR_LOG_SITE(LM_DEBUG), "%T T%04t DBG done\n");
    }
    const auto lines = lines_of(run({"log", logs, "--json"}).out);
    ASSERT_EQ(302u, lines.size());
    EXPECT_THAT(lines[0]["message"].get<std::string>(), HasSubstr("KR_LOG_MANAGER: Log of host '"));
    EXPECT_EQ("INF", lines[0]["level"]);
    EXPECT_EQ("done", lines[301]["message"]);
    EXPECT_EQ("DBG", lines[301]["level"]);
    EXPECT_EQ("      300  ERR  camera-<n>: frame <n> of <text>\n",
              run({"log", logs, "--count", "--level", "err"}).out);
}

// Waits for as long as the guard does before it reports.
TEST(Log_Library_Slow, AStallOfTheGuardIsPaired)
{
    const Temp_Folder folder;
    const std::string logs = folder.path("logs");
    {
        const Host_Log log(logs);
        KR_Mutex_Ex<ACE_Process_Mutex> mutex;
        std::atomic<bool> is_held{false};
        std::thread holder([&] {
            KR_GUARD(mutex);
            is_held = true;
            std::this_thread::sleep_for(std::chrono::milliseconds(11'500));
        });
        while (!is_held)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        {
            KR_GUARD(mutex);
        }
        holder.join();
    }
    const auto lines = lines_of(run({"log", logs, "--stalls", "--json"}).out);
    ASSERT_EQ(2u, lines.size());
    EXPECT_EQ("acquired", lines[0]["end"]);
    EXPECT_EQ("mutex", lines[0]["mutex"]);
    EXPECT_GE(lines[0]["seconds"].get<int>(), 11);
    EXPECT_EQ(1, lines[0]["holder"]["depth"]);
    EXPECT_THAT(lines[0]["holder"]["site"].get<std::string>(), HasSubstr("Log_Library_test.cpp:"));
    EXPECT_NE(lines[0]["holder"]["site"], lines[0]["waiter"]["site"]);
    EXPECT_EQ(1, lines[1]["stalls"]);
}

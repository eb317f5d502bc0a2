// The library as a host sees it: the exported surface, through the shared library itself.

#include <KRCommon/frame/Component_Base.h>
#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/Log_Manager.h>
#include <KRCommon/frame/Mutex.h>
#include <KRCommon/frame/ProfileHelper.h>
#include <tests/support/Temp_Folder.h>

#include <ace/Reactor.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>

namespace {

// A derived class of the host's own, across the library's border.
class Host_Manager : public KR_LOG_MANAGER {
public:
    Host_Manager() : KR_LOG_MANAGER(*KR_LOG_MANAGER::instance()) {}
    using KR_LOG_MANAGER::log_file_name;
};

std::string all_text(const Temp_Folder& folder)
{
    std::string text;
    for (const std::string& name : folder.names())
        text += read_text(folder.path(name));
    return text;
}

TEST(Surface, AHostLogsThroughTheLibrary)
{
    const Temp_Folder folder;
    KR_LOG_MANAGER* const logs = KR_LOG_MANAGER::instance();
    logs->set_debug_level(3);
    logs->open(ACE_Reactor::instance(), folder.path().c_str(), "host");
    kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF from the main thread: %s\n", "a\nb");
    std::thread([] {
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR from another at %N:%l\n");
    }).join();
    kr_log(KR_LOG_SITE(LM_NOTICE), "%T T%04t INF masked\n");
    const std::string text = all_text(folder);
    EXPECT_THAT(text, testing::HasSubstr(" INF from the main thread: a\\nb\n"));
    EXPECT_THAT(text, testing::HasSubstr("*ERR from another at Surface_test.cpp:"));
    EXPECT_THAT(text, testing::Not(testing::HasSubstr("masked")));
    logs->open(nullptr, folder.path("missing/too").c_str(), "host"); // lets go of the file
    logs->close();
}

TEST(Surface, AHostDerivesFromTheManager)
{
    const Temp_Folder folder;
    Host_Manager manager;
    manager.open(nullptr, folder.path("logs").c_str(), "derived");
    EXPECT_THAT(manager.log_file_name(), testing::HasSubstr("derived_2"));
    manager.open(nullptr, folder.path("missing/too").c_str(), "derived");
}

class Host_Component : public KR_Component_Base {
public:
    Host_Component() : KR_Component_Base("host component") {}
    ~Host_Component() override
    {
        if (get_state() != STATE_STOPPED)
            component_stop();
    }

private:
    State do_component_start(ACE_Reactor*) override { return STATE_STARTED; }
    State do_component_stop() override { return STATE_STOPPED; }
};

TEST(Surface, AHostGuardsStartsAndProfiles)
{
    const Temp_Folder folder;
    KR_Mutex_Ex<ACE_Process_Mutex> mutex;
    {
        KR_GUARD(mutex);
        EXPECT_EQ(1, mutex.depth());
    }
    Host_Component component;
    EXPECT_EQ(0, component.component_start(ACE_Reactor::instance()));
    EXPECT_EQ(-1, component.component_start(ACE_Reactor::instance()));
    ProfileHelper profile(0, folder.path("host"));
    {
        const ProfileHelperBlock block(&profile, "work");
    }
    profile.ReportStat();
    EXPECT_THAT(all_text(folder), testing::HasSubstr("work,"));
}

TEST(SurfaceDeathTest, AHostsAssertionEndsTheProcess)
{
    EXPECT_EXIT(KR_ASSERT(KR_LOG_MANAGER::instance() == nullptr), testing::ExitedWithCode(1),
                testing::HasSubstr("*EMR Assertion failed for 'KR_LOG_MANAGER::instance() == "
                                   "nullptr' in Surface_test.cpp:"));
}

} // namespace

#include <KRCommon/platform/Event_Source.h>

#include <KRCommon/platform/Event_Source_testing.h>
#include <KRCommon/platform/Platform.h>
#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Log_Text_Matching.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace {

using namespace kr_platform;
using namespace kr_platform_testing;

// Below a key that every Windows has; gone before and after each test.
const std::string parent = "SOFTWARE";

class RegistryKeys : public testing::Test {
protected:
    RegistryKeys()
        : name_(std::string("KRCommon test ") +
                testing::UnitTest::GetInstance()->current_test_info()->name()),
          path_(parent + "\\" + name_)
    {
        delete_key(path_);
    }
    ~RegistryKeys() override { delete_key(path_); }

    void SetUp() override
    {
        if (!has_registry())
            GTEST_SKIP() << "this system has no registry";
        set_last_errors(7, 8); // of something else before
    }

    const std::string name_;
    const std::string path_;
    Event_System& system_ = event_system();
};

TEST_F(RegistryKeys, AreMadeFirstAndOpenedThen)
{
    const auto made = system_.create_key(parent, name_);
    EXPECT_EQ(0, last_error());
    ASSERT_NE(nullptr, made.key);
    EXPECT_FALSE(made.existed);
    EXPECT_TRUE(key_exists(path_));

    const auto opened = system_.create_key(parent, name_);
    ASSERT_NE(nullptr, opened.key);
    EXPECT_TRUE(opened.existed);
    EXPECT_TRUE(system_.close_key(opened.key));
    EXPECT_TRUE(system_.close_key(made.key));
    EXPECT_EQ(0, last_error());
}

TEST_F(RegistryKeys, HoldNumbersAndTexts)
{
    const auto made = system_.create_key(parent, name_);
    ASSERT_NE(nullptr, made.key);
    EXPECT_TRUE(system_.set_dword(made.key, "number", 0x12345678));
    EXPECT_TRUE(system_.set_text(made.key, "text", "a b;"));
    EXPECT_TRUE(system_.set_text(made.key, "empty", ""));
    EXPECT_TRUE(system_.set_text(made.key, "letters", "\xC4\xD6"));
    EXPECT_TRUE(system_.close_key(made.key));

    const auto number = read_value(path_, "number");
    ASSERT_TRUE(number.has_value());
    EXPECT_EQ(4U, number->type);
    EXPECT_EQ("\x78\x56\x34\x12", number->data);
    const auto text = read_value(path_, "text");
    ASSERT_TRUE(text.has_value());
    EXPECT_EQ(1U, text->type);
    EXPECT_EQ(std::string("a b;\0", 5), text->data); // the zero is the system's own addition
    const auto letters = read_value(path_, "letters");
    ASSERT_TRUE(letters.has_value());
    EXPECT_EQ(std::string("\xC4\xD6\0", 3), letters->data);
    EXPECT_THAT(value_names(path_),
                testing::UnorderedElementsAre("number", "text", "empty", "letters"));
}

TEST_F(RegistryKeys, GiveTheirHandlesBack)
{
    EXPECT_TRUE(system_.close_key(system_.create_key(parent, name_).key));
    const unsigned before = open_handle_count();
    const auto opened = system_.create_key(parent, name_);
    EXPECT_EQ(before + 1, open_handle_count());
    EXPECT_TRUE(system_.close_key(opened.key));
    EXPECT_EQ(before, open_handle_count());
}

TEST_F(RegistryKeys, AreRefusedWhenTheNameIsNotOneLevel)
{
    for (const std::string& name : {std::string(), std::string("\\"), name_ + "\\", name_ + "\\a",
                                    "\\" + name_, name_ + std::string("\0", 1)}) {
        set_last_errors(7, 8);
        const auto refused = system_.create_key(parent, name);
        EXPECT_EQ(123, last_error()) << name;
        EXPECT_EQ(nullptr, refused.key);
        EXPECT_FALSE(refused.existed);
    }
    EXPECT_FALSE(key_exists(path_));
}

TEST_F(RegistryKeys, FailWithTheSystemsErrorWhenTheyAreNotOpen)
{
    EXPECT_FALSE(system_.set_dword(nullptr, "x", 1));
    EXPECT_EQ(6, last_error());
    set_last_errors(7, 8);
    EXPECT_FALSE(system_.set_text(nullptr, "x", "y"));
    EXPECT_EQ(6, last_error());
    set_last_errors(7, 8);
    EXPECT_FALSE(system_.close_key(nullptr));
    EXPECT_EQ(6, last_error());
    set_last_errors(7, 8);
    EXPECT_EQ(nullptr, system_.create_key(parent, std::string(300, 'n')).key);
    EXPECT_THAT(last_error(), testing::AnyOf(87, 234)); // Windows, Wine
}

TEST(RegistryKeysWithoutRegistry, AreNotSupported)
{
    if (has_registry())
        GTEST_SKIP() << "this system has a registry";
    Event_System& system = event_system();
    clear_last_error();
    const auto key = system.create_key("SYSTEM", "a");
    EXPECT_EQ(95, last_error());
    EXPECT_EQ(nullptr, key.key);
    EXPECT_FALSE(key.existed);
    clear_last_error();
    EXPECT_FALSE(system.set_dword(nullptr, "a", 1));
    EXPECT_EQ(95, last_error());
    clear_last_error();
    EXPECT_FALSE(system.set_text(nullptr, "a", "b"));
    EXPECT_EQ(95, last_error());
    clear_last_error();
    EXPECT_FALSE(system.close_key(nullptr));
    EXPECT_EQ(95, last_error());
}

TEST(EventSource, IsRegisteredReportsAndIsGivenBackWithoutAnError)
{
    Event_System& system = event_system();
    set_last_errors(7, 8);
    Event_Source* const source = system.register_source("KRCommon test");
    EXPECT_EQ(0, last_error());
    ASSERT_NE(nullptr, source);
    set_last_errors(7, 8);
    if (has_registry()) { // Linux needs a daemon, see below
        EXPECT_TRUE(system.report(source, 4, 24, "Message = test"));
        EXPECT_EQ(0, last_error());
        set_last_errors(7, 8);
    }
    EXPECT_TRUE(system.deregister_source(source));
    EXPECT_EQ(0, last_error());
}

// One test for all: the place of the daemon is there once a machine.
TEST(EventSource, SendsItsNameIdentifierAndTextToSyslogAtTheTypesLevel)
{
    const auto log = System_Log::open();
    if (log == nullptr)
        GTEST_SKIP() << "no syslog here, a daemon of its own at /dev/log, or no right to be one";
    struct Event {
        int type;
        const char* mark; // of facility 1 (user), the default: 8 and the level
    };
    constexpr Event events[] = {
        {0, "<14>"},  {1, "<11>"},       {2, "<12>"}, {4, "<14>"},  {8, "<13>"},
        {16, "<12>"}, {0x10001, "<11>"}, {3, "<14>"}, {-1, "<14>"},
    };
    Event_System& system = event_system();
    Event_Source* const first = system.register_source("Video Server");
    Event_Source* const second = system.register_source("100%s");
    const std::string stamp = "[A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [^ ]+: ";
    for (const Event& event : events) {
        EXPECT_TRUE(system.report(first, event.type, 24, "Message = %s%n\nPort = 80\n"));
        EXPECT_THAT(log->receive(),
                    FullyMatches(event.mark + stamp +
                                 "Video Server: event 24: Message = %s%n\nPort = 80\n"))
            << event.type;
    }
    EXPECT_TRUE(system.report(second, 1, -1073741800, std::string("cut\0here", 8)));
    EXPECT_THAT(log->receive(), FullyMatches("<11>" + stamp + "100%s: event -1073741800: cut"));
    // As the C library's function would have sent it, but for a second that has passed.
    EXPECT_TRUE(system.report(first, 1, 24, "x"));
    const std::string own = log->receive();
    log->send_by_runtime(3, "Video Server: event 24: x");
    const std::string runtime = log->receive();
    const std::size_t after_stamp = std::string("<11>Mmm dd hh:mm:ss").size();
    ASSERT_GT(own.size(), after_stamp);
    EXPECT_EQ(runtime.size(), own.size());
    EXPECT_EQ(runtime.substr(0, 7), own.substr(0, 7));
    EXPECT_EQ(runtime.substr(after_stamp), own.substr(after_stamp));

    EXPECT_FALSE(system.report(first, 1, 24, std::string(300'000, 'x')));
    EXPECT_EQ(90, last_error()) << "too long";
    EXPECT_TRUE(system.report(first, 1, 24, std::string(200'000, 'x')));
    EXPECT_EQ(0, last_error());
    EXPECT_TRUE(system.deregister_source(first));
    EXPECT_TRUE(system.deregister_source(second));
}

} // namespace

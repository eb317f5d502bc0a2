#include <KRCommon/eventlog/Event_Log.h>

#include <KRCommon/eventlog/Event_Log_System.h>
#include <KRCommon/platform/Event_Source_testing.h>
#include <KRCommon/platform/Platform.h>
#include <tests/support/Log_Capture.h>
#include <tests/support/Log_Text_Matching.h>
#include <tests/support/Temp_Folder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <memory>
#include <mutex>
#include <thread>
#include <type_traits>

namespace {

using Texts = std::vector<std::string>;
using kr_platform::Registry_Key;

static_assert(!std::is_copy_constructible_v<KR_Event_Log>);
static_assert(!std::is_copy_assignable_v<KR_Event_Log>);

const std::string eventlog_path = "SYSTEM\\CurrentControlSet\\Services\\Eventlog";
const std::string message_file = "\\..\\common\\eventMessages.dll;";

// Keeps every call as a line of text, and fails where the test says so. Handles are numbers.
class Fake_System : public kr_platform::Event_System {
public:
    Fake_System() { kr_internal::event_system.replace(this); }
    ~Fake_System() { kr_internal::event_system.replace(nullptr); }
    Fake_System(const Fake_System&) = delete;
    Fake_System& operator=(const Fake_System&) = delete;

    // The call that begins with this text fails, from the one after the first `good` on.
    void fail(const std::string& call, int error, int good = 0)
    {
        failing_ = call;
        error_ = error;
        good_ = good;
    }

    void let_key_exist(const std::string& path) { existing_ = path; }

    const Texts& calls() const { return calls_; }
    int open_keys() const { return open_keys_; }
    int most_at_once() const { return most_at_once_; }

    Opened_Key create_key(const std::string& parent, const std::string& name) override
    {
        const std::string path = parent + "\\" + name;
        if (!note("create " + path))
            return {};
        ++open_keys_;
        return {handle<Registry_Key>(++keys_), path == existing_};
    }

    bool set_dword(Registry_Key* key, const char* name, std::uint32_t value) override
    {
        return note("dword " + number(key) + " " + name + " " + std::to_string(value));
    }

    bool set_text(Registry_Key* key, const char* name, const std::string& text) override
    {
        return note("text " + number(key) + " " + name + " " + text);
    }

    bool close_key(Registry_Key* key) override
    {
        --open_keys_;
        return note("close " + number(key));
    }

    kr_platform::Event_Source* register_source(const std::string& name) override
    {
        if (!note("register " + name))
            return nullptr;
        return handle<kr_platform::Event_Source>(++sources_);
    }

    bool report(kr_platform::Event_Source* source, int type, int id,
                const std::string& text) override
    {
        const int at_once = ++reports_running_;
        most_at_once_ = std::max<int>(most_at_once_, at_once);
        std::this_thread::yield(); // an invitation to overlap
        const bool result = note("report " + number(source) + " type " + std::to_string(type) +
                                 " id " + std::to_string(id) + " " + text);
        --reports_running_;
        return result;
    }

    bool deregister_source(kr_platform::Event_Source* source) override
    {
        return note("deregister " + number(source));
    }

private:
    template <typename T>
    static T* handle(std::uintptr_t n)
    {
        return reinterpret_cast<T*>(n);
    }

    static std::string number(const void* pointer)
    {
        return std::to_string(reinterpret_cast<std::uintptr_t>(pointer));
    }

    bool note(const std::string& call)
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        calls_.push_back(call);
        const bool fails =
            !failing_.empty() && call.compare(0, failing_.size(), failing_) == 0 && good_-- <= 0;
        errno = fails ? error_ : 0;
        return !fails;
    }

    std::mutex mutex_;
    Texts calls_;
    std::string failing_;
    std::string existing_;
    int error_ = 0;
    int good_ = 0;
    std::uintptr_t keys_ = 0;
    std::uintptr_t sources_ = 0;
    int open_keys_ = 0;
    std::atomic<int> reports_running_{0};
    std::atomic<int> most_at_once_{0};
};

// The lines after stamp and thread, each checked for what it must hold beside its text.
Texts lines_of(const Log_Capture& capture)
{
    Texts texts;
    for (std::size_t i = 0; i < capture.lines().size(); ++i) {
        const Log_Capture::Line& line = capture.lines()[i];
        const std::string text = capture.unstamped(i);
        const std::string mark = thread_mark();
        EXPECT_EQ(mark, text.substr(0, mark.size()));
        texts.push_back(text.substr(mark.size()));
        EXPECT_EQ("Event_Log.cpp", line.file);
        EXPECT_EQ(texts.back()[0] == '*' ? LM_ERROR : LM_DEBUG, line.priority);
        EXPECT_EQ(texts.back()[0] == '*' ? -1 : 0, line.status);
    }
    return texts;
}

const std::string shared_name_line =
    " DBG KR_Event_Log::KR_Event_Log - log_name = Video Server. exclusive = 0\n";
const std::string shared_path_line =
    " DBG KR_Event_Log::KR_Event_Log - reg_path = "
    "SYSTEM\\CurrentControlSet\\Services\\Eventlog\\Application\\Video Server \n";
const std::string exclusive_name_line =
    " DBG KR_Event_Log::KR_Event_Log - log_name = Video Server. exclusive = 1\n";
const std::string exclusive_path_line =
    " DBG KR_Event_Log::KR_Event_Log - reg_path = "
    "SYSTEM\\CurrentControlSet\\Services\\Eventlog\\Video Server \n";
const std::string creating_line = " DBG KR_Event_Log::KR_Event_Log - registry key does NOT yet "
                                  "exists, creating and configuring now \n";
const std::string exists_line = " DBG KR_Event_Log::KR_Event_Log - registry key exists already \n";

// What one createRegistry() of the fake system calls and logs.
class CreateRegistry : public testing::Test {
protected:
    void run(bool exclusive)
    {
        const Log_Capture capture;
        KR_Event_Log("Video Server", exclusive).createRegistry();
        lines = lines_of(capture);
    }

    Fake_System system;
    Texts lines;
};

TEST(KrEventLog, ConstructorAndDestructorTouchNothingAndLogNothing)
{
    Fake_System system;
    const Log_Capture capture;
    for (const bool exclusive : {false, true})
        KR_Event_Log("Video Server", exclusive);
    EXPECT_TRUE(system.calls().empty());
    EXPECT_TRUE(capture.lines().empty());
}

TEST_F(CreateRegistry, SharedSourceGetsItsKeyBelowApplicationAndTheMessageFileOnly)
{
    run(false);
    EXPECT_EQ((Texts{"create SYSTEM\\CurrentControlSet\\Services\\Eventlog\\Application\\"
                     "Video Server",
                     "text 1 EventMessageFile " + kr_platform::working_folder() +
                         "\\..\\common\\eventMessages.dll;",
                     "close 1"}),
              system.calls());
    EXPECT_EQ((Texts{shared_name_line, shared_path_line, creating_line}), lines);
}

TEST_F(CreateRegistry, ExclusiveSourceGetsALogWithSizeAndASourceOfTheSameNameBelow)
{
    run(true);
    EXPECT_EQ((Texts{"create SYSTEM\\CurrentControlSet\\Services\\Eventlog\\Video Server",
                     "dword 1 AutoBackupLogFiles 0", "dword 1 MaxSize 524288", "close 1",
                     "create SYSTEM\\CurrentControlSet\\Services\\Eventlog\\Video Server\\"
                     "Video Server",
                     "text 2 EventMessageFile " + kr_platform::working_folder() +
                         "\\..\\common\\eventMessages.dll;",
                     "close 2"}),
              system.calls());
    EXPECT_EQ((Texts{exclusive_name_line, exclusive_path_line, creating_line}), lines);
}

TEST_F(CreateRegistry, QuirkAnExistingKeyIsLeftAsItIsAndOpen)
{
    system.let_key_exist(eventlog_path + "\\Application\\Video Server");
    run(false);
    EXPECT_EQ((Texts{"create " + eventlog_path + "\\Application\\Video Server"}), system.calls());
    EXPECT_EQ((Texts{shared_name_line, shared_path_line, exists_line}), lines);
    EXPECT_EQ(1, system.open_keys());
}

TEST_F(CreateRegistry, QuirkAnExistingExclusiveLogIsLeftAsItIsAndOpen)
{
    system.let_key_exist(eventlog_path + "\\Video Server");
    run(true);
    EXPECT_EQ((Texts{"create " + eventlog_path + "\\Video Server"}), system.calls());
    EXPECT_EQ((Texts{exclusive_name_line, exclusive_path_line, exists_line}), lines);
    EXPECT_EQ(1, system.open_keys());
}

TEST_F(CreateRegistry, ASourceKeyBelowANewLogIsFilledEvenWhenItExisted)
{
    // The source key is not asked for its age.
    system.let_key_exist(eventlog_path + "\\Video Server\\Video Server");
    run(true);
    EXPECT_EQ("close 2", system.calls().back());
    EXPECT_EQ(creating_line, lines.back());
}

struct Failure {
    bool exclusive;
    const char* call;  // that fails
    int good;          // calls of this kind that succeed first
    std::size_t calls; // in all, the closing of the key at hand included
    const char* line;
};

constexpr Failure failures[] = {
    {false, "create", 0, 1,
     "*ERR KR_Event_Log::KR_Event_Log - Failed in function RegCreateKeyEx - error 5 \n"},
    {true, "create", 0, 1,
     "*ERR KR_Event_Log::KR_Event_Log - Failed in function RegCreateKeyEx - error 5 \n"},
    {true, "dword 1 AutoBackupLogFiles", 0, 3,
     "*ERR KR_Event_Log::KR_Event_Log - Failed in function RegSetValueEx with argument "
     "'AutoBackupLogFiles' - error 5 \n"},
    {true, "dword 1 MaxSize", 0, 4,
     "*ERR KR_Event_Log::KR_Event_Log - Failed in function RegSetValueEx with argument 'MaxSize' "
     "- error 5 \n"},
    {true, "close", 0, 4,
     "*ERR KR_Event_Log::KR_Event_Log - Failed in function RegCloseKey (exclusive case) - error 5 "
     "\n"},
    {true, "create", 1, 5,
     "*ERR KR_Event_Log::KR_Event_Log - Failed in function RegCreateKeyEx (exclusive case) - error "
     "5 \n"},
    {true, "text", 0, 7,
     "*ERR KR_Event_Log::KR_Event_Log - Failed in function RegSetValueEx with argument "
     "'EventMessageFile' - error 5 \n"},
    {false, "text", 0, 3,
     "*ERR KR_Event_Log::KR_Event_Log - Failed in function RegSetValueEx with argument "
     "'EventMessageFile' - error 5 \n"},
    {true, "close", 1, 7,
     "*ERR KR_Event_Log::KR_Event_Log - Failed in function RegCloseKey - error 5 \n"},
    {false, "close", 0, 3,
     "*ERR KR_Event_Log::KR_Event_Log - Failed in function RegCloseKey - error 5 \n"},
};

TEST(KrEventLog, CreateRegistryLogsEachFailureOnceAndStopsWithNoKeyLeftOpen)
{
    for (const Failure& failure : failures) {
        SCOPED_TRACE(std::string(failure.call) + " " + std::to_string(failure.good) +
                     (failure.exclusive ? " exclusive" : ""));
        Fake_System system;
        system.fail(failure.call, 5, failure.good);
        const Log_Capture capture;
        KR_Event_Log("Video Server", failure.exclusive).createRegistry();
        const Texts lines = lines_of(capture);
        EXPECT_EQ(failure.line, lines.back());
        EXPECT_EQ(failure.calls == 1 ? 3U : 4U, lines.size());
        EXPECT_EQ(failure.calls, system.calls().size());
        EXPECT_EQ(0, system.open_keys());
    }
}

TEST(KrEventLog, AnErrorLineKeepsTheErrorForLogCallbacks)
{
    Fake_System system;
    system.fail("create", 1314);
    const Log_Capture capture;
    KR_Event_Log("Video Server", false).createRegistry();
    ASSERT_EQ(3U, capture.lines().size());
    EXPECT_EQ(1314, capture.lines()[2].error);
    EXPECT_THAT(capture.lines()[2].text, testing::EndsWith("RegCreateKeyEx - error 1314 \n"));
}

TEST(KrEventLog, LongAndOddNamesGoThroughAndStayInOneLine)
{
    for (const std::string& name :
         {std::string(), std::string(300, 'n'), std::string(5000, 'n'), std::string("a\\b"),
          std::string("a\nb%s%n"), std::string("\xDC\xFF")}) {
        SCOPED_TRACE(name);
        Fake_System system;
        const Log_Capture capture;
        KR_Event_Log writer(name, false);
        writer.createRegistry();
        writer.registerToEventLog();
        EXPECT_EQ("create " + eventlog_path + "\\Application\\" + name, system.calls().at(0));
        EXPECT_EQ("register " + name, system.calls().at(3));
        for (const auto& line : capture.lines())
            EXPECT_EQ(line.text.size() - 1, line.text.find('\n'));
    }
}

// Goes to a folder and back.
class In_Folder {
public:
    explicit In_Folder(const std::string& path) : before_(kr_platform::working_folder())
    {
        EXPECT_TRUE(kr_platform_testing::enter_folder(path)) << path;
    }
    ~In_Folder() { kr_platform_testing::enter_folder(before_); }
    In_Folder(const In_Folder&) = delete;
    In_Folder& operator=(const In_Folder&) = delete;

private:
    std::string before_;
};

std::string make_folder_in(const std::string& parent, const std::string& name)
{
    std::string path = parent + kr_platform::path_separator() + name;
    EXPECT_TRUE(kr_platform::make_folder(path)) << path;
    return path;
}

// A letter beyond ASCII both in UTF-8 and, two of them, in code page 1252.
const std::string odd_name = "my \xC3\x9C service";

TEST_F(CreateRegistry, MessageFileIsBesideTheWorkingFolderBlanksAndLettersBeyondAsciiIncluded)
{
    const Temp_Folder temp;
    const In_Folder in(make_folder_in(temp.path(), odd_name));
    run(false);
    EXPECT_EQ("text 1 EventMessageFile " + temp.path() + kr_platform::path_separator() +
                  "my \xC3\x9C service\\..\\common\\eventMessages.dll;",
              system.calls().at(1));
}

TEST_F(CreateRegistry, TheWorkingFolderCountsWhenTheKeyIsMade)
{
    const Temp_Folder temp;
    const Log_Capture capture;
    KR_Event_Log writer("Video Server", false);
    const In_Folder in(temp.path());
    writer.createRegistry();
    EXPECT_EQ("text 1 EventMessageFile " + temp.path() + message_file, system.calls().at(1));
}

TEST_F(CreateRegistry, OfALongWorkingFolderTheFirst520CharactersCount)
{
    if (kr_platform::path_separator() == '\\')
        GTEST_SKIP() << "the paths of Windows end before";
    const Temp_Folder temp;
    const In_Folder in(temp.path()); // and back at the end
    std::string path = temp.path();
    while (path.size() <= 520) {
        const std::string part(100, 'd');
        ASSERT_TRUE(kr_platform::make_folder(part));
        ASSERT_TRUE(kr_platform_testing::enter_folder(part));
        path += "/" + part;
    }
    run(false);
    EXPECT_EQ("text 1 EventMessageFile " + path.substr(0, 520) + message_file,
              system.calls().at(1));
}

TEST_F(CreateRegistry, AWorkingFolderThatCannotBeToldCountsAsEmpty)
{
    if (kr_platform::path_separator() == '\\')
        GTEST_SKIP() << "Windows keeps the working folder from being deleted";
    auto temp = std::make_unique<Temp_Folder>();
    const In_Folder in(temp->path());
    temp.reset();
    run(false);
    EXPECT_EQ("text 1 EventMessageFile \\..\\common\\eventMessages.dll;", system.calls().at(1));
}

// The real registry, with keys of the test's own that are gone before and after it.
class RealRegistry : public testing::Test {
protected:
    RealRegistry()
        : name_(std::string("KRCommon test ") +
                testing::UnitTest::GetInstance()->current_test_info()->name())
    {
        clean();
    }
    ~RealRegistry() override { clean(); }

    void SetUp() override
    {
        if (!kr_platform_testing::has_registry())
            GTEST_SKIP() << "this system has no registry";
    }

    Texts create(const std::string& name, bool exclusive)
    {
        const Log_Capture capture;
        KR_Event_Log(name, exclusive).createRegistry();
        return lines_of(capture);
    }

    static void expect_dword(const std::string& bytes, const std::string& path,
                             const std::string& value_name)
    {
        const auto value = kr_platform_testing::read_value(path, value_name);
        ASSERT_TRUE(value.has_value()) << value_name;
        EXPECT_EQ(4U, value->type);
        EXPECT_EQ(bytes, value->data);
    }

    // The zero at the end is Windows' own addition: it is not in the length that it was told.
    static void expect_text(const std::string& text, const std::string& path,
                            const std::string& value_name)
    {
        const auto value = kr_platform_testing::read_value(path, value_name);
        ASSERT_TRUE(value.has_value()) << value_name;
        EXPECT_EQ(1U, value->type);
        EXPECT_EQ(text + '\0', value->data);
    }

    std::string shared_path() const { return eventlog_path + "\\Application\\" + name_; }
    std::string exclusive_path() const { return eventlog_path + "\\" + name_; }

    const std::string name_;

private:
    void clean() const
    {
        kr_platform_testing::delete_key(shared_path());
        kr_platform_testing::delete_key(exclusive_path());
    }
};

TEST_F(RealRegistry, OfASharedSourceHoldsTheMessageFileOnly)
{
    EXPECT_EQ(creating_line, create(name_, false).back());
    EXPECT_EQ((Texts{"EventMessageFile"}), kr_platform_testing::value_names(shared_path()));
    EXPECT_TRUE(kr_platform_testing::subkey_names(shared_path()).empty());
    expect_text(kr_platform::working_folder() + "\\..\\common\\eventMessages.dll;", shared_path(),
                "EventMessageFile");
    EXPECT_FALSE(kr_platform_testing::key_exists(exclusive_path()));
}

TEST_F(RealRegistry, OfAnExclusiveSourceHoldsLogAndSource)
{
    EXPECT_EQ(creating_line, create(name_, true).back());
    EXPECT_THAT(kr_platform_testing::value_names(exclusive_path()),
                testing::UnorderedElementsAre("AutoBackupLogFiles", "MaxSize"));
    expect_dword(std::string("\0\0\0\0", 4), exclusive_path(), "AutoBackupLogFiles");
    expect_dword(std::string("\0\0\x08\0", 4), exclusive_path(), "MaxSize");
    EXPECT_EQ((Texts{name_}), kr_platform_testing::subkey_names(exclusive_path()));

    const std::string source_path = exclusive_path() + "\\" + name_;
    EXPECT_EQ((Texts{"EventMessageFile"}), kr_platform_testing::value_names(source_path));
    expect_text(kr_platform::working_folder() + "\\..\\common\\eventMessages.dll;", source_path,
                "EventMessageFile");
    EXPECT_FALSE(kr_platform_testing::key_exists(shared_path()));
}

TEST_F(RealRegistry, IsNotChangedByASecondCall)
{
    for (const bool exclusive : {false, true}) {
        SCOPED_TRACE(exclusive);
        const std::string path = exclusive ? exclusive_path() + "\\" + name_ : shared_path();
        create(name_, exclusive);
        const Temp_Folder temp;
        const std::string first_folder = kr_platform::working_folder();
        const In_Folder in(temp.path());
        const Texts lines = create(name_, exclusive);
        ASSERT_EQ(3U, lines.size());
        EXPECT_EQ(" DBG KR_Event_Log::KR_Event_Log - registry key exists already \n", lines[2]);
        expect_text(first_folder + message_file, path, "EventMessageFile");
    }
}

TEST_F(RealRegistry, HoldsAWorkingFolderWithBlanksAndLettersBeyondAscii)
{
    const Temp_Folder temp;
    const In_Folder in(make_folder_in(temp.path(), odd_name));
    create(name_, false);
    expect_text(temp.path() + "\\my \xC3\x9C service\\..\\common\\eventMessages.dll;",
                shared_path(), "EventMessageFile");
}

TEST_F(RealRegistry, RefusesNamesThatAreNoNameOfOneKey)
{
    const auto before = kr_platform_testing::subkey_names(eventlog_path + "\\Application");
    for (const std::string& name : {std::string(), std::string("\\"), name_ + "\\a", "\\" + name_,
                                    name_ + "\\", name_ + std::string("\0a", 2)}) {
        SCOPED_TRACE(name);
        for (const bool exclusive : {false, true}) {
            const Texts lines = create(name, exclusive);
            ASSERT_EQ(3U, lines.size());
            EXPECT_EQ("*ERR KR_Event_Log::KR_Event_Log - Failed in function RegCreateKeyEx - error "
                      "123 \n",
                      lines[2]);
        }
    }
    EXPECT_EQ(before, kr_platform_testing::subkey_names(eventlog_path + "\\Application"));
    EXPECT_FALSE(kr_platform_testing::key_exists(exclusive_path()));
}

TEST_F(RealRegistry, TakesANameOf200CharactersAndRefusesOneOf300)
{
    const std::string long_name = name_ + std::string(200 - name_.size(), 'n');
    EXPECT_EQ(creating_line, create(long_name, false).back());
    EXPECT_TRUE(kr_platform_testing::key_exists(eventlog_path + "\\Application\\" + long_name));
    kr_platform_testing::delete_key(eventlog_path + "\\Application\\" + long_name);

    const Texts lines = create(std::string(300, 'n'), false);
    ASSERT_EQ(3U, lines.size());
    EXPECT_THAT(lines[2], FullyMatches("\\*ERR KR_Event_Log::KR_Event_Log - Failed in function "
                                       "RegCreateKeyEx - error (87|234) \n")); // Windows, Wine
}

TEST(KrEventLog, WithoutARegistryEachCallSaysThatThisIsNotSupported)
{
    if (kr_platform_testing::has_registry())
        GTEST_SKIP() << "this system has a registry";
    for (const std::string name : {"Video Server", "", "a\\b"}) {
        const Log_Capture capture;
        KR_Event_Log(name, false).createRegistry();
        const Texts lines = lines_of(capture);
        ASSERT_EQ(3U, lines.size());
        EXPECT_EQ(" DBG KR_Event_Log::KR_Event_Log - reg_path = "
                  "SYSTEM\\CurrentControlSet\\Services\\Eventlog\\Application\\" +
                      name + " \n",
                  lines[1]);
        EXPECT_EQ(
            "*ERR KR_Event_Log::KR_Event_Log - Failed in function RegCreateKeyEx - error 95 \n",
            lines[2]);
    }
}

TEST(KrEventLog, RealSystemTakesARegistrationAndEventsAndGivesTheSourceBack)
{
    const auto log = kr_platform_testing::System_Log::open();
    if (log == nullptr && !kr_platform_testing::has_registry())
        GTEST_SKIP() << "no syslog here, a daemon of its own at /dev/log, or no right to be one";
    const Log_Capture capture;
    {
        KR_Event_Log writer("KRCommon test", false);
        writer.registerToEventLog();
        EXPECT_TRUE(capture.lines().empty());
        writer.write(24, 4, "Message = test");
        EXPECT_EQ((Texts{" DBG KR_Event_Log::write - id = 24 \n"}), lines_of(capture));
    }
    ASSERT_EQ(2U, capture.lines().size());
    EXPECT_EQ("*ERR KR_Event_Log::KR_Event_Log - Failed in function DeregisterEventSource - error "
              "0 \n",
              lines_of(capture)[1]);
}

TEST(KrEventLog, AnEventThatSyslogDoesNotTakeIsLoggedAsFailed)
{
    auto log = kr_platform_testing::System_Log::open();
    if (log == nullptr)
        GTEST_SKIP() << "no syslog here, a daemon of its own at /dev/log, or no right to be one";
    const auto line = [](int error) {
        return "*ERR KR_Event_Log::write - Failed in function ReportEvent - error " +
               std::to_string(error) + "\n\n";
    };
    const auto writes = [](KR_Event_Log& writer, const std::string& text) {
        const Log_Capture capture;
        writer.write(24, 1, text);
        return lines_of(capture).back();
    };
    const Log_Capture quiet;
    KR_Event_Log writer("KRCommon test", false);
    writer.registerToEventLog();
    const std::string written = " DBG KR_Event_Log::write - id = 24 \n";
    EXPECT_EQ(written, writes(writer, std::string(200'000, 'x')));
    EXPECT_EQ(line(90), writes(writer, std::string(213'000, 'x'))) << "too long";

    std::string last = written; // until the socket, which nobody reads, is full
    for (int i = 0; i < 100'000 && last == written; ++i)
        last = writes(writer, "text");
    EXPECT_EQ(line(110), last) << "not read";
    std::vector<std::thread> others;
    const auto start = std::chrono::steady_clock::now();
    for (int i = 0; i < 20; ++i)
        others.emplace_back([&] { EXPECT_EQ(line(110), writes(writer, "text")); });
    for (std::thread& other : others)
        other.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(10)) << "one each";

    log.reset();
    EXPECT_EQ(line(2), writes(writer, "text")) << "no daemon";
}

TEST(KrEventLog, RegistersUnderItsNameAndLogsNothing)
{
    Fake_System system;
    const Log_Capture capture;
    KR_Event_Log writer("Video Server", true);
    writer.registerToEventLog();
    EXPECT_EQ((Texts{"register Video Server"}), system.calls());
    EXPECT_TRUE(capture.lines().empty());
}

TEST(KrEventLog, FailedRegistrationIsLoggedAndLeavesTheWriterUnregistered)
{
    Fake_System system;
    system.fail("register", 1717);
    const Log_Capture capture;
    {
        KR_Event_Log writer("Video Server", false);
        writer.registerToEventLog();
        writer.write(24, 1, "text");
    }
    EXPECT_EQ((Texts{"register Video Server"}), system.calls());
    EXPECT_EQ((Texts{"*ERR KR_Event_Log::KR_Event_Log - Failed in function RegisterEventSource - "
                     "error 1717\n"}),
              lines_of(capture));
}

TEST(KrEventLog, SecondRegistrationGivesTheFirstSourceBackWithoutALine)
{
    Fake_System system;
    const Log_Capture capture;
    KR_Event_Log writer("Video Server", false);
    writer.registerToEventLog();
    writer.registerToEventLog();
    EXPECT_TRUE(capture.lines().empty());
    writer.write(1, 4, "text");
    EXPECT_EQ((Texts{"register Video Server", "deregister 1", "register Video Server",
                     "report 2 type 4 id 1 text"}),
              system.calls());
}

TEST(KrEventLog, AFailedSecondRegistrationLeavesTheWriterUnregistered)
{
    Fake_System system;
    system.fail("register", 1717, 1);
    const Log_Capture capture;
    {
        KR_Event_Log writer("Video Server", false);
        writer.registerToEventLog();
        writer.registerToEventLog();
        writer.write(1, 4, "text");
    }
    EXPECT_EQ((Texts{"register Video Server", "deregister 1", "register Video Server"}),
              system.calls());
    EXPECT_EQ(1U, capture.lines().size());
}

TEST(KrEventLog, WriteBeforeRegistrationWritesNothingAndLogsNothing)
{
    Fake_System system;
    const Log_Capture capture;
    KR_Event_Log writer("Video Server", false);
    writer.write(24, 1, "text");
    EXPECT_TRUE(system.calls().empty());
    EXPECT_TRUE(capture.lines().empty());
}

TEST(KrEventLog, WriteReportsTypeIdentifierAndTextAsTheyAre)
{
    struct Event {
        int id;
        int type;
        const char* text;
        const char* call;
        const char* line;
    };
    constexpr Event events[] = {
        {24, 1, "Message = x\nPort = 80\n", "report 1 type 1 id 24 Message = x\nPort = 80\n",
         " DBG KR_Event_Log::write - id = 24 \n"},
        {0, 0, "", "report 1 type 0 id 0 ", " DBG KR_Event_Log::write - id = 0 \n"},
        {2147483647, 16, "%1 %s%n", "report 1 type 16 id 2147483647 %1 %s%n",
         " DBG KR_Event_Log::write - id = 2147483647 \n"},
        {-1073741800, -1, "\xFF", "report 1 type -1 id -1073741800 \xFF",
         " DBG KR_Event_Log::write - id = -1073741800 \n"},
    };
    for (const Event& event : events) {
        SCOPED_TRACE(event.call);
        Fake_System system;
        const Log_Capture capture;
        KR_Event_Log writer("Video Server", false);
        writer.registerToEventLog();
        writer.write(event.id, event.type, event.text);
        EXPECT_EQ((Texts{"register Video Server", event.call}), system.calls());
        EXPECT_EQ((Texts{event.line}), lines_of(capture));
    }
}

TEST(KrEventLog, QuirkTheLineOfAFailedWriteEndsInTwoLineFeeds)
{
    Fake_System system;
    system.fail("report", 1502);
    const Log_Capture capture;
    KR_Event_Log writer("Video Server", false);
    writer.registerToEventLog();
    writer.write(14, 1, "text");
    EXPECT_EQ((Texts{" DBG KR_Event_Log::write - id = 14 \n",
                     "*ERR KR_Event_Log::write - Failed in function ReportEvent - error 1502\n\n"}),
              lines_of(capture));
}

TEST(KrEventLog, AFailedWriteDoesNotPreventTheNext)
{
    Fake_System system;
    system.fail("report 1 type 1", 1502);
    const Log_Capture capture;
    KR_Event_Log writer("Video Server", false);
    writer.registerToEventLog();
    writer.write(1, 1, "a");
    writer.write(2, 4, "b");
    EXPECT_EQ("report 1 type 4 id 2 b", system.calls().back());
    EXPECT_EQ(3U, capture.lines().size());
}

TEST(KrEventLog, QuirkDestroyingARegisteredWriterLogsAFailureThatThereWasNot)
{
    Fake_System system;
    const Log_Capture capture;
    auto writer = std::make_unique<KR_Event_Log>("Video Server", false);
    writer->registerToEventLog();
    writer.reset();
    EXPECT_EQ((Texts{"register Video Server", "deregister 1"}), system.calls());
    EXPECT_EQ((Texts{"*ERR KR_Event_Log::KR_Event_Log - Failed in function DeregisterEventSource - "
                     "error 0 \n"}),
              lines_of(capture));
}

TEST(KrEventLog, QuirkAFailureToGiveTheSourceBackIsNotLogged)
{
    Fake_System system;
    system.fail("deregister", 6);
    const Log_Capture capture;
    auto writer = std::make_unique<KR_Event_Log>("Video Server", false);
    writer->registerToEventLog();
    writer.reset();
    EXPECT_EQ("deregister 1", system.calls().back());
    EXPECT_TRUE(capture.lines().empty());
}

TEST(KrEventLog, EventsOfManyThreadsGoOutOneAtATimeAndNoneIsLost)
{
    constexpr int threads = 8;
    constexpr int events = 200;
    Fake_System system;
    Texts expected;
    {
        const Log_Capture quiet;
        KR_Event_Log writer("Video Server", false);
        writer.registerToEventLog();
        std::atomic<int> lines{0};
        std::vector<std::thread> running;
        for (int t = 0; t < threads; ++t) {
            running.emplace_back([&, t] {
                const Log_Capture capture;
                for (int i = 0; i < events; ++i)
                    writer.write(t, 4, std::to_string(i));
                lines += static_cast<int>(capture.lines().size());
            });
            for (int i = 0; i < events; ++i)
                expected.push_back("report 1 type 4 id " + std::to_string(t) + " " +
                                   std::to_string(i));
        }
        for (std::thread& thread : running)
            thread.join();
        EXPECT_EQ(threads * events, lines);
    }
    EXPECT_EQ(1, system.most_at_once());
    Texts reported(system.calls().begin() + 1, system.calls().end() - 1);
    EXPECT_THAT(reported, testing::UnorderedElementsAreArray(expected));
}

// A system that takes its time, to see who waits for whom.
class Slow_System : public Fake_System {
public:
    Opened_Key create_key(const std::string& parent, const std::string& name) override
    {
        is_creating = true;
        for (int i = 0; i < 50; ++i) {
            std::this_thread::yield();
            reports_meanwhile += is_reporting ? 1 : 0;
        }
        const Opened_Key key = Fake_System::create_key(parent, name);
        is_creating = false;
        return key;
    }

    bool report(kr_platform::Event_Source* source, int type, int id,
                const std::string& text) override
    {
        is_reporting = true;
        creations_meanwhile += is_creating ? 1 : 0;
        std::this_thread::yield();
        is_reporting = false;
        return Fake_System::report(source, type, id, text);
    }

    std::atomic<bool> is_creating{false};
    std::atomic<bool> is_reporting{false};
    std::atomic<int> reports_meanwhile{0};
    std::atomic<int> creations_meanwhile{0};
};

TEST(KrEventLog, CreateRegistryAndWriteTakeTurns)
{
    Slow_System system;
    const Log_Capture quiet;
    KR_Event_Log writer("Video Server", false);
    writer.registerToEventLog();
    std::thread other([&] {
        const Log_Capture capture;
        for (int i = 0; i < 500; ++i)
            writer.write(1, 4, "text");
    });
    for (int i = 0; i < 100; ++i)
        writer.createRegistry();
    other.join();
    EXPECT_EQ(0, system.reports_meanwhile);
    EXPECT_EQ(0, system.creations_meanwhile);
}

// A system that writes an event of its own while one is being reported.
class Nested_System : public Fake_System {
public:
    bool report(kr_platform::Event_Source* source, int type, int id,
                const std::string& text) override
    {
        if (id > 0)
            writer->write(id - 1, type, text);
        return Fake_System::report(source, type, id, text);
    }

    KR_Event_Log* writer = nullptr;
};

TEST(KrEventLog, WriteMayBeCalledFromWithinAWrite)
{
    Nested_System system;
    const Log_Capture capture;
    KR_Event_Log writer("Video Server", false);
    system.writer = &writer;
    writer.registerToEventLog();
    writer.write(2, 4, "x");
    EXPECT_EQ((Texts{"register Video Server", "report 1 type 4 id 0 x", "report 1 type 4 id 1 x",
                     "report 1 type 4 id 2 x"}),
              system.calls());
}

ns__LogParam param(const std::wstring& name, const std::wstring& value)
{
    ns__LogParam result;
    result.name = name;
    result.value = value;
    return result;
}

// The text for a notification, by a writer that nothing was done with.
std::string event_text(int code, std::string message, const std::vector<ns__LogParam>& params,
                       const std::vector<ns__LogParam>& entity_params)
{
    const Log_Capture capture;
    ns__LogEntity entity;
    entity.params = entity_params;
    std::string result = "what was there before";
    KR_Event_Log("Video Server", false)
        .prepareEventMsg(static_cast<ns__NotificationCode>(code), message, params, entity, result);
    EXPECT_TRUE(capture.lines().empty());
    return result;
}

TEST(PrepareEventMsg, ReportedParametersFollowTheMessageOneALine)
{
    EXPECT_EQ("Message = lost\nPort = 8080\nHost = cam-7\n",
              event_text(0, "lost", {param(L"Port", L"8080"), param(L"Host", L"cam-7")}, {}));
}

TEST(PrepareEventMsg, PortIsReportedAndCameraOnlyAsAParameterOfTheEntity)
{
    EXPECT_EQ("Message = m\nPort = 80\n",
              event_text(1, "m", {param(L"Port", L"80"), param(L"Camera", L"7")}, {}));
    EXPECT_EQ("Message = m\nPort = 80\nCamera = 7\n",
              event_text(1, "m", {param(L"Port", L"80")}, {param(L"Camera", L"7")}));
}

TEST(PrepareEventMsg, ExactlyTheseNamesAreReported)
{
    for (const wchar_t* name :
         {L"AsIpAddress", L"AsHostAddress", L"ServiceName", L"IsPrimaryLbs", L"DBInstance",
          L"IsPrimaryDB", L"DBCurrentSize", L"DBLimitSize", L"DaysBeforeExpiry", L"VmsId",
          L"VmsHost", L"VmsName", L"Host", L"Port", L"VmsProxyHost"}) {
        const std::wstring wide = name;
        EXPECT_EQ("Message = m\n" + std::string(wide.begin(), wide.end()) + " = v\n",
                  event_text(0, "m", {param(name, L"v")}, {}));
    }
    for (const wchar_t* name : {L"Camera", L"", L"port", L"PORT", L"Port ", L" Port", L"Por",
                                L"Ports", L"VmsProxyName", L"IsPrimary"})
        EXPECT_EQ("Message = m\n", event_text(0, "m", {param(name, L"v")}, {})) << name;
}

TEST(PrepareEventMsg, KeepsTheOrderAndRepeatsOfTheParameters)
{
    EXPECT_EQ("Message = m\nPort = 2\nHost = a\nPort = 1\nx = 1\nPort = 3\nx = 2\n",
              event_text(0, "m",
                         {param(L"Port", L"2"), param(L"no", L""), param(L"Host", L"a"),
                          param(L"Port", L"1")},
                         {param(L"x", L"1"), param(L"Port", L"3"), param(L"x", L"2")}));
}

TEST(PrepareEventMsg, ALineFeedFollowsTheMessageEvenWithoutParameters)
{
    EXPECT_EQ("Message = m\n", event_text(0, "m", {}, {}));
    EXPECT_EQ("Message = \n", event_text(0, "", {}, {}));
    EXPECT_EQ("Message = m\n = \n", event_text(0, "m", {}, {param(L"", L"")}));
}

TEST(PrepareEventMsg, SixCodesLeaveTheEntitysParametersOut)
{
    for (const int code : {14, 24, 35, 36, 38, 39})
        EXPECT_EQ("Message = m\nPort = 80\n",
                  event_text(code, "m", {param(L"Port", L"80")}, {param(L"Camera", L"7")}))
            << code;
    for (const int code : {-1, 0, 1, 13, 16, 23, 25, 34, 37, 40, 1014, 2147483647})
        EXPECT_EQ("Message = m\nPort = 80\nCamera = 7\n",
                  event_text(code, "m", {param(L"Port", L"80")}, {param(L"Camera", L"7")}))
            << code;
}

TEST(PrepareEventMsg, Code15IsTheMessageAlone)
{
    EXPECT_EQ("Message = m", event_text(15, "m", {param(L"Port", L"80")}, {param(L"a", L"7")}));
    EXPECT_EQ("Message = ", event_text(15, "", {}, {}));
}

TEST(PrepareEventMsg, MessageAndValuesGoInAsTheyAre)
{
    EXPECT_EQ("Message = a\nb\t%s\xFF\nPort = x\ny = z\n",
              event_text(0, "a\nb\t%s\xFF", {param(L"Port", L"x\ny = z")}, {}));
}

TEST(PrepareEventMsg, QuirkOfEachCharacterTheLowByteStays)
{
    EXPECT_EQ("Message = m\nPort = \xDC\xFF\n",
              event_text(0, "m", {param(L"Port", L"\u00DC\u00FF")}, {}));
    // Cyrillic U+041A, U+0430; the euro sign U+20AC; U+0100 gives a zero.
    EXPECT_EQ(std::string("Message = m\nPort = \x1A\x30\xAC\0!\n", 25),
              event_text(0, "m", {param(L"Port", L"\u041A\u0430\u20AC\u0100!")}, {}));
    // U+0150, a letter of Hungarian, is a "P" in its low byte.
    EXPECT_EQ("Message = m\nPort = 1\n", event_text(0, "m", {param(L"\u0150ort", L"1")}, {}));
    EXPECT_EQ("Message = m\n\xDC = 1\n", event_text(0, "m", {}, {param(L"\u00DC", L"1")}));
}

TEST(PrepareEventMsg, QuirkACharacterBeyondU_FFFFGivesTheLowBytesOfTwoUnitsEverywhere)
{
    // U+1F600 is D83D DE00, U+10FFFF is DBFF DFFF, U+10000 is D800 DC00.
    EXPECT_EQ(std::string("Message = m\nPort = \x3D\0\n", 22),
              event_text(0, "m", {param(L"Port", L"\U0001F600")}, {}));
    EXPECT_EQ("Message = m\nPort = \xFF\xFF\n",
              event_text(0, "m", {param(L"Port", L"\U0010FFFF")}, {}));
    EXPECT_EQ(std::string("Message = m\nPort = \0\0\n", 22),
              event_text(0, "m", {param(L"Port", L"\U00010000")}, {}));
    // Given as surrogates it is the same on both.
    const std::wstring pair{static_cast<wchar_t>(0xD83D), static_cast<wchar_t>(0xDE42)};
    EXPECT_EQ("Message = m\nPort = \x3D\x42\n", event_text(0, "m", {param(L"Port", pair)}, {}));
}

TEST(PrepareEventMsg, WhatIsNoCharacterIsOneByte)
{
    const std::wstring last{std::numeric_limits<wchar_t>::max(), L'!'};
    EXPECT_EQ("Message = m\nPort = \xFF!\n", event_text(0, "m", {param(L"Port", last)}, {}));
}

TEST(PrepareEventMsg, ResultMayBeTheMessageItself)
{
    std::string text = "lost";
    const KR_Event_Log writer("Video Server", false);
    writer.prepareEventMsg(ns__NotificationCode__value_0, text, {param(L"Port", L"80")}, {}, text);
    EXPECT_EQ("Message = lost\nPort = 80\n", text);
}

TEST(PrepareEventMsg, LeavesTheMessageAsItIs)
{
    std::string message = "lost";
    std::string result;
    const KR_Event_Log writer("Video Server", false);
    writer.prepareEventMsg(ns__NotificationCode__value_0, message, {}, {}, result);
    EXPECT_EQ("lost", message);
}

TEST(PrepareEventMsg, TakesManyAndLongParameters)
{
    const std::vector<ns__LogParam> many(1000, param(L"Port", std::wstring(1000, L'9')));
    const std::string text = event_text(0, "m", many, many);
    const std::string line = "Port = " + std::string(1000, '9') + "\n";
    EXPECT_EQ(12U + 2000U * line.size(), text.size());
    EXPECT_EQ(line, text.substr(text.size() - line.size()));
}

// A system in which reporting goes on until the test lets it end.
class Held_System : public Fake_System {
public:
    bool report(kr_platform::Event_Source* source, int type, int id,
                const std::string& text) override
    {
        is_reporting = true;
        while (!may_end)
            std::this_thread::yield();
        return Fake_System::report(source, type, id, text);
    }

    std::atomic<bool> is_reporting{false};
    std::atomic<bool> may_end{false};
};

TEST(KrEventLog, DestructionWaitsForAWriteThatIsUnderWay)
{
    Held_System system;
    const Log_Capture quiet;
    auto writer = std::make_unique<KR_Event_Log>("Video Server", false);
    writer->registerToEventLog();
    std::thread writing([&log = *writer] {
        const Log_Capture capture;
        log.write(1, 4, "text");
    });
    while (!system.is_reporting)
        std::this_thread::yield();
    std::thread destroying([object = std::move(writer)]() mutable {
        const Log_Capture capture;
        object.reset();
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    system.may_end = true;
    writing.join();
    destroying.join();
    EXPECT_EQ((Texts{"register Video Server", "report 1 type 4 id 1 text", "deregister 1"}),
              system.calls());
}

} // namespace

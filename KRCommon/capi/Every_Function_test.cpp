// What holds for every function of the C interface, whatever it does.

#include <KRCommon/capi/Functions_testing.h>
#include <KRCommon/capi/krcommon_c.h>
#include <tests/support/Temp_Folder.h>

#include <ace/Log_Msg.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <regex>
#include <set>
#include <string>
#include <thread>
#include <vector>

namespace {

using kr_c_testing::call;
using kr_c_testing::each_function;
using kr_c_testing::has_size;
using kr_c_testing::is_handle;

TEST(ListOfFunctions, IsThatOfTheHeader)
{
    const std::string header = read_text(KR_C_HEADER);
    const std::regex declaration(R"(\nKR_C_FUNCTION\([a-z0-9_]+\)\s+(kr_c_[a-z0-9_]+)\()");
    std::set<std::string> declared;
    for (auto at = std::sregex_iterator(header.begin(), header.end(), declaration);
         at != std::sregex_iterator(); ++at)
        declared.insert((*at)[1]);
    EXPECT_LT(100U, declared.size());
    std::set<std::string> listed;
    each_function([&](const char* each, auto) { listed.insert(each); });
    EXPECT_EQ(declared, listed);
}

// Every pointer is null, every number 0.
struct Nothing {
    template <typename Type>
    Type make()
    {
        return Type{};
    }
};

// Functions that return no error, and those that have nothing against nothing.
const std::set<std::string> content_with_nothing{
    "kr_c_guid_create",      "kr_c_hsv_to_rgb_batch",
    "kr_c_rgb_to_hsv_batch", "kr_c_color_presets_batch",
    "kr_c_log_set_level",    "kr_c_log_set_sizes",
    "kr_c_log_line"};

template <typename Check>
void each_that_can_fail(Check check)
{
    each_function([&](const char* name, auto function) {
        using Result = decltype(call(std::declval<Nothing&>(), function));
        if constexpr (std::is_same_v<Result, kr_c_error>)
            if (std::string(name) != "kr_c_capabilities" && std::string(name) != "kr_c_abi" &&
                std::string(name) != "kr_c_version")
                check(std::string(name), function);
    });
}

// A log, as it was before each test.
class EveryFunction : public testing::Test {
protected:
    EveryFunction() { ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::STDERR); }
    ~EveryFunction() override
    {
        kr_c_log_set_sizes(6'291'456, 104'857'600);
        ACE_Log_Msg::instance()->priority_mask(0x7FFFFFFF, ACE_Log_Msg::PROCESS);
        ACE_Log_Msg::instance()->set_flags(ACE_Log_Msg::STDERR);
    }
};

TEST_F(EveryFunction, RefusesNull)
{
    Nothing nothing;
    each_that_can_fail([&](const std::string& name, auto function) {
        const kr_c_error error = call(nothing, function);
        if (content_with_nothing.count(name) != 0)
            EXPECT_TRUE(error == KR_C_OK || error == KR_C_OUT_OF_RANGE) << name << ' ' << error;
        else
            EXPECT_EQ(KR_C_NULL_ARGUMENT, error) << name;
    });
}

// Arguments of which all are good, but for what a test changes. Arrays have room for `room` elements of
// the largest kind; sizes are `size`.
class Good {
public:
    static constexpr std::size_t room = 512;

    Good() { reset(); }

    template <typename Type>
    Type make()
    {
        if constexpr (std::is_pointer_v<Type>)
            return pointer<std::remove_pointer_t<Type>>();
        else if constexpr (std::is_same_v<Type, kr_c_size>)
            return size;
        else if constexpr (std::is_same_v<Type, kr_c_step>)
            return 4;
        else if constexpr (std::is_same_v<Type, kr_c_int64>)
            return 1000; // an instant; of kr_c_log_run() a millisecond
        else if constexpr (std::is_same_v<Type, kr_c_uint32>)
            return 4; // a level; a limit
        else
            return Type{};
    }

    void reset()
    {
        std::memset(numbers_, 0, sizeof numbers_);
        std::memset(outputs_, 0, sizeof outputs_);
        next_output_ = 0;
        structs_.clear();
        owned_ = nullptr;
    }

    std::size_t size = 4;
    std::uint32_t struct_size = 0;              // 0: the right one
    std::map<const void*, const void*> handles; // by kind; what lacks is `other`
    const void* other = nullptr;
    bool gives_handles = true; // for what is to be destroyed

private:
    template <typename Pointed>
    Pointed* pointer()
    {
        using Plain = std::remove_const_t<Pointed>;
        if constexpr (is_handle<Plain>) {
            return static_cast<Plain*>(const_cast<void*>(handle<Plain>()));
        } else if constexpr (std::is_pointer_v<Plain>) { // kr_c_owned_..., or borrowed bytes
            using Behind = std::remove_const_t<std::remove_pointer_t<Plain>>;
            if constexpr (is_handle<Behind>)
                owned_ = gives_handles ? const_cast<void*>(handle<Behind>()) : nullptr;
            return static_cast<Pointed*>(static_cast<void*>(&owned_));
        } else if constexpr (std::is_same_v<Plain, kr_c_parameter>) {
            return parameters_.data();
        } else if constexpr (has_size<Plain>) {
            return made<Plain>();
        } else if constexpr (std::is_const_v<Pointed>) {
            return reinterpret_cast<Pointed*>(numbers_);
        } else { // each output its own place
            return reinterpret_cast<Pointed*>(outputs_[next_output_++ % std::size(outputs_)]);
        }
    }

    template <typename Handle>
    const void* handle() const
    {
        const auto found = handles.find(&kind<Handle>);
        return found != handles.end() ? found->second : other;
    }

    template <typename Struct>
    Struct* made()
    {
        auto value = std::make_shared<Struct>();
        std::memset(static_cast<void*>(value.get()), 0, sizeof(Struct));
        value->size = struct_size != 0 ? struct_size : sizeof(Struct);
        structs_.push_back(value);
        return value.get();
    }

    alignas(8) unsigned char numbers_[room * 16] = {};
    alignas(8) unsigned char outputs_[8][room * 16] = {};
    std::size_t next_output_ = 0;
    std::array<kr_c_parameter, room> parameters_{};
    std::vector<std::shared_ptr<void>> structs_;
    void* owned_ = nullptr;

public:
    template <typename Handle>
    static inline char kind = 0;
};

// Whether a function has a parameter of such a kind.
template <template <typename> class Trait, typename Result, typename... Parameters>
constexpr bool has_parameter(Result (*)(Parameters...))
{
    return (Trait<Parameters>::value || ...);
}

template <typename Type>
struct Is_Handle : std::bool_constant<is_handle<std::remove_const_t<std::remove_pointer_t<Type>>>> {
};

// kr_c_owned_... that comes in, to be given back: the only parameter.
template <typename Result, typename... Parameters>
constexpr bool takes_back(Result (*)(Parameters...))
{
    return sizeof...(Parameters) == 1 &&
           (Is_Handle<std::remove_pointer_t<Parameters>>::value && ...);
}

bool makes(const std::string& name)
{
    return name.find("_create") == name.size() - 7;
}

TEST_F(EveryFunction, WithAHandleRefusesWhatIsNone)
{
    kr_c_owned_sha1 destroyed = nullptr;
    ASSERT_EQ(KR_C_OK, kr_c_sha1_create(&destroyed));
    const void* const number = destroyed;
    ASSERT_EQ(KR_C_OK, kr_c_sha1_destroy(&destroyed));
    int local = 0;
    const void* const none[] = {number, &local, reinterpret_cast<const void*>(UINTPTR_MAX),
                                reinterpret_cast<const void*>(std::uintptr_t{2})};
    int tried = 0;
    each_that_can_fail([&](const std::string& name, auto function) {
        constexpr bool has_handle = has_parameter<Is_Handle>(decltype(function){nullptr});
        constexpr bool destroys = takes_back(decltype(function){nullptr});
        if constexpr (has_handle || destroys) {
            if (makes(name))
                return;
            for (const void* const each : none) {
                Good good;
                good.other = each;
                EXPECT_EQ(KR_C_BAD_HANDLE, call(good, function)) << name << ' ' << each;
                ++tried;
            }
        }
    });
    EXPECT_LT(100, tried);
}

TEST_F(EveryFunction, WithAHandleRefusesThoseOfOtherKinds)
{
    kr_c_owned_sha1 sha1 = nullptr;
    kr_c_owned_url url = nullptr;
    ASSERT_EQ(KR_C_OK, kr_c_sha1_create(&sha1));
    ASSERT_EQ(KR_C_OK, kr_c_url_parse("rtsp://a/b", 10, &url, nullptr));
    each_that_can_fail([&](const std::string& name, auto function) {
        constexpr bool has_handle = has_parameter<Is_Handle>(decltype(function){nullptr});
        constexpr bool destroys = takes_back(decltype(function){nullptr});
        if constexpr (has_handle || destroys) {
            if (makes(name))
                return;
            Good good;
            good.other = name.find("kr_c_sha1") == 0 ? static_cast<void*>(url) : sha1;
            EXPECT_EQ(KR_C_BAD_HANDLE, call(good, function)) << name;
        }
    });
    EXPECT_EQ(KR_C_OK, kr_c_sha1_destroy(&sha1));
    EXPECT_EQ(KR_C_OK, kr_c_url_destroy(&url));
}

template <typename Type>
struct Is_Sized : std::bool_constant<std::is_pointer_v<Type> &&
                                     has_size<std::remove_const_t<std::remove_pointer_t<Type>>>> {
};

// The handles that functions work with.
class Some_Handles {
public:
    Some_Handles()
    {
        kr_c_sha1_create(&sha1);
        kr_c_url_parse("rtsp://u:p@a/b?c=d", 18, &url, nullptr);
        kr_c_record_create(&record);
        const std::string document = "<configuration><colors><presets>"
                                     "<preset color='red' rgb='FF0000' hue_from='340' hue_to='20' "
                                     "sat_from='0.5' sat_to='1' val_from='0.5' val_to='1'/>"
                                     "</presets></colors></configuration>";
        kr_c_configuration_check(document.data(), document.size(), &configuration);
        kr_c_configuration_colors(configuration, &colors);
        kr_c_event_log_create("test", 4, 0, &event_log);
        kr_c_log_open(folder.path().data(), folder.path().size(), "p", 1, &log);
        ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::STDERR);
    }

    ~Some_Handles()
    {
        kr_c_sha1_destroy(&sha1);
        kr_c_url_destroy(&url);
        kr_c_record_destroy(&record);
        kr_c_colors_destroy(&colors);
        kr_c_configuration_destroy(&configuration);
        kr_c_event_log_destroy(&event_log);
        EXPECT_EQ(KR_C_OK, kr_c_log_close(&log));
        ACE_Log_Msg::instance()->msg_ostream(&std::cerr); // the file goes with the folder
        ACE_Log_Msg::instance()->clr_flags(ACE_Log_Msg::OSTREAM);
    }

    Some_Handles(const Some_Handles&) = delete;
    Some_Handles& operator=(const Some_Handles&) = delete;

    void lend(Good& good) const
    {
        good.handles[&Good::kind<kr_c_sha1>] = sha1;
        good.handles[&Good::kind<kr_c_url>] = url;
        good.handles[&Good::kind<kr_c_record>] = record;
        good.handles[&Good::kind<kr_c_colors>] = colors;
        good.handles[&Good::kind<kr_c_configuration>] = configuration;
        good.handles[&Good::kind<kr_c_event_log>] = event_log;
        good.handles[&Good::kind<kr_c_log>] = log;
        good.gives_handles = false;
    }

    Temp_Folder folder;
    kr_c_owned_sha1 sha1 = nullptr;
    kr_c_owned_url url = nullptr;
    kr_c_owned_record record = nullptr;
    kr_c_owned_colors colors = nullptr;
    kr_c_owned_configuration configuration = nullptr;
    kr_c_owned_event_log event_log = nullptr;
    kr_c_owned_log log = nullptr;
};

TEST_F(EveryFunction, RefusesStructsWhoseSizeIsNotSet)
{
    const Some_Handles handles;
    int tried = 0;
    each_that_can_fail([&](const std::string& name, auto function) {
        if constexpr (has_parameter<Is_Sized>(decltype(function){nullptr})) {
            for (const std::uint32_t size : {1U, 8U, 65'537U, 0xFFFFFFFFU}) {
                Good good;
                handles.lend(good);
                good.struct_size = size;
                EXPECT_EQ(KR_C_BAD_STRUCT_SIZE, call(good, function)) << name << ' ' << size;
                ++tried;
            }
        }
    });
    EXPECT_LT(70, tried);
}

TEST_F(EveryFunction, TakesLargerStructsAndWritesOnlyWhatItKnows)
{
    struct {
        kr_c_record_status known;
        unsigned char later[16];
    } status;
    std::memset(&status, 0xEE, sizeof status);
    status.known.size = sizeof status;
    ASSERT_EQ(KR_C_OK, kr_c_view_check(nullptr, 0, &status.known));
    EXPECT_EQ(sizeof(kr_c_record_status), status.known.size);
    EXPECT_EQ(16, std::count(std::begin(status.later), std::end(status.later), 0xEE));
}

template <typename Type>
struct Is_Size : std::is_same<Type, kr_c_size> {
};

// Where a size is an index, or counts what is passed over: any number is one.
const std::set<std::string> takes_any_size{"kr_c_configuration_get_error",
                                           "kr_c_configuration_get_range"};

TEST_F(EveryFunction, RefusesSizesThatNoObjectHas)
{
    const Some_Handles handles;
    int tried = 0;
    each_that_can_fail([&](const std::string& name, auto function) {
        if constexpr (has_parameter<Is_Size>(decltype(function){nullptr})) {
            if (name == "kr_c_log_set_sizes") // of files; the type is the same in 32 bits
                return;
            for (const std::size_t size :
                 {std::size_t{PTRDIFF_MAX} + 1, std::numeric_limits<std::size_t>::max()}) {
                Good good;
                handles.lend(good);
                good.size = size;
                const kr_c_error expected = takes_any_size.count(name) != 0    ? KR_C_NOT_FOUND
                                            : name == "kr_c_record_add_colors" ? KR_C_NOT_FOUND
                                                                               : KR_C_OUT_OF_RANGE;
                EXPECT_EQ(expected, call(good, function)) << name << ' ' << size;
                ++tried;
            }
        }
    });
    EXPECT_LT(80, tried);
}

bool is_known(kr_c_error error)
{
    return std::string(kr_c_error_text(error)) != "unknown error" && error != KR_C_INTERNAL &&
           error != KR_C_NO_MEMORY;
}

TEST_F(EveryFunction, RunsOnTwoThreadsWithTheSameHandles)
{
    const Some_Handles handles;
    const auto work = [&handles] {
        for (int i = 0; i < 20; ++i)
            each_that_can_fail([&](const std::string& name, auto function) {
                // These would reach the system's event log, or put the log's folder elsewhere.
                if (name == "kr_c_log_open" || name == "kr_c_event_log_declare" ||
                    name == "kr_c_event_log_register")
                    return;
                auto good = std::make_unique<Good>();
                handles.lend(*good);
                const kr_c_error error = call(*good, function);
                EXPECT_TRUE(is_known(error)) << name << ' ' << error;
            });
    };
    std::thread first(work);
    std::thread second(work);
    first.join();
    second.join();
}

TEST_F(EveryFunction, WithAHandleSurvivesThatItIsGivenBackMeanwhile)
{
    for (int i = 0; i < 50; ++i) {
        kr_c_owned_sha1 sha1 = nullptr;
        ASSERT_EQ(KR_C_OK, kr_c_sha1_create(&sha1));
        kr_c_sha1* const used = sha1;
        std::thread user([used] {
            const std::vector<unsigned char> data(100'000);
            for (kr_c_error error = KR_C_OK; error == KR_C_OK;)
                error = kr_c_sha1_feed(used, data.data(), data.size());
        });
        EXPECT_EQ(KR_C_OK, kr_c_sha1_destroy(&sha1));
        user.join();
        EXPECT_EQ(KR_C_BAD_HANDLE, kr_c_sha1_reset(used));
    }
}

TEST(Handles, NullIsGivenBackWithoutHarmAndAHandleOnce)
{
    kr_c_owned_record record = nullptr;
    EXPECT_EQ(KR_C_OK, kr_c_record_destroy(&record));
    EXPECT_EQ(KR_C_NULL_ARGUMENT, kr_c_record_destroy(nullptr));
    ASSERT_EQ(KR_C_OK, kr_c_record_create(&record));
    kr_c_owned_record copy = record;
    EXPECT_EQ(KR_C_OK, kr_c_record_destroy(&record));
    EXPECT_EQ(nullptr, record);
    EXPECT_EQ(KR_C_BAD_HANDLE, kr_c_record_destroy(&copy));
    EXPECT_NE(nullptr, copy);
}

TEST(Handles, NumbersAreNotGivenAgain)
{
    std::set<void*> numbers;
    for (int i = 0; i < 1000; ++i) {
        kr_c_owned_sha1 sha1 = nullptr;
        ASSERT_EQ(KR_C_OK, kr_c_sha1_create(&sha1));
        EXPECT_TRUE(numbers.insert(sha1).second);
        EXPECT_EQ(1U, reinterpret_cast<std::uintptr_t>(sha1) % 2);
        ASSERT_EQ(KR_C_OK, kr_c_sha1_destroy(&sha1));
    }
}

TEST(Errors, EachHasATextOfItsOwn)
{
    std::set<std::string> texts;
    for (const kr_c_error error :
         {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 101, 102, 103, 104, 105, 106, 107}) {
        EXPECT_TRUE(texts.insert(kr_c_error_text(error)).second) << error;
        EXPECT_STRNE("unknown error", kr_c_error_text(error));
    }
    for (const kr_c_error error : {-1, 14, 100, 108, INT32_MAX, INT32_MIN})
        EXPECT_STREQ("unknown error", kr_c_error_text(error));
    EXPECT_STREQ("out of memory", kr_c_error_text(KR_C_NO_MEMORY));
    EXPECT_STREQ("the port is no number", kr_c_error_text(KR_C_TEXT_PORT));
}

} // namespace

// Memory that runs out is an error code in C, and what was to be made is not there.

#include <KRCommon/capi/krcommon_c.h>
#include <tests/no_memory/Failing_New.h>

#include <gtest/gtest.h>

#include <array>
#include <string>

namespace {

// Each allocation of a call fails once. Gives how many did.
template <typename Prepare, typename Call>
int expect_code(Prepare prepare, Call call_function)
{
    kr_c_error error = KR_C_OK;
    int failures = 0;
    fail_each_allocation(
        prepare, [&] { error = call_function(); },
        [&](bool has_failed) {
            EXPECT_EQ(has_failed ? KR_C_NO_MEMORY : KR_C_OK, error);
            failures += has_failed ? 1 : 0;
        });
    return failures;
}

void nothing() {}

TEST(No_Memory_C, IsACodeWhereHandlesAreMade)
{
    kr_c_owned_record record = nullptr;
    kr_c_owned_url url = nullptr;
    const std::string text = "rtsp://admin:a long password of many letters@a.camera.of.ours/live";
    EXPECT_LT(0, expect_code(nothing, [&] {
                  const kr_c_error error = kr_c_record_create(&record);
                  EXPECT_EQ(error == KR_C_OK, record != nullptr);
                  kr_c_record_destroy(&record);
                  return error;
              }));
    EXPECT_LT(0, expect_code(nothing, [&] {
                  const kr_c_error error = kr_c_url_parse(text.data(), text.size(), &url, nullptr);
                  EXPECT_EQ(error == KR_C_OK, url != nullptr);
                  kr_c_url_destroy(&url);
                  return error;
              }));
}

TEST(No_Memory_C, IsACodeWhereTextsAndRecordsAreMade)
{
    std::array<char, 400> out{};
    const std::string text(200, 'x');
    std::size_t length = 0;
    // On Windows texts have their memory from inside a DLL, where none fails.
    expect_code(nothing, [&] {
        return kr_c_base64_encode(text.data(), text.size(), 0, out.data(), out.size(), &length);
    });
    kr_c_owned_record record = nullptr;
    kr_c_instance_columns columns{};
    columns.size = sizeof columns;
    const auto begin_anew = [&] {
        kr_c_record_destroy(&record);
        EXPECT_EQ(KR_C_OK, kr_c_record_create(&record));
    };
    EXPECT_LT(0, expect_code(begin_anew, [&] {
                  const kr_c_error error = kr_c_record_add_instances(record, &columns, 5);
                  std::size_t count = 9;
                  EXPECT_EQ(KR_C_OK, kr_c_record_instance_count(record, &count));
                  EXPECT_EQ(error == KR_C_OK ? 5U : 0U, count);
                  return error;
              }));
    EXPECT_EQ(KR_C_OK, kr_c_record_destroy(&record));
}

} // namespace

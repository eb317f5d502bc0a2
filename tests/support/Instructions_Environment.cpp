// In a test program that ctest runs once for each set of instructions: skips all of it where the
// processor lacks one of those that KR_INSTRUCTIONS names, and fails when they are not used.

#include <KRCommon/kernels/Instructions.h>

#include <tests/support/Kernel_Test.h>

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

class Instructions_Environment : public testing::Environment {
    void SetUp() override
    {
        const char* const wanted = std::getenv("KR_INSTRUCTIONS");
        if (wanted == nullptr)
            return;
        if (!is_within(kr_internal::instructions_named(wanted),
                       kr_internal::present_instructions()))
            GTEST_SKIP() << "no test runs: the processor has not all of: " << wanted;
        ASSERT_STREQ(wanted, kr_instructions());
    }
};

const testing::Environment* const environment =
    testing::AddGlobalTestEnvironment(new Instructions_Environment);

} // namespace

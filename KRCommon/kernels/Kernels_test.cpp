#include <KRCommon/kernels/Kernels.h>

#include <KRCommon/kernels/Instructions.h>
#include <KRCommon/platform/Platform_testing.h>

#include <tests/support/Kernel_Test.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

namespace {

using kr_internal::choose_kernels;
using kr_internal::Instruction_Set;
using kr_internal::instructions_named;
using kr_internal::Kernels;
using kr_internal::kernels;
using kr_internal::kernels_for;
using kr_internal::kernels_in_use;
using kr_internal::Level;
using kr_internal::present_instructions;

// As before the first use, for as long as it lives.
class Not_Chosen {
public:
    Not_Chosen() : before_(kernels_in_use.exchange(nullptr)) {}
    ~Not_Chosen() { kernels_in_use.store(before_); }
    Not_Chosen(const Not_Chosen&) = delete;
    Not_Chosen& operator=(const Not_Chosen&) = delete;

private:
    const Kernels* before_;
};

TEST(Kernels, AreChosenByProcessorAndEnvironment)
{
    const Not_Chosen not_chosen;
    const char* const limit = std::getenv("KR_INSTRUCTIONS");
    const Instruction_Set expected =
        common(present_instructions(), instructions_named(limit != nullptr ? limit : ""));
    EXPECT_EQ(&kernels_for(expected), &kernels());
    EXPECT_EQ(expected, kernels().instructions);
    EXPECT_EQ(kr_internal::name_of(expected), kr_instructions());
}

TEST(Kernels, AreChosenOnce)
{
    const Not_Chosen not_chosen;
    const Kernels* const first = &kernels();
    EXPECT_EQ(first, kernels_in_use.load());
    EXPECT_EQ(first, &kernels());
}

TEST(Kernels, ThreadsThatChooseAtOnceChooseTheSame)
{
    for (int round = 0; round < 100; ++round) {
        const Not_Chosen not_chosen;
        std::vector<const Kernels*> chosen(4);
        std::vector<std::thread> threads;
        for (const Kernels*& table : chosen)
            threads.emplace_back([&table] { table = &kernels(); });
        for (std::thread& thread : threads)
            thread.join();
        for (const Kernels* const table : chosen)
            ASSERT_EQ(&kernels(), table);
    }
}

TEST(Kernels, HaveTheNamesOfTheirInstructions)
{
    const auto name = [](Level level, bool sha, bool aes) {
        return kr_internal::name_of({level, sha, aes});
    };
    EXPECT_EQ("portable", name(Level::portable, false, false));
    EXPECT_EQ("sse2", name(Level::sse2, false, false));
    EXPECT_EQ("ssse3 sha", name(Level::ssse3, true, false));
    EXPECT_EQ("avx2 sha aes", name(Level::avx2, true, true));
    EXPECT_EQ("avx512 aes", name(Level::avx512, false, true));
}

TEST(Kernels, OfEachSetAreWhole)
{
    for (std::size_t level = 0; level < kr_internal::level_names.size(); ++level) {
        const Instruction_Set set{static_cast<Level>(level), false, true};
        const Kernels& table = kernels_for(set);
        EXPECT_EQ(set, table.instructions);
        EXPECT_NE(nullptr, table.encode_hex);
        EXPECT_NE(nullptr, table.encode_base64);
        EXPECT_NE(nullptr, table.decode_base64);
        EXPECT_NE(nullptr, table.rgb_to_hsv);
        EXPECT_NE(nullptr, table.hsv_to_rgb);
        EXPECT_NE(nullptr, table.compress_sha1);
        EXPECT_NE(nullptr, table.compress_sha256);
        EXPECT_NE(nullptr, table.expand_aes_key);
        EXPECT_NE(nullptr, table.invert_aes_keys);
        EXPECT_NE(nullptr, table.encrypt_aes);
        EXPECT_NE(nullptr, table.decrypt_aes);
    }
}

TEST(Kernels, ATestForcesASetForAWhile)
{
    const Kernels* const before = &kernels();
    {
        const kr_internal::Forced_Kernels forced(Instruction_Set{});
        EXPECT_STREQ("portable", kr_instructions());
    }
    EXPECT_EQ(before, &kernels());
}

#ifdef KR_PORTABLE
TEST(Kernels, OfAPortableBuildAreThePortableOnes)
{
    EXPECT_STREQ("portable", kr_instructions());
}
#endif

} // namespace

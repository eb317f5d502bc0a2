#include <KRCommon/kernels/Instruction_Set.h>

#include <tests/support/Kernel_Test.h>

#include <gtest/gtest.h>

namespace {

using kr_internal::common;
using kr_internal::Instruction_Set;
using kr_internal::instructions_named;
using kr_internal::instructions_of;
using kr_internal::is_within;
using kr_internal::Level;
using kr_platform::Processor;

constexpr Instruction_Set everything{Level::avx512, true, true};

Processor with_level(int count)
{
    Processor processor;
    processor.sse2 = count > 0;
    processor.ssse3 = count > 1;
    processor.avx2 = count > 2;
    processor.avx512 = count > 3;
    return processor;
}

TEST(InstructionSet, OfAProcessorIsItsHighestLevel)
{
    EXPECT_EQ((Instruction_Set{}), instructions_of(with_level(0)));
    EXPECT_EQ((Instruction_Set{Level::sse2, false, false}), instructions_of(with_level(1)));
    EXPECT_EQ((Instruction_Set{Level::ssse3, false, false}), instructions_of(with_level(2)));
    EXPECT_EQ((Instruction_Set{Level::avx2, false, false}), instructions_of(with_level(3)));
    EXPECT_EQ((Instruction_Set{Level::avx512, false, false}), instructions_of(with_level(4)));
}

TEST(InstructionSet, ALevelCountsOnlyWithThoseBeforeIt)
{
    Processor processor = with_level(4);
    processor.avx2 = false;
    EXPECT_EQ(Level::ssse3, instructions_of(processor).level);
    processor.ssse3 = false;
    EXPECT_EQ(Level::sse2, instructions_of(processor).level);
    processor.sse2 = false;
    EXPECT_EQ(Level::portable, instructions_of(processor).level);
}

TEST(InstructionSet, ShaAndAesCountFromSsse3On)
{
    for (int count = 0; count <= 4; ++count) {
        Processor processor = with_level(count);
        processor.sha = true;
        EXPECT_EQ(count >= 2, instructions_of(processor).sha) << count;
        EXPECT_FALSE(instructions_of(processor).aes) << count;
        processor.sha = false;
        processor.aes = true;
        EXPECT_FALSE(instructions_of(processor).sha) << count;
        EXPECT_EQ(count >= 2, instructions_of(processor).aes) << count;
    }
}

TEST(InstructionSet, IsReadAsItIsWritten)
{
    for (const Instruction_Set set : kr_internal::all_instruction_sets())
        EXPECT_EQ(set, instructions_named(kr_internal::name_of(set)));
    EXPECT_EQ((Instruction_Set{Level::avx2, true, false}), instructions_named("avx2 sha"));
    EXPECT_EQ((Instruction_Set{Level::avx2, false, true}), instructions_named("avx2 aes"));
}

TEST(InstructionSet, WordsStandInAnyOrderWithBlanksOrCommas)
{
    const Instruction_Set expected{Level::ssse3, true, true};
    for (const char* const text : {"ssse3 sha aes", "aes,sha,ssse3", " sha , aes,  ssse3 ,,",
                                   "sse2 ssse3 portable aes sha sha"})
        EXPECT_EQ(expected, instructions_named(text)) << text;
}

TEST(InstructionSet, AnEmptyTextAllowsEverything)
{
    EXPECT_EQ(everything, instructions_named(""));
}

TEST(InstructionSet, AnUnknownWordMakesItPortable)
{
    for (const char* const text : {"avx", "avx22", "AVX2", "avx2;sha", "avx2 sha avx10", "sse",
                                   "none", "avx2 aes\t", "0", "avx2\n"})
        EXPECT_EQ(Instruction_Set{}, instructions_named(text)) << text;
}

TEST(InstructionSet, WithoutALevelNothingIsLeft)
{
    for (const char* const text : {" ", ",", "sha aes", "sse2 sha aes", "portable aes"})
        EXPECT_TRUE(is_within(instructions_named(text), {Level::sse2, false, false})) << text;
}

TEST(InstructionSet, CommonHasWhatBothHave)
{
    const Instruction_Set avx2_sha{Level::avx2, true, false};
    EXPECT_EQ(avx2_sha, common(avx2_sha, everything));
    EXPECT_EQ((Instruction_Set{Level::ssse3, true, false}),
              common(avx2_sha, {Level::ssse3, true, true}));
    EXPECT_EQ((Instruction_Set{Level::ssse3, false, false}),
              common(avx2_sha, {Level::ssse3, false, true}));
    EXPECT_EQ((Instruction_Set{Level::sse2, false, false}),
              common(everything, {Level::sse2, true, true}));
}

TEST(InstructionSet, IsWithinAnotherThatHasAllOfIt)
{
    EXPECT_TRUE(is_within({}, {}));
    EXPECT_TRUE(is_within({Level::avx2, true, false}, everything));
    EXPECT_FALSE(is_within(everything, {Level::avx2, true, true}));
    EXPECT_FALSE(is_within({Level::ssse3, true, false}, {Level::avx2, false, true}));
}

} // namespace

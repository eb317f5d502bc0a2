#include <KRCommon/frame/SEH.h>

#include <gtest/gtest.h>

#include <type_traits>

namespace {

static_assert(sizeof(_MINIDUMP_TYPE) == 4);
static_assert(!std::is_default_constructible_v<KR_SEH>);

TEST(KrSeh, TheDumpTypeIsZeroUntilItIsSet)
{
    KR_SEH settings = *KR_SEH::instance();
    EXPECT_EQ(0U, static_cast<unsigned>(settings.get_dump_type()));
    settings.init();
    EXPECT_EQ(0U, static_cast<unsigned>(settings.get_dump_type()));
    settings.set_dump_type(MiniDumpWithFullMemory);
    EXPECT_EQ(2U, static_cast<unsigned>(settings.get_dump_type()));
    settings.init();
    EXPECT_EQ(2U, static_cast<unsigned>(settings.get_dump_type()));
}

TEST(KrSeh, AnyCombinationIsStoredUnchecked)
{
    KR_SEH settings = *KR_SEH::instance();
    settings.set_dump_type(static_cast<_MINIDUMP_TYPE>(0x1807));
    EXPECT_EQ(0x1807U, static_cast<unsigned>(settings.get_dump_type()));
}

TEST(KrSeh, ThereIsOneInstanceAndAssignmentCopiesTheType)
{
    EXPECT_EQ(KR_SEH::instance(), KR_SEH::instance());
    KR_SEH other = *KR_SEH::instance();
    other.set_dump_type(MiniDumpWithDataSegs);
    const KR_SEH before = *KR_SEH::instance();
    *KR_SEH::instance() = other;
    EXPECT_EQ(1U, static_cast<unsigned>(KR_SEH::instance()->get_dump_type()));
    *KR_SEH::instance() = before;
    EXPECT_EQ(0U, static_cast<unsigned>(KR_SEH::instance()->get_dump_type()));
}

} // namespace

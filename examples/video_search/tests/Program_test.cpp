#include "host/Program.h"

#include <gtest/gtest.h>

#include <stdexcept>

using namespace video_search;

namespace {

int code_of(const std::function<int()>& work)
{
    return run_program("prog", work);
}

TEST(Run_Program, GivesTheExitCodeOfTheWork)
{
    EXPECT_EQ(130, code_of([] { return interrupted; }));
}

TEST(Run_Program, AnErrorIsOneLineAndTheCodeOfItsKind)
{
    testing::internal::CaptureStderr();
    EXPECT_EQ(2, code_of([]() -> int { throw Usage_Error("--x: what?"); }));
    EXPECT_EQ(1, code_of([]() -> int { throw std::runtime_error("a file is lost"); }));
    EXPECT_EQ("prog: --x: what?\nprog: a file is lost\n", testing::internal::GetCapturedStderr());
}

TEST(To_Time, ReadsWithAndWithoutAFraction)
{
    EXPECT_EQ(ACE_Time_Value(1'394'020'800), to_time("2014/03/05 12:00:00"));
    EXPECT_EQ(ACE_Time_Value(1'394'020'800, 5), to_time("2014/03/05 12:00:00.000005"));
    EXPECT_EQ(ACE_Time_Value::zero, to_time("1970/01/01 00:00:00"));
}

TEST(To_Time, RefusesWhatIsNoTime)
{
    for (const char* const text :
         {"", "noon", "2014/03/05", "2014/03/05 12:00:00.5", "2014/03/05 12:00:00 ",
          " 2014/03/05 12:00:00", "2014/3/5 12:00:00", "2014/02/29 12:00:00", "2014/13/01 12:00:00",
          "2014/03/05 24:00:00", "2014/03/05 12:60:00", "2014-03-05 12:00:00"})
        EXPECT_FALSE(to_time(text).has_value()) << text;
}

TEST(To_Time, RefusesYearsThatTheLibraryDoesNotConvert)
{
    EXPECT_FALSE(to_time("1969/12/31 23:59:59").has_value());
    EXPECT_FALSE(to_time("1969/12/31 23:59:59.999999").has_value());
    EXPECT_TRUE(to_time("3000/12/31 23:59:59").has_value());
    EXPECT_FALSE(to_time("3001/01/01 00:00:00").has_value());
}

} // namespace

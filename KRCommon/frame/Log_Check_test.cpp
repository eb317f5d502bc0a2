#include <KRCommon/frame/Log_Check.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace {

using kr_internal::check_format_for;
using kr_internal::Format_Fault;

template <typename... Arguments>
constexpr Format_Fault fault_in(const char* format)
{
    return check_format_for<Arguments...>(format).fault;
}

template <typename T>
constexpr bool fits(const char* format)
{
    return fault_in<T>(format) == Format_Fault::none;
}

enum Plain { plain };
enum class Small : unsigned char { a };
enum class Big : std::uint64_t { a };

} // namespace

TEST(LogCheck, IsDoneByTheCompiler)
{
    static_assert(fault_in<const char*, int>("%T T%04t INF %s: %d frames\n") == Format_Fault::none);
    static_assert(fault_in<int>("%s") == Format_Fault::text_wanted);
}

TEST(LogCheck, TextsOfEveryFormAreTexts)
{
    for (const char* const format : {"%s", "%C", "%p", "%20s", "%-8.3s", "100%% %s"}) {
        SCOPED_TRACE(format);
        EXPECT_TRUE(fits<const char*>(format));
        EXPECT_TRUE(fits<char*>(format));
        EXPECT_TRUE(fits<char[5]>(format));
        EXPECT_TRUE(fits<std::string>(format));
        EXPECT_TRUE(fits<std::string_view>(format));
        EXPECT_TRUE(fits<std::nullptr_t>(format));
        EXPECT_EQ(Format_Fault::text_wanted, fault_in<int>(format));
        EXPECT_EQ(Format_Fault::text_wanted, fault_in<double>(format));
    }
}

TEST(LogCheck, SignedDirectivesTakeWhatAnIntHolds)
{
    for (const char* const format : {"%d", "%i", "%c", "%+06d"}) {
        SCOPED_TRACE(format);
        EXPECT_TRUE(fits<int>(format));
        EXPECT_TRUE(fits<short>(format));
        EXPECT_TRUE(fits<unsigned short>(format));
        EXPECT_TRUE(fits<char>(format));
        EXPECT_TRUE(fits<bool>(format));
        EXPECT_TRUE(fits<Small>(format));
        EXPECT_TRUE(fits<Plain>(format)); // whatever sign the compiler gives it
        EXPECT_EQ(Format_Fault::int_wanted, fault_in<unsigned>(format));
        EXPECT_EQ(Format_Fault::int_wanted, fault_in<std::int64_t>(format));
        EXPECT_EQ(Format_Fault::int_wanted, fault_in<float>(format));
        EXPECT_EQ(Format_Fault::int_wanted, fault_in<std::string>(format));
    }
}

TEST(LogCheck, UnsignedDirectivesTakeUnsignedNumbers)
{
    EXPECT_TRUE(fits<unsigned>("%u"));
    EXPECT_TRUE(fits<unsigned char>("%u"));
    EXPECT_TRUE(fits<Plain>("%u"));
    EXPECT_EQ(Format_Fault::unsigned_wanted, fault_in<int>("%u"));
    EXPECT_EQ(Format_Fault::unsigned_wanted, fault_in<std::uint64_t>("%u"));
    EXPECT_EQ(Format_Fault::unsigned_wanted, fault_in<const char*>("%u"));
}

TEST(LogCheck, BitsAreOfEitherSign)
{
    for (const char* const format : {"%x", "%X", "%o", "%08x", "%#x"}) {
        SCOPED_TRACE(format);
        EXPECT_TRUE(fits<unsigned>(format));
        EXPECT_TRUE(fits<int>(format));
        EXPECT_EQ(Format_Fault::unsigned_wanted, fault_in<std::int64_t>(format));
        EXPECT_EQ(Format_Fault::unsigned_wanted, fault_in<double>(format));
    }
}

TEST(LogCheck, SixtyFourBitsAreTakenAsSuch)
{
    EXPECT_TRUE(fits<std::uint64_t>("%Q"));
    EXPECT_TRUE(fits<unsigned long long>("%020Q"));
    EXPECT_TRUE(fits<Big>("%Q"));
    EXPECT_TRUE(fits<std::int64_t>("%q"));
    EXPECT_EQ(Format_Fault::uint_64_wanted, fault_in<std::int64_t>("%Q"));
    EXPECT_EQ(Format_Fault::uint_64_wanted, fault_in<unsigned>("%Q"));
    EXPECT_EQ(Format_Fault::int_64_wanted, fault_in<std::uint64_t>("%q"));
    EXPECT_EQ(Format_Fault::int_64_wanted, fault_in<int>("%q"));
}

TEST(LogCheck, ASizeIsNo64BitNumberWhereItHas32)
{
    EXPECT_EQ(sizeof(std::size_t) == 8, fits<std::size_t>("%Q"));
    EXPECT_TRUE(fits<std::size_t>("%B"));
    EXPECT_TRUE(fits<std::ptrdiff_t>("%b"));
    EXPECT_EQ(Format_Fault::size_wanted, fault_in<std::ptrdiff_t>("%B"));
    EXPECT_EQ(Format_Fault::size_wanted, fault_in<std::size_t>("%b"));
}

TEST(LogCheck, ALongHasACapitalOfItsOwn)
{
    EXPECT_TRUE(fits<long>("%Ld"));
    EXPECT_TRUE(fits<unsigned long>("%Lu"));
    EXPECT_TRUE(fits<unsigned long>("%Lx"));
    EXPECT_EQ(sizeof(long) == 4, fits<int>("%Ld"));
    EXPECT_EQ(sizeof(long) == 4, fits<unsigned>("%Lu"));
    EXPECT_EQ(Format_Fault::long_wanted, fault_in<unsigned long>("%Ld"));
    for (const char* const format : {"%ld", "%lu", "%lld", "%lx", "%lf"}) {
        SCOPED_TRACE(format);
        EXPECT_EQ(Format_Fault::long_without_capital, fault_in<long>(format));
    }
}

TEST(LogCheck, TheLineNumberMayStandBeforeOtherText)
{
    EXPECT_EQ(Format_Fault::none, fault_in<>("at %N:%l.\n"));
    EXPECT_EQ(Format_Fault::none, fault_in<>("line %l, %N\n"));
    EXPECT_EQ(Format_Fault::none, fault_in<>("%l"));
}

TEST(LogCheck, RealsAreOfTheirOwn)
{
    for (const char* const format : {"%f", "%e", "%G", "%8.2f"}) {
        SCOPED_TRACE(format);
        EXPECT_TRUE(fits<double>(format));
        EXPECT_TRUE(fits<float>(format));
        EXPECT_EQ(Format_Fault::real_wanted, fault_in<int>(format));
        EXPECT_EQ(Format_Fault::real_wanted, fault_in<long double>(format));
    }
    EXPECT_TRUE(fits<long double>("%Lf"));
    EXPECT_EQ(Format_Fault::real_wanted, fault_in<double>("%Lf"));
}

TEST(LogCheck, WhatTheLineKnowsItselfTakesNoArgument)
{
    EXPECT_EQ(Format_Fault::none, fault_in<>("%T %D %t %04t %N %l %M %m %n %P %R %%\n"));
    EXPECT_EQ(Format_Fault::none, fault_in<>(""));
}

TEST(LogCheck, CountsDirectivesAndArguments)
{
    EXPECT_EQ(Format_Fault::argument_missing, fault_in<>("%d\n"));
    EXPECT_EQ(Format_Fault::argument_missing, (fault_in<const char*>("%s: %d\n")));
    EXPECT_EQ(Format_Fault::argument_left, (fault_in<int>("%T\n")));
    EXPECT_EQ(Format_Fault::argument_left, (fault_in<int, int>("%d %%d\n")));
}

TEST(LogCheck, TellsWhichArgumentIsAtFault)
{
    EXPECT_EQ(2u, (check_format_for<int, int, int>("%d %s %d").argument));
    EXPECT_EQ(3u, (check_format_for<int, int, int>("%d %d").argument));
}

TEST(LogCheck, RefusesDirectivesThatALineHasNoUseFor)
{
    // Calls, pointers, wide text, ends of the process, stack traces, widths from arguments.
    for (const char* const format : {"%r", "%@", "%W", "%w", "%z", "%Z", "%a", "%?",  "%*d", "%hd",
                                     "%S", "%{", "%}", "%I", "%$", "%:", "%y", "%#T", "%#D", "%"}) {
        SCOPED_TRACE(format);
        EXPECT_EQ(Format_Fault::unknown_directive, fault_in<int>(format));
    }
}

TEST(LogCheck, AddsUpWidthsAndPrecisions)
{
    EXPECT_EQ(0u, check_format_for<>("%T\n").padding);
    EXPECT_EQ(4u, check_format_for<>("%T T%04t\n").padding);
    EXPECT_EQ(10u + 2u + 100u, (check_format_for<double, int>("%10.2f %0100d").padding));
}

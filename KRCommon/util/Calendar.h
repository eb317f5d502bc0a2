#pragma once

/// \file
/// The Gregorian calendar, extended to both sides: days and months.
///
/// Threads: no state. Never throws.

#include <cstdint>

namespace kr_internal {

// The Gregorian calendar repeats every 400 years, an era of 146,097 days. Years are counted from
// March 1st, so that the leap day is their last. The bias makes all years of interest positive.
constexpr int years_per_era = 400;
constexpr int days_per_era = 146'097;
constexpr int bias_eras = 3'000;
constexpr int bias_years = bias_eras * years_per_era;
constexpr int days_before_1970 = 719'468; // since March 1st of the year 0
constexpr int bias_days = days_before_1970 + bias_eras * days_per_era;

// Days from 1970-01-01 to the first day of a month. year: +-1,200,000, month: 1 to 12.
constexpr std::int64_t days_to_month(int year, int month) noexcept
{
    const bool is_next_year = month > 2;
    const int march_year = year + bias_years - (is_next_year ? 0 : 1);
    const int march_month = is_next_year ? month - 3 : month + 9;
    const int era = march_year / years_per_era;
    const int year_of_era = march_year % years_per_era;
    const int day_of_era =
        year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + (153 * march_month + 2) / 5;
    return std::int64_t{era} * days_per_era + day_of_era - bias_days;
}

static_assert(days_to_month(1970, 1) == 0 && days_to_month(2000, 3) == 11'017);

constexpr int days_in_month(int year, int month) noexcept
{
    if (month != 2)
        return 30 + ((month + (month >> 3)) & 1); // from August on the even ones have 31
    const bool is_leap_year = year % 4 == 0 && (year % 100 != 0 || year % 400 == 0);
    return is_leap_year ? 29 : 28;
}

static_assert(days_in_month(2000, 2) == 29 && days_in_month(1900, 2) == 28 &&
              days_in_month(2023, 7) == 31 && days_in_month(2023, 8) == 31 &&
              days_in_month(2023, 9) == 30 && days_in_month(2023, 12) == 31);

} // namespace kr_internal

#include <KRCommon/frame/ProfileHelper.h>

#include <KRCommon/frame/Duration_Histogram.h>
#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/ProfileHelper_Clock.h>
#include <KRCommon/platform/Files.h>
#include <KRCommon/platform/Lock.h>

#include <ace/OS_NS_sys_time.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <locale>
#include <ostream>
#include <utility>

kr_internal::Seam<std::uint64_t()> kr_internal::profile_clock;
kr_internal::Seam<std::int64_t()> kr_internal::steady_profile_clock;

namespace {

std::uint64_t system_time()
{
    return ACE_OS::gettimeofday().get_msec();
}

// Milliseconds since 1970-01-01 UTC.
std::uint64_t present_time()
{
    return kr_internal::profile_clock.in_use(system_time)();
}

// Of the system's clock that is never set.
std::int64_t system_steady_time()
{
    return kr_platform::steady_microseconds();
}

std::int64_t present_steady_time()
{
    return kr_internal::steady_profile_clock.in_use(system_steady_time)();
}

constexpr const char* source_file = "ProfileHelper.cpp";
constexpr int add_sample_line = 24;
constexpr int report_stat_line = 51;
constexpr int reset_line = 73;
constexpr KR_Log_Site report_site{"ProfileHelper.cpp", 52, LM_INFO};
constexpr KR_Log_Site tag_site{"ProfileHelper.cpp", 56, LM_INFO};

using kr_platform::Write_Mode;

// The stream is in a failed state when there is no file: what is written to it is lost. Numbers
// look the same whatever locale the host has set.
class Csv_File {
public:
    Csv_File(const std::string& name, Write_Mode mode)
    {
        stream_.imbue(std::locale::classic());
        if (!kr_platform::open_for_writing(buffer_, name, mode))
            stream_.setstate(std::ios::failbit);
    }

    std::ostream& stream() noexcept { return stream_; }

private:
    std::filebuf buffer_;
    std::ostream stream_{&buffer_};
};

} // namespace

struct ProfileHelper::Percentiles {
    // The rows of a report. Three decimals of a millisecond are all there is to tell.
    void write(std::uint64_t now) const
    {
        Csv_File file(csv_name, Write_Mode::append);
        for (const auto& [tag, histogram] : tags) {
            file.stream() << tag << ',' << now << ','
                          << histogram.count(); // Quirk: not quoted either
            for (const unsigned percent : {50u, 90u, 99u})
                file.stream() << ',' << std::round(histogram.percentile(percent)) / 1000;
            file.stream() << '\n';
        }
    }

    std::string csv_name;
    std::map<std::string, kr_internal::Duration_Histogram> tags;
};

ProfileHelper::ProfileHelper(std::uint64_t interval_seconds, const std::string& name)
    : interval_(interval_seconds * 1000),
      csv_name_(name + '_' + std::to_string(present_time()) + ".csv")
{
    Csv_File(csv_name_, Write_Mode::replace).stream()
        << "tag,timeStamp,totalMs,count,averageMs,highMs\n";
}

ProfileHelper::~ProfileHelper() = default;

void ProfileHelper::AddSample(const std::string& tag, unsigned ms)
{
    add(tag, ms, std::uint64_t{ms} * 1000);
}

void ProfileHelper::AddSampleMicroseconds(const std::string& tag, std::uint64_t microseconds)
{
    add(tag, static_cast<std::uint32_t>(microseconds / 1000), microseconds);
}

void ProfileHelper::add(const std::string& tag, std::uint32_t ms, std::uint64_t microseconds)
{
    const KR_Mutex_Guard guard(mutex_, "mutex_", source_file, add_sample_line);
    if (percentiles_ != nullptr)
        percentiles_->tags[tag].add(microseconds);
    Record& record = statistics_[tag];
    ++record.count;
    record.total += ms; // Quirk: wraps, as the count does
    if (ms > record.highest)
        record.highest = ms;
    if (ms < record.lowest)
        record.lowest = ms; // Quirk: never, for it begins with 0; no report shows it
}

void ProfileHelper::WritePercentiles()
{
    KR_GUARD(mutex_);
    if (percentiles_ != nullptr)
        return;
    auto percentiles = std::make_unique<Percentiles>();
    percentiles->csv_name = csv_name_.substr(0, csv_name_.rfind('.')) + "_percentiles.csv";
    percentiles_ = std::move(percentiles);
    Csv_File(percentiles_->csv_name, Write_Mode::replace).stream()
        << "tag,timeStamp,count,p50Ms,p90Ms,p99Ms\n";
}

void ProfileHelper::ReportStat()
{
    // Read before the clock: else another thread's report in between would lie in the future.
    std::uint64_t last = last_report_;
    const std::uint64_t now = present_time();
    if (last == 0) {
        last_report_.compare_exchange_strong(last, now);
        last = now; // whichever thread began the interval
    }
    const std::uint64_t elapsed = now - last; // Quirk: enormous when the clock was set back
    if (elapsed < interval_)
        return;
    const KR_Mutex_Guard guard(mutex_, "mutex_", source_file, report_stat_line);
    const Statistics statistics = statistics_; // a log callback may come back to this object
    kr_log(report_site, "%T T%04t INF ProfileHelper Report for last %d seconds:\n",
           static_cast<int>(elapsed / 1000));
    for (const auto& [tag, record] : statistics)
        report(tag, record, now);
    if (percentiles_ != nullptr)
        percentiles_->write(now);
    last_report_ = now; // Quirk: the statistics stay
}

// One tag's line and row; mutex_ is held.
void ProfileHelper::report(const std::string& tag, const Record& record, std::uint64_t now) const
{
    const float total = static_cast<float>(record.total);
    const float average = total / static_cast<float>(record.count);
    kr_log(tag_site, "%T T%04t INF PROF: %s - totalMs: %u, count: %u, averageMs: %f, highMs: %u\n",
           tag, record.total, record.count, average, record.highest);
    Csv_File(csv_name_, Write_Mode::append).stream()
        << tag << ',' << now << ',' << record.total << ',' << record.count << ',' << average << ','
        << record.highest << '\n'; // Quirk: the tag is not quoted
}

void ProfileHelper::Reset()
{
    const KR_Mutex_Guard guard(mutex_, "mutex_", source_file, reset_line);
    statistics_.clear();
    if (percentiles_ != nullptr)
        percentiles_->tags.clear();
}

ProfileHelperBlock::ProfileHelperBlock(ProfileHelper* helper, const std::string& tag)
    : helper_(helper), start_(present_time()), tag_(tag)
{
}

ProfileHelperBlock::~ProfileHelperBlock()
{
    if (helper_ == nullptr)
        return;
    try {
        const std::uint64_t elapsed = present_time() - start_;
        helper_->AddSample(tag_, static_cast<std::uint32_t>(elapsed)); // Quirk: cut to 32 bits
    } catch (...) { // no memory for a new tag: the sample is lost
    }
}

ProfileHelperSteadyBlock::ProfileHelperSteadyBlock(ProfileHelper* helper, const std::string& tag)
    : helper_(helper), start_(present_steady_time()), tag_(tag)
{
}

ProfileHelperSteadyBlock::~ProfileHelperSteadyBlock()
{
    if (helper_ == nullptr)
        return;
    try {
        const std::int64_t elapsed = std::max<std::int64_t>(present_steady_time() - start_, 0);
        helper_->AddSampleMicroseconds(tag_, static_cast<std::uint64_t>(elapsed));
    } catch (...) { // no memory for a new tag: the sample is lost
    }
}

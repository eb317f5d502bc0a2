#include <KRCommon/frame/ProfileHelper.h>

#include <KRCommon/frame/Log.h>
#include <KRCommon/frame/ProfileHelper_Clock.h>
#include <KRCommon/platform/Files.h>

#include <ace/OS_NS_sys_time.h>

#include <fstream>
#include <locale>
#include <ostream>

kr_internal::Seam<std::uint64_t()> kr_internal::profile_clock;

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

ProfileHelper::ProfileHelper(std::uint64_t interval_seconds, const std::string& name)
    : interval_(interval_seconds * 1000),
      csv_name_(name + '_' + std::to_string(present_time()) + ".csv")
{
    Csv_File(csv_name_, Write_Mode::replace).stream()
        << "tag,timeStamp,totalMs,count,averageMs,highMs\n";
}

void ProfileHelper::AddSample(const std::string& tag, unsigned ms)
{
    const KR_Mutex_Guard guard(mutex_, "mutex_", source_file, add_sample_line);
    Record& record = statistics_[tag];
    ++record.count;
    record.total += ms; // Quirk: wraps, as the count does
    if (ms > record.highest)
        record.highest = ms;
    if (ms < record.lowest)
        record.lowest = ms; // Quirk: never, for it begins with 0; no report shows it
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

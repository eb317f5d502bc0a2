#pragma once

/// \file
/// Where the time goes: ProfileHelper collects durations under text tags and reports them, at most
/// once per interval, as log lines and as rows of a CSV file; ProfileHelperBlock times one scope.
///
///     ProfileHelper profile(60, "logs/camera"); // logs/camera_1394020800000.csv
///     while (...) {
///         {
///             const ProfileHelperBlock block(&profile, "decode");
///             decode(frame);
///         } // one sample of "decode"
///         profile.ReportStat(); // does something once a minute
///     }
///
/// Time is the wall clock in whole milliseconds; its step is up to 16 ms on Windows. Setting that
/// clock spoils the durations that are being measured: ProfileHelperSteadyBlock measures on a clock
/// that nobody sets, in microseconds.
///
/// The CSV file is a header line and, for each report, one row per tag:
///
///     tag,timeStamp,totalMs,count,averageMs,highMs
///     decode,1394020860000,1000,400,2.5,17
///
/// timeStamp is the time of the report in milliseconds since 1970-01-01 UTC, averageMs a float of
/// up to six digits ("2", "3.33333", "1.43166e+09"), with a point whatever the locale. Lines end in
/// a line feed, on Windows in carriage return and line feed.
/// Quirk: tags stand as they are, without quotes. A reader finds the five numbers after the row's
/// last five commas; a line feed in a tag breaks the row.
///
/// A second file with percentiles is written when the host asks, see WritePercentiles().
///
/// Threads: AddSample(), ReportStat() and Reset() may be called from any thread at any time. They
/// take turns on one KR_Mutex_Ex and may stall as Mutex.h says, a long wait being logged and a very
/// long one ending the process. A ProfileHelperBlock belongs to one thread at a time. Nothing here
/// throws but std::bad_alloc.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/frame/Mutex.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

/// Durations under tags. Whatever was not reported when it is destroyed is lost.
class KRCOMMON_EXPORT ProfileHelper {
public:
    /// Makes the CSV file and writes its header line; a file of that name is emptied first.
    ///
    /// interval_seconds  least time between two reports; 0: every ReportStat() reports. Counted in
    ///                   64-bit milliseconds, so beyond 18,446,744,073,709,551 it wraps
    /// name              first part of the file's name "%s_%llu.csv", the second being the present
    ///                   time in milliseconds since 1970-01-01 UTC: "camera" gives
    ///                   "camera_1394020800000.csv". Relative to the working folder, at each
    ///                   writing anew, unless it holds a path; its folder is not made
    ///
    /// A file that cannot be opened or written is no error and never logged: its rows are lost, now
    /// or at a later report, and each report tries again. Such a file may lack the header line.
    /// Two objects of one name made in one millisecond share a file; the second empties it.
    ProfileHelper(std::uint64_t interval_seconds, const std::string& name);

    /// Writes nothing. No other thread may be using the object.
    ~ProfileHelper();
    ProfileHelper(const ProfileHelper&) = delete;
    ProfileHelper& operator=(const ProfileHelper&) = delete;

    /// Adds one duration to its tag, a new tag beginning with zeros. Any text may be a tag.
    /// Quirk: count and total are 32-bit and wrap; a total does so after 49.7 days of samples.
    void AddSample(const std::string& tag, unsigned ms);

    /// Reports when the interval since the last report is over, else does nothing. The first call
    /// only begins the interval; with an interval of 0 it reports as well.
    ///
    /// A report is logged at LM_INFO, after stamp and thread, the tags in ascending order of their
    /// bytes:
    ///
    ///     ... INF ProfileHelper Report for last 60 seconds:
    ///     ... INF PROF: decode - totalMs: 1000, count: 400, averageMs: 2.500000, highMs: 17
    ///
    /// and each tag's figures go to the CSV file, also when the log's mask stops the lines. In the
    /// log a tag is escaped and bounded as Log.h says.
    ///
    /// Quirk: a report clears nothing. Its figures count since the last Reset(), its first line
    /// names the whole seconds since the last report.
    /// Quirk: a clock that was set back makes an immediate report, of a meaningless number of
    /// seconds, and the interval begins anew.
    /// Threads: two that find the interval over at the same moment both report.
    void ReportStat();

    /// Removes every tag with its figures, those of the percentiles too. The interval goes on.
    void Reset();

    /// AddSample() of a duration in microseconds: the figures of before count its whole milliseconds,
    /// cut to 32 bits, the percentiles the microseconds.
    void AddSampleMicroseconds(const std::string& tag, std::uint64_t microseconds);

    /// From now on keeps percentiles of each tag's samples, and has each report write them to a file
    /// beside the CSV, which stays as it is: "camera_1394020800000_percentiles.csv". Makes that file,
    /// as the constructor does the other; a second call does nothing.
    ///
    ///     tag,timeStamp,count,p50Ms,p90Ms,p99Ms
    ///     decode,1394020860000,400,2.25,4.608,17.152
    ///
    /// count is that of the samples since this call or the last Reset(), in 64 bits; a tag that has none
    /// since has no row. pN is the duration which N percent of them do not exceed, in milliseconds with
    /// up to three decimals.
    /// It is an estimate, at most 1.6 % off, and exact below 64 microseconds, so also 0. Memory is 10 KiB
    /// per tag at most, however many samples there are. Durations from 50 days on count as such.
    void WritePercentiles();

private:
    struct Record {
        std::uint32_t count = 0;
        std::uint32_t total = 0; // milliseconds, as the next two
        std::uint32_t highest = 0;
        std::uint32_t lowest = 0;
    };
    using Statistics = std::map<std::string, Record>;
    struct Percentiles;

    void add(const std::string& tag, std::uint32_t ms, std::uint64_t microseconds);
    void report(const std::string& tag, const Record& record, std::uint64_t now) const;

    Statistics statistics_;
    std::atomic<std::uint64_t> last_report_{0}; // milliseconds since 1970; 0 before the first
    const std::uint64_t interval_;              // milliseconds
    KR_Mutex_Ex<ACE_Process_Mutex> mutex_;      // guards statistics_
    const std::string csv_name_;
    std::unique_ptr<Percentiles> percentiles_; // under mutex_; null until a host asks
};

/// Times its own life: construction to destruction is one sample.
///
/// A copy goes on with the original's start time and adds a sample of its own; an object that is
/// assigned to forgets what it was timing. A function's result or a container of blocks may copy.
class KRCOMMON_EXPORT ProfileHelperBlock {
public:
    /// helper  gets the sample; must live longer than this object and its copies. Null: no sample
    /// tag     is copied
    ProfileHelperBlock(ProfileHelper* helper, const std::string& tag);

    /// Copied and moved as a whole, member by member.
    /// @{
    ProfileHelperBlock(const ProfileHelperBlock&) = default;
    ProfileHelperBlock& operator=(const ProfileHelperBlock&) = default;
    /// @}

    /// Adds the sample; never throws. When memory is short the sample is lost.
    /// Quirk: the elapsed milliseconds are cut to 32 bits: 49.7 days count as none, and a clock
    /// set back by 1 ms as 4,294,967,295.
    ~ProfileHelperBlock();

private:
    ProfileHelper* helper_; // not owned
    std::uint64_t start_;   // milliseconds since 1970
    std::string tag_;
};

/// ProfileHelperBlock on a clock that nobody sets: a step of the wall clock changes nothing, and the sample
/// is in microseconds, as of AddSampleMicroseconds().
class KRCOMMON_EXPORT ProfileHelperSteadyBlock {
public:
    /// As of ProfileHelperBlock, copies too.
    ProfileHelperSteadyBlock(ProfileHelper* helper, const std::string& tag);

    /// Copied and moved as a whole, member by member.
    /// @{
    ProfileHelperSteadyBlock(const ProfileHelperSteadyBlock&) = default;
    ProfileHelperSteadyBlock& operator=(const ProfileHelperSteadyBlock&) = default;
    /// @}

    /// Adds the sample; never throws. When memory is short the sample is lost.
    ~ProfileHelperSteadyBlock();

private:
    ProfileHelper* helper_; // not owned
    std::int64_t start_;    // microseconds
    std::string tag_;
};

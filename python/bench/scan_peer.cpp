// The same scans in C++, for scan.py, which measures both in one process.

#include <KRCommon/objects/Object_Scan.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#define SCAN_PEER extern "C" __attribute__((visibility("default")))

namespace {

// What a filter of the package with these numbers asks for.
KR_Object_Filter filter_of(std::int64_t from, std::int64_t to, std::int32_t detector,
                           float min_duration)
{
    KR_Object_Filter filter;
    filter.from = ACE_Time_Value(from);
    filter.to = ACE_Time_Value(to);
    filter.detector = static_cast<ns__DetectorType>(detector);
    filter.min_duration = min_duration;
    return filter;
}

struct Columns {
    std::vector<std::uint64_t> object_id;
    std::vector<std::int64_t> first_seen_time;
    std::vector<std::uint32_t> duration;
    std::vector<float> class_scores;
};

} // namespace

// from, to  seconds
SCAN_PEER std::size_t scan_peer_find(const unsigned char* data, std::size_t size, std::int64_t from,
                                     std::int64_t to, std::int32_t detector, float min_duration)
{
    std::vector<std::size_t> matches;
    kr_scan_records({data, size}, filter_of(from, to, detector, min_duration), matches);
    return matches.size();
}

SCAN_PEER std::size_t scan_peer_columns(const unsigned char* data, std::size_t size)
{
    constexpr std::int64_t million = 1'000'000;
    std::vector<KR_Byte_Span> list;
    kr_list_records({data, size}, list);
    Columns columns;
    columns.object_id.reserve(list.size());
    columns.first_seen_time.reserve(list.size());
    columns.duration.reserve(list.size());
    columns.class_scores.reserve(3 * list.size());
    for (const KR_Byte_Span& bytes : list) {
        const KR_Object_View record(bytes.data, bytes.size);
        const ACE_Time_Value time = record.first_seen_time();
        columns.object_id.push_back(record.object_id());
        columns.first_seen_time.push_back(time.sec() * million + time.usec());
        columns.duration.push_back(record.duration());
        for (const float score : record.class_scores())
            columns.class_scores.push_back(score);
    }
    return columns.object_id.size();
}

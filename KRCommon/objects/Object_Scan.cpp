#include <KRCommon/objects/Object_Scan.h>

#include <KRCommon/colors/Colors.h>

namespace {

bool has_filters_color(const KR_Object_View& record, const KR_Object_Filter& filter) noexcept
{
    if (!filter.preset)
        return true;
    const KR_Colors& colors = filter.colors != nullptr ? *filter.colors : *KR_Colors::instance();
    return record.has_color(*filter.preset, filter.min_percent, colors);
}

} // namespace

// In the order of what it costs: two cache lines, one more, all of them.
bool kr_matches(const KR_Object_View& record, const KR_Object_Filter& filter) noexcept
{
    return record.test(filter.from, filter.to, filter.detector, filter.object_class,
                       filter.min_score, filter.min_duration) &&
           !record.instances().empty() && has_filters_color(record, filter);
}

namespace {

// Asks for the bytes of the first-seen time, for which the processor would have to wait. The address
// may be any: nothing is read.
void fetch_ahead(const KR_Byte_Span& record)
{
    __builtin_prefetch(record.data + kr_internal::fixed_block::first_seen_seconds.offset);
}

} // namespace

void kr_scan_records(const KR_Byte_Span* records, std::size_t count, const KR_Object_Filter& filter,
                     std::vector<std::size_t>& matches)
{
    constexpr std::size_t ahead = 24;
    for (std::size_t index = 0; index < count; ++index) {
        if (count - index > ahead)
            fetch_ahead(records[index + ahead]);
        if (kr_matches({records[index].data, records[index].size}, filter))
            matches.push_back(index);
    }
}

namespace {

// Whether a record ends where its counts say: bytes behind it are those of the next.
bool has_known_end(const KR_Record_Status& status)
{
    switch (status.state) {
    case KR_Record_State::whole:
    case KR_Record_State::no_instances:
    case KR_Record_State::trailing_bytes: return true;
    default: return false;
    }
}

KR_Record_Status nothing_left()
{
    KR_Record_Status status;
    status.state = KR_Record_State::whole;
    return status;
}

// Calls look(position, size) for each record.
template <typename Look>
KR_Record_Scan scan(KR_Byte_Span records, Look look)
{
    KR_Record_Scan scan;
    const std::size_t length = records.data != nullptr ? records.size : 0;
    while (scan.end < length) {
        scan.status = KR_Object_View::check(records.data + scan.end, length - scan.end);
        if (!has_known_end(scan.status))
            return scan;
        look(scan.end, scan.status.consumed);
        scan.end += scan.status.consumed;
        ++scan.records;
    }
    scan.status = nothing_left();
    return scan;
}

} // namespace

KR_Record_Scan kr_scan_records(KR_Byte_Span records, const KR_Object_Filter& filter,
                               std::vector<std::size_t>& matches)
{
    return scan(records, [&](std::size_t position, std::size_t size) {
        if (kr_matches({records.data + position, size}, filter))
            matches.push_back(position);
    });
}

KR_Record_Scan kr_list_records(KR_Byte_Span records, std::vector<KR_Byte_Span>& list)
{
    return scan(records, [&](std::size_t position, std::size_t size) {
        list.push_back({records.data + position, size});
    });
}

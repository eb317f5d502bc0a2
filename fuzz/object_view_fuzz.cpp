// Any bytes as an object record that is read in place. What the view says of them is held against
// both ways to decode them; then they are scanned as records that lie one behind the other.

#include <KRCommon/objects/Object_Scan.h>
#include <KRCommon/objects/Object_View_testing.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

namespace {

using kr_object_testing::Comparison;
using kr_object_testing::test_colors;

void require(bool holds, const char* what)
{
    if (holds)
        return;
    std::fprintf(stderr, "view and decoding differ: %s\n", what);
    std::abort();
}

bool has_known_end(KR_Record_State state)
{
    return state == KR_Record_State::whole || state == KR_Record_State::no_instances ||
           state == KR_Record_State::trailing_bytes;
}

// Whether the list tiles the bytes up to the end that the scan names, which says why it is one.
void require_consistent(const KR_Record_Scan& scan, const std::vector<KR_Byte_Span>& list,
                        KR_Byte_Span bytes)
{
    std::size_t position = 0;
    for (const KR_Byte_Span& record : list) {
        require(record.data == bytes.data + position, "position of a record");
        require(has_known_end(KR_Object_View::check(record.data, record.size).state), "record");
        position += record.size;
    }
    require(scan.end == position && scan.records == list.size(), "end of the scan");
    if (scan.end < bytes.size)
        require(!has_known_end(scan.status.state) &&
                    scan.status ==
                        KR_Object_View::check(bytes.data + scan.end, bytes.size - scan.end),
                "status of the scan");
    else
        require(scan.status.state == KR_Record_State::whole, "status at the end");
}

void scan(KR_Byte_Span bytes)
{
    std::vector<KR_Byte_Span> list;
    const KR_Record_Scan listed = kr_list_records(bytes, list);
    require_consistent(listed, list, bytes);

    KR_Object_Filter filter;
    filter.preset = ns__ColorPreset__red;
    filter.min_percent = 10;
    filter.colors = &test_colors();
    if (!list.empty())
        filter.detector = KR_Object_View(list[0].data, list[0].size).detector_type();
    std::vector<std::size_t> positions;
    const KR_Record_Scan scanned = kr_scan_records(bytes, filter, positions);
    require(scanned.end == listed.end && scanned.status == listed.status, "two scans");
    std::vector<std::size_t> indexes;
    kr_scan_records(list.data(), list.size(), filter, indexes);
    require(indexes.size() == positions.size(), "number of matches");
    for (std::size_t i = 0; i < indexes.size(); ++i)
        require(bytes.data + positions[i] == list[indexes[i]].data, "position of a match");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string difference = Comparison(data, size, test_colors()).run_with_colors();
    require(difference.empty(), difference.c_str());
    scan({data, size});
    return 0;
}

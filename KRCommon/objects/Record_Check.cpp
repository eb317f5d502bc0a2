#include <KRCommon/objects/Record_Reader.h>

namespace kr_internal {

namespace {

// The instance list as the reader walks over it.
struct List_Extent {
    std::size_t end; // of what is whole; positions count from the record's first byte
    std::uint32_t count = 0;
    std::uint32_t whole_instances = 0;
    std::size_t bad_entry = 0; // the first one with a bad colour count; 0 is none
};

List_Extent list_extent(const unsigned char* record, std::size_t length)
{
    List_Extent list{fixed_block_size};
    if (length - list.end < count_size)
        return list;
    list.count = get(record + list.end, instance_list::count);
    list.end += count_size;
    while (list.whole_instances < list.count) {
        const unsigned char* const entry = record + list.end;
        const std::size_t size = whole_entry_size(entry, length - list.end);
        if (size == 0)
            break;
        if (list.bad_entry == 0 && has_bad_color_count(entry))
            list.bad_entry = list.end;
        list.end += size;
        ++list.whole_instances;
    }
    return list;
}

} // namespace

KR_Record_Status check_record(const unsigned char* record, std::size_t length) noexcept
{
    using State = KR_Record_State;
    if (record == nullptr || length < fixed_block_size)
        return {};
    const List_Extent list = list_extent(record, length);
    const bool has_list = list.end > fixed_block_size && list.whole_instances == list.count;
    const std::size_t auxiliary =
        has_list ? whole_auxiliary_size(record + list.end, length - list.end) : 0;
    const std::size_t consumed = list.end + auxiliary;
    const auto status = [&](State state, std::size_t position) {
        return KR_Record_Status{state, position, consumed, list.whole_instances};
    };

    if (list.bad_entry != 0)
        return status(State::bad_color_count, list.bad_entry);
    if (!has_list)
        return status(State::cut_in_instances, list.end);
    if (auxiliary == 0)
        return status(State::cut_in_auxiliary_data, list.end);
    if (list.count == 0)
        return status(State::no_instances, fixed_block_size);
    if (consumed < length)
        return status(State::trailing_bytes, consumed);
    return status(State::whole, consumed);
}

} // namespace kr_internal

// Many records, a part of the rows with each call.

#include <KRCommon/capi/krcommon_c.h>

#include <KRCommon/capi/Call.h>
#include <KRCommon/capi/Record_Filter.h>
#include <KRCommon/capi/Record_Rows.h>
#include <KRCommon/objects/Record_Layout.h>

using namespace kr_internal::c;

namespace {

kr_c_error check_records(const kr_c_records* records)
{
    if (const kr_c_error error = check_struct(records))
        return error;
    if (records->bytes_size > PTRDIFF_MAX || records->count > PTRDIFF_MAX / sizeof(std::uint64_t))
        return KR_C_OUT_OF_RANGE;
    if (records->ends == nullptr && records->count > 0)
        return KR_C_NULL_ARGUMENT;
    return check_bytes(records->bytes, static_cast<std::size_t>(records->bytes_size));
}

kr_c_error check_cursor(const kr_c_cursor* cursor, const kr_c_records* records)
{
    if (const kr_c_error error = check_struct(cursor))
        return error;
    const bool is_within = cursor->position <= records->bytes_size && cursor->row <= PTRDIFF_MAX &&
                           (records->ends == nullptr || cursor->record <= records->count);
    return is_within ? KR_C_OK : KR_C_OUT_OF_RANGE;
}

bool has_known_end(const KR_Record_Status& status)
{
    return status.state == KR_Record_State::whole ||
           status.state == KR_Record_State::no_instances ||
           status.state == KR_Record_State::trailing_bytes;
}

// The records from a cursor on. It works on copies: for all that the compiler knows, a column could be the
// host's own structs.
class Walk {
public:
    Walk(const kr_c_records& records, const kr_c_cursor& cursor)
        : records_(records), bytes_(static_cast<const unsigned char*>(records.bytes)),
          cursor_(cursor)
    {
    }

    // Goes to the record at the cursor; false when there is none, or what tells its end is wrong.
    bool find() { return records_.ends != nullptr ? find_by_ends() : find_by_counts(); }

    void go_on()
    {
        cursor_.position += size_;
        ++cursor_.record;
        cursor_.row = 0;
    }

    void stay(std::uint64_t rows) { cursor_.row += rows; }

    [[nodiscard]] const kr_c_cursor& cursor() const { return cursor_; }
    [[nodiscard]] std::uint64_t row() const { return cursor_.row; }

    [[nodiscard]] kr_c_error error() const { return error_; }
    [[nodiscard]] std::uint64_t position() const { return cursor_.position; }
    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] KR_Object_View view() const { return {begin(), size_}; }

    // What check() says of the record alone.
    [[nodiscard]] KR_Record_Status status() const { return KR_Object_View::check(begin(), size_); }

private:
    [[nodiscard]] const unsigned char* begin() const { return bytes_ + cursor_.position; }

    bool find_by_counts()
    {
        const auto left = static_cast<std::size_t>(records_.bytes_size - cursor_.position);
        cursor_.state = KR_C_RECORD_WHOLE;
        if (left == 0)
            return false;
        const KR_Record_Status status = KR_Object_View::check(begin(), left);
        size_ = status.consumed;
        if (has_known_end(status))
            return true;
        cursor_.state = static_cast<std::int32_t>(status.state);
        cursor_.damage = cursor_.position + status.position;
        return false;
    }

    bool find_by_ends()
    {
        if (cursor_.record == records_.count)
            return false;
        const std::uint64_t end = records_.ends[cursor_.record];
        if (end < cursor_.position || end > records_.bytes_size) {
            error_ = KR_C_OUT_OF_RANGE;
            return false;
        }
        fetch_ahead();
        size_ = static_cast<std::size_t>(end - cursor_.position);
        return true;
    }

    // For what the processor would have to wait, as the library's own scan does.
    void fetch_ahead() const
    {
        constexpr std::uint64_t ahead = 24;
        if (records_.count - cursor_.record <= ahead)
            return;
        const std::uint64_t begin = records_.ends[cursor_.record + ahead - 1];
        if (begin < records_.bytes_size)
            __builtin_prefetch(bytes_ + begin +
                               kr_internal::fixed_block::first_seen_seconds.offset);
    }

    const kr_c_records records_;
    const unsigned char* const bytes_;
    kr_c_cursor cursor_;
    std::size_t size_ = 0;
    kr_c_error error_ = KR_C_OK;
};

// put(walk, columns, room) writes a record's rows and tells whether none is left.
template <typename Columns, typename Put>
kr_c_error scan(const kr_c_records* records, const kr_c_filter* filter, kr_c_cursor* cursor,
                const Columns* columns, std::size_t capacity, std::size_t* count, Put put_rows)
{
    if (const kr_c_error error = first_error({check_records(records), check_struct(columns),
                                              check_size(capacity), check_pointer(count)}))
        return error;
    if (const kr_c_error error = check_cursor(cursor, records))
        return error;
    const Record_Filter wanted(filter);
    if (wanted.error() != KR_C_OK)
        return wanted.error();

    const Columns target = *columns;
    Walk walk(*records, *cursor);
    Room room{0, capacity, 0};
    while (!room.is_full() && walk.find()) {
        const bool is_begun = walk.row() > 0; // and was found to match
        if (is_begun || wanted.takes(walk.view())) {
            const std::size_t before = room.next;
            room.skip = static_cast<std::size_t>(walk.row());
            if (!put_rows(walk, target, room)) {
                walk.stay(room.next - before);
                break;
            }
            room.skip = 0;
        }
        walk.go_on();
    }
    // Rows that were written before a wrong end are not lost: the next call tells of it.
    if (walk.error() != KR_C_OK && room.next == 0)
        return walk.error();
    *cursor = walk.cursor();
    cursor->size = sizeof *cursor;
    *count = room.next;
    return KR_C_OK;
}

// Rows of records: one each.
class Put_Record {
public:
    explicit Put_Record(const kr_c_record_columns& columns)
        : wanted_(columns), wants_status_(any_of(columns.state, columns.instances))
    {
    }

    bool operator()(const Walk& walk, const kr_c_record_columns& columns, Room& room) const
    {
        const std::size_t row = room.next++;
        put(columns.position, row, walk.position());
        put(columns.length, row, walk.size());
        if (wants_status_) {
            const KR_Record_Status status = walk.status();
            put(columns.state, row, status.state);
            put(columns.instances, row, status.instances);
        }
        put_fields(walk.view(), columns, wanted_, row);
        return true;
    }

private:
    Wanted_Fields wanted_;
    bool wants_status_;
};

} // namespace

kr_c_error kr_c_scan_records(const kr_c_records* records, const kr_c_filter* filter,
                             kr_c_cursor* cursor, const kr_c_record_columns* columns,
                             kr_c_size capacity, kr_c_size* count)
{
    return run([&]() -> kr_c_error {
        if (const kr_c_error error = check_struct(columns))
            return error;
        return scan(records, filter, cursor, columns, capacity, count, Put_Record(*columns));
    });
}

kr_c_error kr_c_scan_instances(const kr_c_records* records, const kr_c_filter* filter,
                               kr_c_cursor* cursor, const kr_c_instance_columns* columns,
                               kr_c_size capacity, kr_c_size* count)
{
    return run([&] {
        return scan(records, filter, cursor, columns, capacity, count,
                    [](const Walk& walk, const kr_c_instance_columns& target, Room& room) {
                        return put_instances(walk.view(), walk.position(), target, room);
                    });
    });
}

kr_c_error kr_c_scan_colors(const kr_c_records* records, const kr_c_filter* filter,
                            kr_c_cursor* cursor, const kr_c_color_columns* columns,
                            kr_c_size capacity, kr_c_size* count)
{
    return run([&] {
        return scan(records, filter, cursor, columns, capacity, count,
                    [](const Walk& walk, const kr_c_color_columns& target, Room& room) {
                        return put_colors(walk.view(), walk.position(), target, room);
                    });
    });
}

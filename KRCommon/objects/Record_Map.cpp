#include <KRCommon/objects/Record_Map.h>

#include <KRCommon/objects/Record_Reader.h>

#include <algorithm>

using namespace kr_internal;

namespace {

using Type = KR_Field_Type;

constexpr KR_Record_Field named(const char* name, Type type, Field field)
{
    return {name, type, field.offset, field.size};
}

constexpr KR_Record_Field reserved(Field field)
{
    return named("reserved", Type::reserved, field);
}

// A time is its seconds, and the microseconds directly behind them.
constexpr KR_Record_Field named_time(const char* name, Type type, Field seconds, Field microseconds)
{
    return {name, type, seconds.offset, seconds.size + microseconds.size};
}

constexpr KR_Record_Field fixed_block_fields[] = {
    reserved({0, 8}),
    named("sensor_word1", Type::int32, fixed_block::sensor_word1),
    named("sensor_word2", Type::int32, fixed_block::sensor_word2),
    reserved({16, 4}),
    named("object_id", Type::uint64, fixed_block::object_id),
    named("detector_type", Type::int32, fixed_block::detector_type),
    reserved({32, 12}),
    named_time("first_seen_time", Type::time64, fixed_block::first_seen_seconds,
               fixed_block::first_seen_microseconds),
    reserved({56, 4}),
    named("word1", Type::int32, fixed_block::word1),
    named("word2", Type::int32, fixed_block::word2),
    reserved({68, 8}),
    named_time("second_time", Type::time64, fixed_block::second_time_seconds,
               fixed_block::second_time_microseconds),
    reserved({88, 4}),
    named("statistics_word1", Type::int32, fixed_block::statistics_word1),
    named("statistics_word2", Type::int32, fixed_block::statistics_word2),
    named("duration", Type::uint32, fixed_block::duration),
    named("class_scores", Type::float32, fixed_block::class_scores),
    named("statistics_word7", Type::int32, fixed_block::statistics_word7),
    named("statistics_word8", Type::int32, fixed_block::statistics_word8),
    reserved({fixed_block::pending_reference.offset, 8}),
};

constexpr KR_Record_Field count_fields[] = {named("count", Type::uint32, instance_list::count)};

constexpr KR_Record_Field instance_fields[] = {
    named_time("time", Type::time32, entry::seconds, entry::microseconds),
    named("person_value", Type::int8, entry::person),
    named("vehicle_value", Type::int8, entry::vehicle),
    named("object_value", Type::int8, entry::object),
    named("unknown_value", Type::int8, entry::unknown),
    named("box", Type::float32, entry::box),
    named("float1", Type::float32, entry::floats[0]),
    named("float2", Type::float32, entry::floats[1]),
    named("flag", Type::uint8, entry::flag),
    reserved(entry::reserved1),
    named("group", Type::float32, entry::group),
    named("number", Type::int8, entry::number),
    named("color_count", Type::int8, entry::color_count),
    reserved(entry::reserved2),
    named("point", Type::float32, entry::point),
};

constexpr KR_Record_Field color_fields[] = {
    named("red", Type::uint8, color_entry::red),   named("green", Type::uint8, color_entry::green),
    named("blue", Type::uint8, color_entry::blue), named("area", Type::int8, color_entry::area),
    named("code", Type::int8, color_entry::code),
};

constexpr KR_Record_Field length_fields[] = {named("length", Type::uint32, auxiliary::length)};

template <std::size_t count>
constexpr bool fills(const KR_Record_Field (&fields)[count], unsigned size)
{
    unsigned end = 0;
    for (const KR_Record_Field& field : fields) {
        if (field.offset != end)
            return false;
        end += field.size;
    }
    return end == size;
}

static_assert(fills(fixed_block_fields, fixed_block_size));
static_assert(fills(count_fields, count_size));
static_assert(fills(instance_fields, entry_size));
static_assert(fills(color_fields, color_size));
static_assert(fills(length_fields, auxiliary_length_size));

template <std::size_t count>
constexpr KR_Record_Fields all(const KR_Record_Field (&fields)[count])
{
    return {fields, count};
}

} // namespace

KR_Record_Fields kr_record_fields(KR_Record_Part part) noexcept
{
    switch (part) {
    case KR_Record_Part::fixed_block: return all(fixed_block_fields);
    case KR_Record_Part::instance_count: return all(count_fields);
    case KR_Record_Part::instance: return all(instance_fields);
    case KR_Record_Part::color: return all(color_fields);
    case KR_Record_Part::auxiliary_length: return all(length_fields);
    case KR_Record_Part::auxiliary_data: break;
    }
    return {};
}

std::size_t kr_record_part_size(KR_Record_Part part) noexcept
{
    switch (part) {
    case KR_Record_Part::fixed_block: return fixed_block_size;
    case KR_Record_Part::instance_count: return count_size;
    case KR_Record_Part::instance: return entry_size;
    case KR_Record_Part::color: return color_size;
    case KR_Record_Part::auxiliary_length: return auxiliary_length_size;
    case KR_Record_Part::auxiliary_data: break;
    }
    return 0;
}

bool KR_Record_Map::next(KR_Record_Piece& piece) noexcept
{
    using Part = KR_Record_Part;
    KR_Record_Piece found;
    switch (next_) {
    case Next::fixed_block: found.part = Part::fixed_block; break;
    case Next::instance_count: found.part = Part::instance_count; break;
    case Next::instance: found.part = Part::instance; break;
    case Next::color: found.part = Part::color; break;
    case Next::auxiliary: found.part = Part::auxiliary_length; break;
    case Next::data: found.part = Part::auxiliary_data; break;
    case Next::nothing:
    case Next::cut: return false;
    }
    found.offset = position_;
    found.whole_size =
        found.part == Part::auxiliary_data ? data_size_ : kr_record_part_size(found.part);
    found.size = std::min(found.whole_size, length_ - position_);
    if (found.part == Part::instance || found.part == Part::color)
        found.instance = instance_;
    found.color = found.part == Part::color ? color_ : 0;
    if (found.size == 0) {
        next_ = Next::cut;
        return false;
    }
    position_ += found.size;
    if (found.is_whole())
        go_on_behind(found);
    else
        next_ = Next::cut;
    piece = found;
    return true;
}

void KR_Record_Map::go_on_behind(const KR_Record_Piece& piece) noexcept
{
    const unsigned char* const part = record_ + piece.offset;
    switch (piece.part) {
    case KR_Record_Part::fixed_block: next_ = Next::instance_count; break;
    case KR_Record_Part::instance_count:
        instances_ = get(part, instance_list::count);
        go_on_to_instance();
        break;
    case KR_Record_Part::instance:
        colors_ = readable_colors(part);
        color_ = 0;
        next_ = Next::color;
        if (colors_ == 0) {
            ++instance_;
            go_on_to_instance();
        }
        break;
    case KR_Record_Part::color:
        if (++color_ == colors_) {
            ++instance_;
            go_on_to_instance();
        }
        break;
    case KR_Record_Part::auxiliary_length:
        data_size_ = get(part, auxiliary::length);
        next_ = data_size_ > 0 ? Next::data : Next::nothing;
        break;
    case KR_Record_Part::auxiliary_data: next_ = Next::nothing; break;
    }
}

void KR_Record_Map::go_on_to_instance() noexcept
{
    next_ = instance_ < instances_ ? Next::instance : Next::auxiliary;
}

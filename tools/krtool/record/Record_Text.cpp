#include "Record_Text.h"

#include "Record_Begin.h"
#include "Record_Values.h"

namespace krtool {

std::string counted(std::uint64_t number, const char* noun)
{
    return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

std::string place_of(const Record_Item& item)
{
    std::string place = "record " + std::to_string(item.number);
    if (item.key == nullptr)
        place += " at byte " + std::to_string(item.offset);
    return place;
}

KR_Byte_Span record_bytes(const Record_Item& item)
{
    const auto in_front = static_cast<std::size_t>(item.record_offset - item.offset);
    if (!item.is_first || in_front > item.bytes.size || item.key != nullptr)
        return item.is_first ? item.bytes : KR_Byte_Span();
    return {item.bytes.data + in_front, item.bytes.size - in_front};
}

namespace {

// Instances that the list counts; 0 where the bytes do not hold the count.
std::uint32_t instance_count(const Record_Item& item)
{
    const KR_Byte_Span record = record_bytes(item);
    return record.size >= fixed_block_size + 4
               ? number_at<std::uint32_t>(record.data + fixed_block_size)
               : 0;
}

std::string auxiliary_text(const Record_Item& item)
{
    const KR_Byte_Span record = record_bytes(item);
    if (record.size < item.status.position + 4)
        return "the record is cut within the length of the auxiliary data";
    const std::size_t there = record.size - item.status.position - 4;
    return "the record is cut within the auxiliary data, " + std::to_string(there) + " of " +
           std::to_string(number_at<std::uint32_t>(record.data + item.status.position)) +
           " are there";
}

} // namespace

std::string sentence_of(const Record_Item& item)
{
    const std::size_t size = record_bytes(item).size;
    const std::string instance = std::to_string(item.status.instances);
    switch (item.damage) {
    case Damage::none: break;
    case Damage::cut_in_fixed_block:
        return "the record is cut within the fixed block, " + std::to_string(size) + " of " +
               std::to_string(fixed_block_size) + " are there";
    case Damage::bad_color_count:
        return "an instance has a colour count below zero, so that what is read behind it means "
               "nothing";
    case Damage::cut_in_instances:
        if (size < fixed_block_size + 4)
            return "the record is cut within the count of instances";
        return "the record is cut within instance " + instance + " of " +
               std::to_string(instance_count(item));
    case Damage::cut_in_auxiliary_data:
        return item.is_last ? auxiliary_text(item) : "the record is cut within the auxiliary data";
    case Damage::trailing_bytes:
        return std::to_string(size - item.status.consumed) +
               " bytes follow the record within its length";
    case Damage::too_long:
        return "the counts make a record that is longer than --max-record allows";
    case Damage::zeros: return "zero bytes in place of a record";
    case Damage::wrong_length: return "the length in front of the record does not fit it";
    case Damage::cut_in_length: return "the file ends within a length";
    case Damage::wrong_key:
        return "the store's columns tell object " + std::to_string(item.key->object_id) +
               " of sensor " + std::to_string(item.key->sensor1) + ", " +
               std::to_string(item.key->sensor2);
    }
    return {};
}

std::uint64_t damage_offset(const Record_Item& item)
{
    switch (item.damage) {
    case Damage::bad_color_count:
    case Damage::cut_in_instances:
    case Damage::cut_in_auxiliary_data:
    case Damage::trailing_bytes: return item.record_offset + item.status.position;
    default: return item.offset;
    }
}

} // namespace krtool

// The writer of the binary form: KR_ObjectBase::serialize() and what belongs to it.

#include <KRCommon/frame/Log.h>
#include <KRCommon/kernels/Vector.h>
#include <KRCommon/objects/Objects.h>
#include <KRCommon/objects/Record_Layout.h>
#include <KRCommon/util/Sizes.h>

#include <cstring>

using namespace kr_internal;

namespace {

// The file that log lines name, whichever holds the code: who reads logs knows it.
constexpr const char* log_file = "Objects.cpp";

std::uint64_t auxiliary_size(const KR_Auxiliary_Data& data)
{
    return data != nullptr ? data->size() : 0;
}

} // namespace

unsigned KR_ObjectBase::serialize_size(unsigned limit) const
{
    // Checked, or a caller would make a buffer of the low 32 bits.
    return size_of_32_bits(std::uint64_t{fixed_block_size} + serialize_instances_size(limit) +
                           auxiliary_length_size + auxiliary_size(AuxiliaryData));
}

namespace {

void put_fixed_block(unsigned char* bytes, const KR_ObjectBase& object)
{
    using namespace fixed_block;
    put_zeros(bytes, {0, fixed_block_size});
    put(bytes, sensor_word1, object.SensorId.word1);
    put(bytes, sensor_word2, object.SensorId.word2);
    put(bytes, object_id, object.ObjectId);
    put(bytes, detector_type, static_cast<std::int32_t>(object.DetectorType));
    put(bytes, first_seen_seconds, object.FirstSeenTime.sec());
    put(bytes, first_seen_microseconds, static_cast<std::int32_t>(object.FirstSeenTime.usec()));
    put(bytes, word1, object.Word1);
    put(bytes, word2, object.Word2);
    put(bytes, second_time_seconds, object.SecondTime.sec());
    put(bytes, second_time_microseconds, static_cast<std::int32_t>(object.SecondTime.usec()));
    put(bytes, statistics_word1, object.StatisticsWord1);
    put(bytes, statistics_word2, object.StatisticsWord2);
    put(bytes, duration, object.Duration);
    put(bytes, class_scores, object.ClassScores);
    put(bytes, statistics_word7, object.StatisticsWord7);
    put(bytes, statistics_word8, object.StatisticsWord8);
}

unsigned put_auxiliary_data(unsigned char* bytes, const KR_Auxiliary_Data& data)
{
    const auto length = static_cast<std::uint32_t>(auxiliary_size(data));
    put(bytes, auxiliary::length, length);
    if (length > 0)
        std::memcpy(bytes + auxiliary_length_size, data->data(), length);
    return auxiliary_length_size + length;
}

} // namespace

unsigned KR_ObjectBase::serialize(unsigned char* buffer, unsigned limit) const
{
    put_fixed_block(buffer, *this);
    unsigned position = fixed_block_size;
    position += serialize_instances(buffer + position, limit);
    position += put_auxiliary_data(buffer + position, AuxiliaryData);
    return position;
}

namespace {

// 64 bits, so that adding a position cannot wrap.
std::uint64_t encoded_size(const KR_ObjectBase::Instance& instance)
{
    return entry_size + std::uint64_t{color_size} * instance.Colors.size();
}

} // namespace

unsigned KR_ObjectBase::serialize_instances_size(unsigned limit) const
{
    if (limit < count_size)
        return 0; // Quirk: the writer writes the count all the same; callers pass 4 at least.
    unsigned size = count_size;
    for (const Instance& instance : Instances) {
        const std::uint64_t end = size + encoded_size(instance);
        if (end > limit)
            return size;
        size = static_cast<unsigned>(end);
    }
    return size;
}

namespace {

std::uint8_t low_byte(std::int32_t number)
{
    return static_cast<std::uint8_t>(number);
}

// Truncated toward zero; the low 8 bits. A float that no int32 can hold, a NaN too, gives 0, where a
// cast would be undefined.
std::uint8_t truncated_low_byte(float number)
{
    return low_byte(vector::truncate(number));
}

// The same for the four class values at once.
std::uint32_t class_bytes(const KR_ObjectBase::Instance& instance)
{
    return vector::truncated_low_bytes(vector::four_floats(
        instance.PersonValue, instance.VehicleValue, instance.ObjectValue, instance.UnknownValue));
}

// As one number, since one wide store costs much less than four narrow ones.
std::uint32_t four_bytes(std::uint8_t first, std::uint8_t second, std::uint8_t third,
                         std::uint8_t fourth)
{
    return first | std::uint32_t{second} << 8 | std::uint32_t{third} << 16 |
           std::uint32_t{fourth} << 24;
}

// The reserved bytes after the flag and the colour count are the zeros of the same store.
void put_instance(unsigned char* bytes, const KR_ObjectBase::Instance& instance)
{
    using namespace entry;
    const Geom_Box2D<float>& corners = instance.Box;
    const auto colors = static_cast<std::uint8_t>(instance.Colors.size());
    put(bytes, seconds, static_cast<std::int32_t>(instance.Time.sec()));
    put(bytes, microseconds, static_cast<std::int32_t>(instance.Time.usec()));
    put(bytes, class_values, class_bytes(instance));
    put(bytes, box, {corners.MinX, corners.MinY, corners.MaxX, corners.MaxY});
    put(bytes, floats, {instance.Float1, instance.Float2});
    put(bytes, flag_and_reserved, four_bytes(instance.Flag, 0, 0, 0));
    put(bytes, group, instance.Group);
    put(bytes, number_colors_and_reserved, four_bytes(low_byte(instance.Number), colors, 0, 0));
    put(bytes, point, {instance.PointX, instance.PointY});
}

void put_color(unsigned char* bytes, const ns__RgbColorArea& color)
{
    using namespace color_entry;
    const ns__RgbColor& rgb = color.color;
    const std::uint8_t share = truncated_low_byte(color.area);
    put(bytes, rgb_and_area, four_bytes(rgb.red, rgb.green, rgb.blue, share));
    put(bytes, code, static_cast<std::int8_t>(color.code));
}

void put_instance_and_colors(unsigned char* bytes, const KR_ObjectBase::Instance& instance)
{
    put_instance(bytes, instance);
    bytes += entry_size;
    for (const ns__RgbColorArea& color : instance.Colors) {
        put_color(bytes, color);
        bytes += color_size;
    }
}

// Where the writing of a list stopped, in the numbers that the log lines print.
struct Stop {
    const unsigned char* list;
    unsigned position; // where the instance that does not fit would begin
    unsigned limit;
    unsigned instance;
};

unsigned low_32_bits(const unsigned char* address)
{
    return static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(address));
}

// The lines print their counts with "%d".
int shown(unsigned number)
{
    return static_cast<int>(number);
}

void log_instance_overrun(const KR_ObjectBase& object, const Stop& stop)
{
    const unsigned base = low_32_bits(stop.list);
    const auto instances = static_cast<int>(object.Instances.size());
    const int instance = shown(stop.instance);
    kr_log((KR_Log_Site{log_file, __LINE__, LM_ERROR}),
           "%T T%04t*ERR KR_ObjectBase::serialize_instances - going to overrun buffer for object "
           "id %Q while trying to add InstanceForDB, current buffer position (%x), buffer base "
           "address (%x), instance size to add (%d), used size (%d) from (%d), instance (%d) of "
           "(%d), trimming instances to (%d) from (%d)\n",
           object.ObjectId, base + stop.position, base, shown(entry_size), shown(stop.position),
           shown(stop.limit), instance, instances, instance, instances);
}

void log_color_overrun(const KR_ObjectBase& object, const Stop& stop)
{
    const unsigned base = low_32_bits(stop.list);
    const auto instances = static_cast<int>(object.Instances.size());
    const int instance = shown(stop.instance);
    const auto colors = static_cast<int>(object.Instances[stop.instance].Colors.size());
    const unsigned fitting = (stop.limit - stop.position - entry_size) / color_size;
    const unsigned used = stop.position + entry_size + fitting * color_size;
    kr_log((KR_Log_Site{log_file, __LINE__, LM_ERROR}),
           "%T T%04t*ERR KR_ObjectBase::serialize_instances - going to overrun buffer for object "
           "id %Q while trying to add Color, current buffer position (%x), buffer base address "
           "(%x), instance size to add (%d), used size (%d) from (%d), instance (%d) of (%d), "
           "color (%d) from (%d), trimming instances to (%d) from (%d)\n",
           object.ObjectId, base + used, base, shown(color_size), shown(used), shown(stop.limit),
           instance, instances, shown(fitting), colors, instance, instances);
}

void log_overrun(const KR_ObjectBase& object, const Stop& stop)
{
    if (std::uint64_t{stop.position} + entry_size > stop.limit)
        log_instance_overrun(object, stop);
    else
        log_color_overrun(object, stop);
}

} // namespace

unsigned KR_ObjectBase::serialize_instances(unsigned char* buffer, unsigned limit) const
{
    put(buffer, instance_list::count, static_cast<std::uint32_t>(Instances.size()));
    unsigned position = count_size;
    unsigned index = 0;
    for (const Instance& instance : Instances) {
        const std::uint64_t end = position + encoded_size(instance);
        if (end > limit) {
            log_overrun(*this, {buffer, position, limit, index});
            put(buffer, instance_list::count, index);
            return position;
        }
        put_instance_and_colors(buffer + position, instance);
        position = static_cast<unsigned>(end);
        ++index;
    }
    return position;
}

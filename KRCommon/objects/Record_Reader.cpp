// The reader of the binary form: KR_ObjectBase::deserialize() and what belongs to it.

#include <KRCommon/objects/Record_Reader.h>

#include <KRCommon/frame/Log.h>
#include <KRCommon/objects/Objects.h>
#include <KRCommon/util/Sizes.h>

#include <algorithm>
#include <ctime>

using namespace kr_internal;

static_assert(sizeof(std::time_t) == 8, "the seconds of the fixed block have 64 bits");

namespace {

// The file that assertions name, whichever holds the code: who reads logs knows it.
constexpr const char* log_file = "Objects.cpp";

// A list that is too short for its count has none.
std::uint32_t instance_count(const unsigned char* list, unsigned length)
{
    return list != nullptr && length >= count_size ? get(list, instance_list::count) : 0;
}

// As they stand: what is no normal form stays so.
void get_time(const unsigned char* bytes, Field_Of<std::int64_t> seconds,
              Field_Of<std::int32_t> microseconds, ACE_Time_Value& time)
{
    time.sec(get(bytes, seconds));
    time.usec(get(bytes, microseconds));
}

void get_fixed_block(const unsigned char* bytes, KR_ObjectBase& object)
{
    using namespace fixed_block;
    object.SensorId.word1 = get(bytes, sensor_word1);
    object.SensorId.word2 = get(bytes, sensor_word2);
    object.ObjectId = get(bytes, object_id);
    object.DetectorType = static_cast<ns__DetectorType>(get(bytes, detector_type));
    get_time(bytes, first_seen_seconds, first_seen_microseconds, object.FirstSeenTime);
    object.Word1 = get(bytes, word1);
    object.Word2 = get(bytes, word2);
    get_time(bytes, second_time_seconds, second_time_microseconds, object.SecondTime);
    object.StatisticsWord1 = get(bytes, statistics_word1);
    object.StatisticsWord2 = get(bytes, statistics_word2);
    object.Duration = get(bytes, duration);
    get(bytes, class_scores, object.ClassScores);
    object.StatisticsWord7 = get(bytes, statistics_word7);
    object.StatisticsWord8 = get(bytes, statistics_word8);
}

// Returns the bytes consumed: none where the length or the data are cut short.
unsigned get_auxiliary_data(const unsigned char* bytes, unsigned length, KR_Auxiliary_Data& data)
{
    const auto size = static_cast<unsigned>(whole_auxiliary_size(bytes, length));
    if (size <= auxiliary_length_size)
        return size; // Quirk: without a byte of data the object keeps those that it has.
    if (data == nullptr)
        data = std::make_shared<std::vector<unsigned char>>();
    data->assign(bytes + auxiliary_length_size, bytes + size);
    return size;
}

} // namespace

unsigned KR_ObjectBase::deserialize(unsigned char* buffer, unsigned length, KR_ObjectBase* object)
{
    kr_assert(object != nullptr, "object != nullptr", log_file, __LINE__);
    if (buffer == nullptr || length < fixed_block_size)
        return deserialize_instances(nullptr, 0, object); // for its assertion alone
    get_fixed_block(buffer, *object);
    object->pending_instances_ = {};
    unsigned position = fixed_block_size;
    unsigned char* const list = buffer + position;
    // Quirk: a list that counts more than it holds goes on into the auxiliary data.
    position += deserialize_instances(list, length - position, object);
    if (object->Instances.size() < instance_count(list, length - fixed_block_size))
        return position; // cut short: what follows is no auxiliary data
    position += get_auxiliary_data(buffer + position, length - position, object->AuxiliaryData);
    return position;
}

namespace {

void get_instance_time(const unsigned char* bytes, ACE_Time_Value& time)
{
    const auto [seconds, microseconds] = instance_time(bytes);
    time.sec(seconds);
    time.usec(microseconds);
}

void get_instance(const unsigned char* bytes, KR_ObjectBase::Instance& instance)
{
    using namespace entry;
    get_instance_time(bytes, instance.Time);
    instance.PersonValue = get(bytes, person);
    instance.VehicleValue = get(bytes, vehicle);
    instance.ObjectValue = get(bytes, object);
    instance.UnknownValue = get(bytes, unknown);
    instance.Box = ordered_box(bytes);
    instance.Float1 = get(bytes, floats[0]);
    instance.Float2 = get(bytes, floats[1]);
    instance.Flag = get(bytes, flag);
    get(bytes, group, instance.Group);
    instance.Number = std::int32_t{get(bytes, number)};
    instance.PointX = get(bytes, point[0]);
    instance.PointY = get(bytes, point[1]);
}

void get_color(const unsigned char* bytes, ns__RgbColorArea& color)
{
    using namespace color_entry;
    color.color.red = get(bytes, red);
    color.color.green = get(bytes, green);
    color.color.blue = get(bytes, blue);
    color.area = get(bytes, area);
    color.code = std::int32_t{get(bytes, code)};
}

// Appends one instance with its colours; returns its length, or 0 where it is cut short.
unsigned append_instance(const unsigned char* bytes, unsigned length,
                         std::vector<KR_ObjectBase::Instance>& instances)
{
    const auto size = static_cast<unsigned>(whole_entry_size(bytes, length));
    if (size == 0)
        return 0;
    KR_ObjectBase::Instance& instance = instances.emplace_back();
    get_instance(bytes, instance);
    instance.Colors.resize(readable_colors(bytes));
    bytes += entry_size;
    for (ns__RgbColorArea& color : instance.Colors) {
        get_color(bytes, color);
        bytes += color_size;
    }
    return size;
}

// Room for as many as the list counts, but not for more than its bytes can hold.
void reserve_instances(std::size_t count, unsigned length,
                       std::vector<KR_ObjectBase::Instance>& instances)
{
    const std::size_t possible = instances.size() + length / entry_size;
    instances.reserve(size_for(instances, std::min(count, possible)));
}

// Appends until the object holds as many instances as the list counts; returns the bytes consumed.
unsigned append_instances(const unsigned char* list, unsigned length,
                          std::vector<KR_ObjectBase::Instance>& instances)
{
    if (list == nullptr || length < count_size)
        return 0;
    const std::size_t count = instance_count(list, length);
    unsigned position = count_size;
    reserve_instances(count, length - position, instances);
    while (instances.size() < count) {
        const unsigned size = append_instance(list + position, length - position, instances);
        if (size == 0)
            break;
        position += size;
    }
    return position;
}

} // namespace

unsigned KR_ObjectBase::deserialize_instances(unsigned char* buffer, unsigned length,
                                              KR_ObjectBase* object)
{
    kr_assert(object != nullptr, "object != nullptr", log_file, __LINE__);
    const unsigned position = append_instances(buffer, length, object->Instances);
    kr_assert(!object->Instances.empty(), "obj->Instances.size() > 0", log_file, __LINE__);
    return position;
}

unsigned KR_ObjectBase::deserialize_instances()
{
    const auto length = static_cast<unsigned>(pending_instances_.size());
    const unsigned position = deserialize_instances(pending_instances_.data(), length, this);
    pending_instances_ = {};
    return position;
}

// The reader of the binary form: KR_ObjectBase::deserialize(), decode() and what belongs to them.

#include <KRCommon/objects/Record_Reader.h>

#include <KRCommon/frame/Log.h>
#include <KRCommon/objects/Objects.h>
#include <KRCommon/util/Sizes.h>

#include <algorithm>
#include <ctime>
#include <utility>

using namespace kr_internal;

static_assert(sizeof(std::time_t) == 8, "the seconds of the fixed block have 64 bits");

namespace {

using Instance = KR_ObjectBase::Instance;
using Colors = std::vector<ns__RgbColorArea>;

void get_instance_time(const unsigned char* bytes, ACE_Time_Value& time)
{
    const auto [seconds, microseconds] = instance_time(bytes);
    time.sec(seconds);
    time.usec(microseconds);
}

void get_instance(const unsigned char* bytes, Instance& instance)
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

// An empty list gets the memory of one that there is to spare.
void get_colors(const unsigned char* bytes, unsigned count, Colors& colors,
                std::vector<Colors>& spare)
{
    if (count > 0 && !spare.empty()) {
        colors.swap(spare.back());
        spare.pop_back();
    }
    colors.resize(count);
    for (ns__RgbColorArea& color : colors) {
        get_color(bytes, color);
        bytes += color_size;
    }
}

// Appends one instance with its colours, or nothing when there is no memory for these.
void append_instance(const unsigned char* bytes, std::vector<Instance>& instances,
                     std::vector<Colors>& spare)
{
    Instance& instance = instances.emplace_back();
    get_instance(bytes, instance);
    try {
        get_colors(bytes + entry_size, readable_colors(bytes), instance.Colors, spare);
    } catch (const std::bad_alloc&) {
        instances.pop_back();
        throw;
    }
}

// Room for as many as the list counts, but not for more than its bytes can hold.
void make_room(std::size_t count, std::size_t length, std::vector<Instance>& instances)
{
    const std::size_t possible = instances.size() + length / entry_size;
    const std::size_t needed = size_for(instances, std::min(count, possible));
    if (needed <= instances.capacity())
        return;
    // Twice the room at least, or each of many small lists would move all that is there.
    const std::size_t twice = std::min(instances.capacity(), instances.max_size() / 2) * 2;
    instances.reserve(std::max(needed, twice));
}

// A list that is too short for its count has none.
std::size_t instance_count(const unsigned char* list, std::size_t length)
{
    return list != nullptr && length >= count_size ? get(list, instance_list::count) : 0;
}

// Appends until there are as many instances as the list counts; returns the bytes consumed.
std::size_t append_instances(const unsigned char* list, std::size_t length,
                             std::vector<Instance>& instances, std::vector<Colors>& spare)
{
    if (list == nullptr || length < count_size)
        return 0;
    const std::size_t count = instance_count(list, length);
    std::size_t position = count_size;
    make_room(count, length - position, instances);
    while (instances.size() < count) {
        const std::size_t size = whole_entry_size(list + position, length - position);
        if (size == 0)
            break;
        append_instance(list + position, instances, spare);
        position += size;
    }
    return position;
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
std::size_t get_auxiliary_data(const unsigned char* bytes, std::size_t length,
                               KR_Auxiliary_Data& data)
{
    const std::size_t size = whole_auxiliary_size(bytes, length);
    if (size <= auxiliary_length_size)
        return size; // Quirk: without a byte of data the object keeps those that it has.
    if (data == nullptr)
        data = std::make_shared<std::vector<unsigned char>>();
    data->assign(bytes + auxiliary_length_size, bytes + size);
    return size;
}

// Of a record whose fixed block is whole. Returns the bytes consumed.
std::size_t get_record(const unsigned char* record, std::size_t length, KR_ObjectBase& object,
                       std::vector<Colors>& spare)
{
    get_fixed_block(record, object);
    const unsigned char* const list = record + fixed_block_size;
    std::size_t position = fixed_block_size;
    // Quirk: a list that counts more than it holds goes on into the auxiliary data.
    position += append_instances(list, length - position, object.Instances, spare);
    if (object.Instances.size() < instance_count(list, length - fixed_block_size))
        return position; // cut short: what follows is no auxiliary data
    return position +
           get_auxiliary_data(record + position, length - position, object.AuxiliaryData);
}

// The file that assertions name, whichever holds the code: who reads logs knows it.
constexpr const char* log_file = "Objects.cpp";

void require_instances(const KR_ObjectBase& object)
{
    kr_assert(!object.Instances.empty(), "obj->Instances.size() > 0", log_file, __LINE__);
}

} // namespace

unsigned KR_ObjectBase::deserialize(unsigned char* buffer, unsigned length, KR_ObjectBase* object)
{
    kr_assert(object != nullptr, "object != nullptr", log_file, __LINE__);
    std::size_t position = 0;
    if (buffer != nullptr && length >= fixed_block_size) {
        object->pending_instances_ = {};
        position = get_record(buffer, length, *object, object->spare_colors_.lists);
    }
    require_instances(*object);
    return static_cast<unsigned>(position);
}

unsigned KR_ObjectBase::deserialize_instances(unsigned char* buffer, unsigned length,
                                              KR_ObjectBase* object)
{
    kr_assert(object != nullptr, "object != nullptr", log_file, __LINE__);
    const std::size_t position =
        append_instances(buffer, length, object->Instances, object->spare_colors_.lists);
    require_instances(*object);
    return static_cast<unsigned>(position);
}

unsigned KR_ObjectBase::deserialize_instances()
{
    const std::size_t held = Instances.size();
    const auto length = static_cast<unsigned>(pending_instances_.size());
    unsigned position = 0;
    try {
        position = deserialize_instances(pending_instances_.data(), length, this);
    } catch (const std::bad_alloc&) {
        // The list is still there: another call begins with its first instance again.
        Instances.resize(held);
        throw;
    }
    pending_instances_ = {};
    return position;
}

KR_Record_Status KR_ObjectBase::decode(const unsigned char* record, std::size_t length)
{
    const KR_Record_Status status = check_record(record, length);
    if (status.state == KR_Record_State::cut_in_fixed_block)
        return status;
    clear();
    get_record(record, length, *this, spare_colors_.lists);
    return status;
}

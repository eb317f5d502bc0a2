#include <KRCommon/objects/Objects.h>

#include <KRCommon/frame/Log.h>
#include <KRCommon/util/Little_Endian.h>
#include <KRCommon/util/Sizes.h>

#include <emmintrin.h>

#include <algorithm>
#include <cstring>
#include <ctime>
#include <type_traits>

using namespace kr_internal;

static_assert(std::is_nothrow_move_constructible_v<KR_ObjectBase> &&
              std::is_nothrow_move_assignable_v<KR_ObjectBase>);
static_assert(std::is_nothrow_move_constructible_v<KR_ObjectBase::Instance> &&
                  std::is_nothrow_move_assignable_v<KR_ObjectBase::Instance>,
              "a growing instance list would copy every colour list");
static_assert(sizeof(std::time_t) == 8, "the seconds of the fixed block have 64 bits");

KR_ObjectBase::KR_ObjectBase() : AuxiliaryData(std::make_shared<std::vector<unsigned char>>()) {}

KR_ObjectBase::KR_ObjectBase(const KR_ObjectBase& other) = default;
KR_ObjectBase::KR_ObjectBase(KR_ObjectBase&& other) noexcept = default;
KR_ObjectBase& KR_ObjectBase::operator=(const KR_ObjectBase& other) = default;
KR_ObjectBase& KR_ObjectBase::operator=(KR_ObjectBase&& other) noexcept = default;
KR_ObjectBase::~KR_ObjectBase() = default;

bool KR_ObjectBase::operator==(const KR_ObjectBase& other) const
{
    return ObjectId == other.ObjectId && SensorId == other.SensorId;
}

void KR_ObjectBase::set_pending_instances(const unsigned char* list, unsigned length)
{
    pending_instances_ = list != nullptr ? std::vector<unsigned char>(list, list + length)
                                         : std::vector<unsigned char>();
}

unsigned KR_ObjectBase::pending_instances_length() const noexcept
{
    return static_cast<unsigned>(pending_instances_.size());
}

namespace {

// The parts of a record, in their order: the fixed block, the instance list, which is a count and
// the entries, the length of the auxiliary data, the auxiliary data.

constexpr unsigned fixed_block_size = 132;
constexpr unsigned count_size = 4;
constexpr unsigned instance_size = 68; // without its colours
constexpr unsigned color_size = 5;
constexpr unsigned auxiliary_length_size = 4;

namespace fixed_block {
constexpr Field sensor_word1{8, 4};
constexpr Field sensor_word2{12, 4};
constexpr Field object_id{20, 8};
constexpr Field detector_type{28, 4};
constexpr Field first_seen_seconds{44, 8};
constexpr Field first_seen_microseconds{52, 4};
constexpr Field word1{60, 4};
constexpr Field word2{64, 4};
constexpr Field second_time_seconds{76, 8};
constexpr Field second_time_microseconds{84, 4};
constexpr Field statistics_word1{92, 4};
constexpr Field statistics_word2{96, 4};
constexpr Field duration{100, 4};
constexpr Field class_scores{104, 12};
constexpr Field statistics_word7{116, 4};
constexpr Field statistics_word8{120, 4};
// Where the writing process kept its pending instances, which means nothing to a reader.
constexpr Field pending_reference{124, 4};
constexpr Field pending_length{128, 4};

constexpr Field fields[] = {
    {0, 4},
    {4, 4},
    sensor_word1,
    sensor_word2,
    {16, 4}, // those without a name are reserved
    object_id,
    detector_type,
    {32, 4},
    {36, 8},
    first_seen_seconds,
    first_seen_microseconds,
    {56, 4},
    word1,
    word2,
    {68, 8},
    second_time_seconds,
    second_time_microseconds,
    {88, 4},
    statistics_word1,
    statistics_word2,
    duration,
    class_scores,
    statistics_word7,
    statistics_word8,
    pending_reference,
    pending_length,
};
static_assert(tiles(fields, fixed_block_size), "the fixed block must tile its 132 bytes");
} // namespace fixed_block

namespace entry {
constexpr Field seconds{0, 4};
constexpr Field microseconds{4, 4};
constexpr Field person{8, 1};
constexpr Field vehicle{9, 1};
constexpr Field object{10, 1};
constexpr Field unknown{11, 1};
constexpr Field box{12, 16};
constexpr Field floats{28, 8};
constexpr Field flag{36, 1};
constexpr Field reserved1{37, 3};
constexpr Field group{40, 16};
constexpr Field number{56, 1};
constexpr Field color_count{57, 1};
constexpr Field reserved2{58, 2};
constexpr Field point{60, 8};

constexpr Field fields[] = {seconds, microseconds, person,      vehicle,   object,
                            unknown, box,          floats,      flag,      reserved1,
                            group,   number,       color_count, reserved2, point};
static_assert(tiles(fields, instance_size), "InstanceForDB must tile its 68 bytes");
} // namespace entry

namespace color_entry {
constexpr Field red{0, 1};
constexpr Field green{1, 1};
constexpr Field blue{2, 1};
constexpr Field area{3, 1};
constexpr Field code{4, 1};

constexpr Field fields[] = {red, green, blue, area, code};
static_assert(tiles(fields, color_size), "a colour must tile its 5 bytes");
} // namespace color_entry

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
    put_i32(bytes, sensor_word1.offset, object.SensorId.word1);
    put_i32(bytes, sensor_word2.offset, object.SensorId.word2);
    put_u64(bytes, object_id.offset, object.ObjectId);
    put_i32(bytes, detector_type.offset, object.DetectorType);
    put_i64(bytes, first_seen_seconds.offset, object.FirstSeenTime.sec());
    put_i32(bytes, first_seen_microseconds.offset,
            static_cast<std::int32_t>(object.FirstSeenTime.usec()));
    put_i32(bytes, word1.offset, object.Word1);
    put_i32(bytes, word2.offset, object.Word2);
    put_i64(bytes, second_time_seconds.offset, object.SecondTime.sec());
    put_i32(bytes, second_time_microseconds.offset,
            static_cast<std::int32_t>(object.SecondTime.usec()));
    put_i32(bytes, statistics_word1.offset, object.StatisticsWord1);
    put_i32(bytes, statistics_word2.offset, object.StatisticsWord2);
    put_u32(bytes, duration.offset, object.Duration);
    put_floats(bytes, class_scores.offset, object.ClassScores);
    put_i32(bytes, statistics_word7.offset, object.StatisticsWord7);
    put_i32(bytes, statistics_word8.offset, object.StatisticsWord8);
}

unsigned put_auxiliary_data(unsigned char* bytes, const KR_Auxiliary_Data& data)
{
    const auto length = static_cast<std::uint32_t>(auxiliary_size(data));
    put_u32(bytes, 0, length);
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
    return instance_size + std::uint64_t{color_size} * instance.Colors.size();
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

// As one number, since one wide store costs much less than four narrow ones.
std::uint32_t four_bytes(std::uint8_t first, std::uint8_t second, std::uint8_t third,
                         std::uint8_t fourth)
{
    return first | std::uint32_t{second} << 8 | std::uint32_t{third} << 16 |
           std::uint32_t{fourth} << 24;
}

// Truncated toward zero; the low 8 bits. A float that no int32 can hold, a NaN too, becomes
// -2147483648 as the processor has it (where a cast would be undefined), which gives 0.
std::uint8_t truncated_low_byte(float number)
{
    return low_byte(_mm_cvttss_si32(_mm_set_ss(number)));
}

// The same for the four class values at once.
std::uint32_t class_bytes(const KR_ObjectBase::Instance& instance)
{
    const __m128 values = _mm_setr_ps(instance.PersonValue, instance.VehicleValue,
                                      instance.ObjectValue, instance.UnknownValue);
    const __m128i low_bytes = _mm_and_si128(_mm_cvttps_epi32(values), _mm_set1_epi32(0xFF));
    const __m128i words = _mm_packs_epi32(low_bytes, low_bytes);
    return static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_packus_epi16(words, words)));
}

// The reserved bytes after the flag and the colour count are the zeros of the same store.
void put_instance(unsigned char* bytes, const KR_ObjectBase::Instance& instance)
{
    using namespace entry;
    const Geom_Box2D<float>& corners = instance.Box;
    const auto colors = static_cast<std::uint8_t>(instance.Colors.size());
    put_i32(bytes, seconds.offset, static_cast<std::int32_t>(instance.Time.sec()));
    put_i32(bytes, microseconds.offset, static_cast<std::int32_t>(instance.Time.usec()));
    put_u32(bytes, person.offset, class_bytes(instance));
    put_floats(bytes, box.offset, {corners.MinX, corners.MinY, corners.MaxX, corners.MaxY});
    put_floats(bytes, floats.offset, {instance.Float1, instance.Float2});
    put_u32(bytes, flag.offset, four_bytes(instance.Flag, 0, 0, 0));
    put_floats(bytes, group.offset, instance.Group);
    put_u32(bytes, number.offset, four_bytes(low_byte(instance.Number), colors, 0, 0));
    put_floats(bytes, point.offset, {instance.PointX, instance.PointY});
}

void put_color(unsigned char* bytes, const ns__RgbColorArea& color)
{
    using namespace color_entry;
    const ns__RgbColor& rgb = color.color;
    const std::uint8_t share = truncated_low_byte(color.area);
    put_u32(bytes, red.offset, four_bytes(rgb.red, rgb.green, rgb.blue, share));
    put_u8(bytes, code.offset, low_byte(color.code));
}

void put_instance_and_colors(unsigned char* bytes, const KR_ObjectBase::Instance& instance)
{
    put_instance(bytes, instance);
    bytes += instance_size;
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
    kr_log((KR_Log_Site{"Objects.cpp", __LINE__, LM_ERROR}),
           "%T T%04t*ERR KR_ObjectBase::serialize_instances - going to overrun buffer for object "
           "id %Q while trying to add InstanceForDB, current buffer position (%x), buffer base "
           "address (%x), instance size to add (%d), used size (%d) from (%d), instance (%d) of "
           "(%d), trimming instances to (%d) from (%d)\n",
           object.ObjectId, base + stop.position, base, shown(instance_size), shown(stop.position),
           shown(stop.limit), instance, instances, instance, instances);
}

void log_color_overrun(const KR_ObjectBase& object, const Stop& stop)
{
    const unsigned base = low_32_bits(stop.list);
    const auto instances = static_cast<int>(object.Instances.size());
    const int instance = shown(stop.instance);
    const auto colors = static_cast<int>(object.Instances[stop.instance].Colors.size());
    const unsigned fitting = (stop.limit - stop.position - instance_size) / color_size;
    const unsigned used = stop.position + instance_size + fitting * color_size;
    kr_log((KR_Log_Site{"Objects.cpp", __LINE__, LM_ERROR}),
           "%T T%04t*ERR KR_ObjectBase::serialize_instances - going to overrun buffer for object "
           "id %Q while trying to add Color, current buffer position (%x), buffer base address "
           "(%x), instance size to add (%d), used size (%d) from (%d), instance (%d) of (%d), "
           "color (%d) from (%d), trimming instances to (%d) from (%d)\n",
           object.ObjectId, base + used, base, shown(color_size), shown(used), shown(stop.limit),
           instance, instances, shown(fitting), colors, instance, instances);
}

void log_overrun(const KR_ObjectBase& object, const Stop& stop)
{
    if (std::uint64_t{stop.position} + instance_size > stop.limit)
        log_instance_overrun(object, stop);
    else
        log_color_overrun(object, stop);
}

} // namespace

unsigned KR_ObjectBase::serialize_instances(unsigned char* buffer, unsigned limit) const
{
    put_u32(buffer, 0, static_cast<std::uint32_t>(Instances.size()));
    unsigned position = count_size;
    unsigned index = 0;
    for (const Instance& instance : Instances) {
        const std::uint64_t end = position + encoded_size(instance);
        if (end > limit) {
            log_overrun(*this, {buffer, position, limit, index});
            put_u32(buffer, 0, index);
            return position;
        }
        put_instance_and_colors(buffer + position, instance);
        position = static_cast<unsigned>(end);
        ++index;
    }
    return position;
}

namespace {

// A list that is too short for its count has none.
std::uint32_t instance_count(const unsigned char* list, unsigned length)
{
    return list != nullptr && length >= count_size ? get_u32(list, 0) : 0;
}

// As they stand: what is no normal form stays so.
void get_time(const unsigned char* bytes, Field seconds, Field microseconds, ACE_Time_Value& time)
{
    time.sec(get_i64(bytes, seconds.offset));
    time.usec(get_i32(bytes, microseconds.offset));
}

void get_fixed_block(const unsigned char* bytes, KR_ObjectBase& object)
{
    using namespace fixed_block;
    object.SensorId.word1 = get_i32(bytes, sensor_word1.offset);
    object.SensorId.word2 = get_i32(bytes, sensor_word2.offset);
    object.ObjectId = get_u64(bytes, object_id.offset);
    object.DetectorType = static_cast<ns__DetectorType>(get_i32(bytes, detector_type.offset));
    get_time(bytes, first_seen_seconds, first_seen_microseconds, object.FirstSeenTime);
    object.Word1 = get_i32(bytes, word1.offset);
    object.Word2 = get_i32(bytes, word2.offset);
    get_time(bytes, second_time_seconds, second_time_microseconds, object.SecondTime);
    object.StatisticsWord1 = get_i32(bytes, statistics_word1.offset);
    object.StatisticsWord2 = get_i32(bytes, statistics_word2.offset);
    object.Duration = get_u32(bytes, duration.offset);
    get_floats(bytes, class_scores.offset, object.ClassScores);
    object.StatisticsWord7 = get_i32(bytes, statistics_word7.offset);
    object.StatisticsWord8 = get_i32(bytes, statistics_word8.offset);
}

// Returns the bytes consumed: none where the length or the data are cut short.
unsigned get_auxiliary_data(const unsigned char* bytes, unsigned length, KR_Auxiliary_Data& data)
{
    if (length < auxiliary_length_size)
        return 0;
    const std::uint32_t data_length = get_u32(bytes, 0);
    if (data_length > length - auxiliary_length_size)
        return 0;
    if (data_length == 0)
        return auxiliary_length_size; // Quirk: the object keeps the data that it has.
    if (data == nullptr)
        data = std::make_shared<std::vector<unsigned char>>();
    const unsigned char* const first = bytes + auxiliary_length_size;
    data->assign(first, first + data_length);
    return auxiliary_length_size + data_length;
}

} // namespace

unsigned KR_ObjectBase::deserialize(unsigned char* buffer, unsigned length, KR_ObjectBase* object)
{
    kr_assert(object != nullptr, "object != nullptr", "Objects.cpp", __LINE__);
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

constexpr std::int32_t microseconds_per_second = 1'000'000;

// As ACE_Time_Value takes a timeval: carried into whole seconds, both numbers of one sign.
void get_instance_time(const unsigned char* bytes, ACE_Time_Value& time)
{
    std::int64_t seconds = get_i32(bytes, entry::seconds.offset);
    std::int32_t microseconds = get_i32(bytes, entry::microseconds.offset);
    if (seconds < 0 || microseconds < 0 || microseconds >= microseconds_per_second) {
        const std::int64_t total = seconds * microseconds_per_second + microseconds;
        seconds = total / microseconds_per_second;
        microseconds = static_cast<std::int32_t>(total % microseconds_per_second);
    }
    time.sec(seconds);
    time.usec(microseconds);
}

// The smaller of each pair first. A pair with a NaN stays in the order in which it is stored.
Geom_Box2D<float> get_box(const unsigned char* bytes)
{
    float corners[4];
    get_floats(bytes, entry::box.offset, corners);
    const auto [x1, y1, x2, y2] = corners;
    return {x2 < x1 ? x2 : x1, y2 < y1 ? y2 : y1, x2 < x1 ? x1 : x2, y2 < y1 ? y1 : y2};
}

void get_instance(const unsigned char* bytes, KR_ObjectBase::Instance& instance)
{
    using namespace entry;
    get_instance_time(bytes, instance.Time);
    instance.PersonValue = get_i8(bytes, person.offset);
    instance.VehicleValue = get_i8(bytes, vehicle.offset);
    instance.ObjectValue = get_i8(bytes, object.offset);
    instance.UnknownValue = get_i8(bytes, unknown.offset);
    instance.Box = get_box(bytes);
    instance.Float1 = get_float(bytes, floats.offset);
    instance.Float2 = get_float(bytes, floats.offset + 4);
    instance.Flag = get_u8(bytes, flag.offset);
    get_floats(bytes, group.offset, instance.Group);
    instance.Number = std::int32_t{get_i8(bytes, number.offset)};
    instance.PointX = get_float(bytes, point.offset);
    instance.PointY = get_float(bytes, point.offset + 4);
}

void get_color(const unsigned char* bytes, ns__RgbColorArea& color)
{
    using namespace color_entry;
    color.color.red = get_u8(bytes, red.offset);
    color.color.green = get_u8(bytes, green.offset);
    color.color.blue = get_u8(bytes, blue.offset);
    color.area = get_i8(bytes, area.offset);
    color.code = std::int32_t{get_i8(bytes, code.offset)};
}

// Quirk: the count is a signed byte, so of 128 to 256 colours none are read.
unsigned get_color_count(const unsigned char* bytes)
{
    return static_cast<unsigned>(std::max<int>(get_i8(bytes, entry::color_count.offset), 0));
}

// Appends one instance with its colours; returns its length, or 0 where it is cut short.
unsigned append_instance(const unsigned char* bytes, unsigned length,
                         std::vector<KR_ObjectBase::Instance>& instances)
{
    if (length < instance_size)
        return 0;
    const unsigned color_count = get_color_count(bytes);
    const unsigned size = instance_size + color_count * color_size;
    if (length < size)
        return 0;
    KR_ObjectBase::Instance& instance = instances.emplace_back();
    get_instance(bytes, instance);
    instance.Colors.resize(color_count);
    bytes += instance_size;
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
    const std::size_t possible = instances.size() + length / instance_size;
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
    kr_assert(object != nullptr, "object != nullptr", "Objects.cpp", __LINE__);
    const unsigned position = append_instances(buffer, length, object->Instances);
    kr_assert(!object->Instances.empty(), "obj->Instances.size() > 0", "Objects.cpp", __LINE__);
    return position;
}

unsigned KR_ObjectBase::deserialize_instances()
{
    const auto length = static_cast<unsigned>(pending_instances_.size());
    const unsigned position = deserialize_instances(pending_instances_.data(), length, this);
    pending_instances_ = {};
    return position;
}

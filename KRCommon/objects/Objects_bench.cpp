// What the record of an object costs to write, read and query, beside two peers and beside what
// the memory allows, in the same run. The column CPU is one record, another one each time; the
// number after the name is its instances, with 3 colours each and 200 bytes of auxiliary data.
//
//   Memcpy                   limit of both ways: the finished bytes copied
//   Encode                   serialize() into a buffer of the right size
//   EncodeSized              serialize_size() first
//   EncodeShort              with a budget that is one byte short; the log line is masked
//   EncodeSourceTouch        limit: one byte read per cache line of the object and its lists
//   EncodeProtobufFilled     protobuf from a message that is already filled
//   EncodeProtobuf           object -> message in an arena -> bytes
//   EncodeFlatBuffers        object -> bytes, the builder used again
//   Decode                   deserialize() into a fresh object, which is destroyed again
//   DecodeReused             into an object that is used again
//   DecodeChecked            decode() into a fresh object
//   DecodeCheckedReused      decode() into an object that is used again
//   DecodeAllocation         limit: an object with its instances and their colours made and
//                            destroyed, nothing read
//   DecodeProtobufArena      protobuf, bytes -> message in an arena; nothing copied out of it
//   DecodeProtobufNoArena    the same into a message of its own
//   DecodeProtobufReused     the same into a message that is used again
//   DecodeFlatBuffers        verified, then copied into a fresh object
//   AppendLists              so many lists of one more instance each, deserialize_instances() into
//                            one object; linear in their number
//   Test                     test() of 100,000 objects, of which about 4 % match; the counter
//                            "each" is one object
//   Fill                     Fill() of a fresh result; window -1 is every instance

#include <KRCommon/objects/Objects.h>
#include <KRCommon/objects/Objects_bench.h>

#include <ace/Log_Msg.h>

#include <Objects_bench.pb.h>
#include <Objects_bench_generated.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace {

using namespace kr_record_bench;

// An object as a protobuf message and back.

void fill_message(const Instance& instance, kr_bench::Instance& message)
{
    message.set_seconds(static_cast<std::int32_t>(instance.Time.sec()));
    message.set_microseconds(static_cast<std::int32_t>(instance.Time.usec()));
    message.set_person(static_cast<std::int32_t>(instance.PersonValue));
    message.set_vehicle(static_cast<std::int32_t>(instance.VehicleValue));
    message.set_object(static_cast<std::int32_t>(instance.ObjectValue));
    message.set_unknown(static_cast<std::int32_t>(instance.UnknownValue));
    kr_bench::Box& box = *message.mutable_box();
    box.set_min_x(instance.Box.MinX);
    box.set_min_y(instance.Box.MinY);
    box.set_max_x(instance.Box.MaxX);
    box.set_max_y(instance.Box.MaxY);
    message.set_float1(instance.Float1);
    message.set_float2(instance.Float2);
    message.set_flag(instance.Flag);
    message.mutable_group()->Add(std::begin(instance.Group), std::end(instance.Group));
    message.set_number(instance.Number);
    message.mutable_colors()->Reserve(static_cast<int>(instance.Colors.size()));
    for (const ns__RgbColorArea& color : instance.Colors) {
        kr_bench::Color& each = *message.add_colors();
        each.set_rgb(color.color.red | std::uint32_t{color.color.green} << 8 |
                     std::uint32_t{color.color.blue} << 16);
        each.set_area(static_cast<std::int32_t>(color.area));
        each.set_code(color.code);
    }
    message.set_point_x(instance.PointX);
    message.set_point_y(instance.PointY);
}

void fill_message(const ACE_Time_Value& time, kr_bench::Time& message)
{
    message.set_seconds(time.sec());
    message.set_microseconds(static_cast<std::int32_t>(time.usec()));
}

void fill_message(const KR_ObjectBase& object, kr_bench::Record& message)
{
    message.mutable_sensor()->set_word1(object.SensorId.word1);
    message.mutable_sensor()->set_word2(object.SensorId.word2);
    message.set_object_id(object.ObjectId);
    message.set_detector_type(object.DetectorType);
    fill_message(object.FirstSeenTime, *message.mutable_first_seen_time());
    message.set_word1(object.Word1);
    message.set_word2(object.Word2);
    fill_message(object.SecondTime, *message.mutable_second_time());
    kr_bench::Statistics& statistics = *message.mutable_statistics();
    statistics.set_word1(object.StatisticsWord1);
    statistics.set_word2(object.StatisticsWord2);
    statistics.set_duration(object.Duration);
    statistics.mutable_class_scores()->Add(std::begin(object.ClassScores),
                                           std::end(object.ClassScores));
    statistics.set_word7(object.StatisticsWord7);
    statistics.set_word8(object.StatisticsWord8);
    message.mutable_instances()->Reserve(static_cast<int>(object.Instances.size()));
    for (const Instance& instance : object.Instances)
        fill_message(instance, *message.add_instances());
    message.set_auxiliary_data(object.AuxiliaryData->data(), object.AuxiliaryData->size());
}

Instance to_instance(const kr_bench::Instance& message)
{
    Instance instance;
    instance.Time.set(message.seconds(), message.microseconds());
    instance.PersonValue = static_cast<float>(message.person());
    instance.VehicleValue = static_cast<float>(message.vehicle());
    instance.ObjectValue = static_cast<float>(message.object());
    instance.UnknownValue = static_cast<float>(message.unknown());
    const kr_bench::Box& box = message.box();
    instance.Box = {box.min_x(), box.min_y(), box.max_x(), box.max_y()};
    instance.Float1 = message.float1();
    instance.Float2 = message.float2();
    instance.Flag = static_cast<std::uint8_t>(message.flag());
    std::copy(message.group().begin(), message.group().end(), instance.Group);
    instance.Number = message.number();
    for (const kr_bench::Color& each : message.colors()) {
        ns__RgbColorArea& color = instance.Colors.emplace_back();
        color.color.red = static_cast<std::uint8_t>(each.rgb());
        color.color.green = static_cast<std::uint8_t>(each.rgb() >> 8);
        color.color.blue = static_cast<std::uint8_t>(each.rgb() >> 16);
        color.area = static_cast<float>(each.area());
        color.code = each.code();
    }
    instance.PointX = message.point_x();
    instance.PointY = message.point_y();
    return instance;
}

KR_ObjectBase to_object(const kr_bench::Record& message)
{
    const kr_bench::Statistics& statistics = message.statistics();
    const std::string& auxiliary_data = message.auxiliary_data();
    KR_ObjectBase object;
    object.SensorId.word1 = message.sensor().word1();
    object.SensorId.word2 = message.sensor().word2();
    object.ObjectId = message.object_id();
    object.DetectorType = static_cast<ns__DetectorType>(message.detector_type());
    object.FirstSeenTime.set(message.first_seen_time().seconds(),
                             message.first_seen_time().microseconds());
    object.Word1 = message.word1();
    object.Word2 = message.word2();
    object.SecondTime.set(message.second_time().seconds(), message.second_time().microseconds());
    object.StatisticsWord1 = statistics.word1();
    object.StatisticsWord2 = statistics.word2();
    object.Duration = statistics.duration();
    std::copy(statistics.class_scores().begin(), statistics.class_scores().end(),
              object.ClassScores);
    object.StatisticsWord7 = statistics.word7();
    object.StatisticsWord8 = statistics.word8();
    for (const kr_bench::Instance& instance : message.instances())
        object.Instances.push_back(to_instance(instance));
    object.AuxiliaryData->assign(auxiliary_data.begin(), auxiliary_data.end());
    return object;
}

// And a FlatBuffers table as an object.

void copy_colors(const flatbuffers::Vector<const flat::Color*>& flat_colors,
                 std::vector<ns__RgbColorArea>& colors)
{
    colors.resize(flat_colors.size());
    flatbuffers::uoffset_t index = 0;
    for (ns__RgbColorArea& color : colors) {
        const flat::Color& each = *flat_colors.Get(index++);
        color.color.red = each.red();
        color.color.green = each.green();
        color.color.blue = each.blue();
        color.area = each.area();
        color.code = each.code();
    }
}

void copy_instance(const flat::Instance& table, Instance& instance)
{
    const flat::Observation& observation = *table.observation();
    instance.Time.set(observation.seconds(), observation.microseconds());
    instance.PersonValue = observation.person();
    instance.VehicleValue = observation.vehicle();
    instance.ObjectValue = observation.object();
    instance.UnknownValue = observation.unknown();
    const flat::Box& box = observation.box();
    instance.Box = {box.min_x(), box.min_y(), box.max_x(), box.max_y()};
    instance.Float1 = observation.float1();
    instance.Float2 = observation.float2();
    instance.Flag = observation.flag();
    std::copy(observation.group()->begin(), observation.group()->end(), instance.Group);
    instance.Number = observation.number();
    copy_colors(*table.colors(), instance.Colors);
    instance.PointX = observation.point_x();
    instance.PointY = observation.point_y();
}

void copy_scalars(const flat::Record& table, KR_ObjectBase& object)
{
    const flat::Statistics& statistics = *table.statistics();
    object.SensorId.word1 = table.sensor()->word1();
    object.SensorId.word2 = table.sensor()->word2();
    object.ObjectId = table.object_id();
    object.DetectorType = static_cast<ns__DetectorType>(table.detector_type());
    object.FirstSeenTime.set(table.first_seen_time()->seconds(),
                             table.first_seen_time()->microseconds());
    object.Word1 = table.word1();
    object.Word2 = table.word2();
    object.SecondTime.set(table.second_time()->seconds(), table.second_time()->microseconds());
    object.StatisticsWord1 = statistics.word1();
    object.StatisticsWord2 = statistics.word2();
    object.Duration = statistics.duration();
    std::copy(statistics.class_scores()->begin(), statistics.class_scores()->end(),
              object.ClassScores);
    object.StatisticsWord7 = statistics.word7();
    object.StatisticsWord8 = statistics.word8();
}

bool is_complete(const flat::Record& table)
{
    return table.sensor() != nullptr && table.first_seen_time() != nullptr &&
           table.second_time() != nullptr && table.statistics() != nullptr &&
           table.instances() != nullptr && table.auxiliary_data() != nullptr;
}

bool is_complete(const flat::Instance& table)
{
    return table.observation() != nullptr && table.colors() != nullptr;
}

// As any reader of bytes that it does not trust: verified first, and no field taken for granted.
bool read_flat(const Bytes& bytes, KR_ObjectBase& object)
{
    flatbuffers::Verifier verifier(bytes.data(), bytes.size());
    if (!flat::VerifyRecordBuffer(verifier))
        return false;
    const flat::Record& table = *flat::GetRecord(bytes.data());
    if (!is_complete(table))
        return false;
    copy_scalars(table, object);
    object.Instances.reserve(table.instances()->size());
    for (const flat::Instance* instance : *table.instances()) {
        if (!is_complete(*instance))
            return false;
        copy_instance(*instance, object.Instances.emplace_back());
    }
    object.AuxiliaryData->assign(table.auxiliary_data()->begin(), table.auxiliary_data()->end());
    return true;
}

// Whether two objects have the same content, as far as a record holds it.

auto fields(const ns__RgbColorArea& color)
{
    return std::tie(color.color.red, color.color.green, color.color.blue, color.area, color.code);
}

auto fields(const Instance& instance)
{
    const Geom_Box2D<float>& box = instance.Box;
    return std::tie(instance.Time, instance.PersonValue, instance.VehicleValue,
                    instance.ObjectValue, instance.UnknownValue, box.MinX, box.MinY, box.MaxX,
                    box.MaxY, box.IsSet, instance.Float1, instance.Float2, instance.Flag,
                    instance.Group[0], instance.Group[1], instance.Group[2], instance.Group[3],
                    instance.Number, instance.PointX, instance.PointY);
}

auto fields(const KR_ObjectBase& object)
{
    return std::tie(object.SensorId.word1, object.SensorId.word2, object.ObjectId,
                    object.DetectorType, object.FirstSeenTime, object.Word1, object.Word2,
                    object.SecondTime, object.StatisticsWord1, object.StatisticsWord2,
                    object.Duration, object.ClassScores[0], object.ClassScores[1],
                    object.ClassScores[2], object.StatisticsWord7, object.StatisticsWord8,
                    *object.AuxiliaryData);
}

bool same_color(const ns__RgbColorArea& one, const ns__RgbColorArea& other)
{
    return fields(one) == fields(other);
}

bool same_instance(const Instance& one, const Instance& other)
{
    return fields(one) == fields(other) &&
           std::equal(one.Colors.begin(), one.Colors.end(), other.Colors.begin(),
                      other.Colors.end(), same_color);
}

bool same_content(const KR_ObjectBase& one, const KR_ObjectBase& other)
{
    return fields(one) == fields(other) &&
           std::equal(one.Instances.begin(), one.Instances.end(), other.Instances.begin(),
                      other.Instances.end(), same_instance);
}

// The same objects in every form. All of one set have records of the same length.
struct Record_Set {
    explicit Record_Set(std::size_t instances);

    std::vector<KR_ObjectBase> objects;
    std::vector<Bytes> records;
    std::vector<kr_bench::Record> messages;
    std::vector<std::string> protobuf_records;
    std::vector<Bytes> flat_records;

private:
    void append(KR_ObjectBase object);
    void check(std::size_t index);
};

// Enough of them that a processor cannot learn their branches, few enough for its caches.
std::size_t objects_with(std::size_t instances)
{
    return std::clamp<std::size_t>(2'400 / instances, 8, 64);
}

Record_Set::Record_Set(std::size_t instances)
{
    Random random;
    for (std::size_t i = 0; i < objects_with(instances); ++i) {
        append(make_object(random, instances, colors_per_instance));
        check(i);
    }
}

void Record_Set::append(KR_ObjectBase object)
{
    Bytes& record = records.emplace_back(object.serialize_size(no_limit));
    const unsigned size = object.serialize(record.data(), no_limit);
    require(size == record.size(), "the length of the record");
    fill_message(object, messages.emplace_back());
    protobuf_records.push_back(messages.back().SerializeAsString());
    Flat_Writer writer;
    const flatbuffers::FlatBufferBuilder& flat_record = writer.write(object);
    flat_records.emplace_back(flat_record.GetBufferPointer(),
                              flat_record.GetBufferPointer() + flat_record.GetSize());
    objects.push_back(std::move(object));
}

void Record_Set::check(std::size_t index)
{
    const KR_ObjectBase& object = objects[index];
    Bytes& record = records[index];
    KR_ObjectBase decoded;
    const auto length = static_cast<unsigned>(record.size());
    require(KR_ObjectBase::deserialize(record.data(), length, &decoded) == length &&
                same_content(object, decoded),
            "the decoded record");
    kr_bench::Record message;
    require(message.ParseFromString(protobuf_records[index]) &&
                same_content(object, to_object(message)),
            "the decoded protobuf message");
    KR_ObjectBase flat_decoded;
    require(read_flat(flat_records[index], flat_decoded) && same_content(object, flat_decoded),
            "the decoded FlatBuffers table");
}

Record_Set& record_set(const benchmark::State& state)
{
    static std::map<std::size_t, Record_Set> sets;
    const auto instances = static_cast<std::size_t>(state.range(0));
    return sets.try_emplace(instances, instances).first->second;
}

// The benchmarks.

template <typename Inputs, typename Action>
void run_in_turn(benchmark::State& state, Inputs& inputs, Action action)
{
    std::size_t next = 0;
    for (auto _ : state) {
        action(inputs[next]);
        benchmark::ClobberMemory();
        next = next + 1 < inputs.size() ? next + 1 : 0;
    }
}

void report_size(benchmark::State& state, std::size_t bytes)
{
    state.counters["bytes"] = static_cast<double>(bytes);
}

void run_encode(benchmark::State& state, unsigned limit)
{
    const Record_Set& set = record_set(state);
    Bytes buffer(set.records[0].size());
    run_in_turn(state, set.objects, [&](const KR_ObjectBase& object) {
        benchmark::DoNotOptimize(object.serialize(buffer.data(), limit));
    });
    report_size(state, buffer.size());
}

void Encode(benchmark::State& state)
{
    run_encode(state, no_limit);
}

void EncodeSized(benchmark::State& state)
{
    const Record_Set& set = record_set(state);
    Bytes buffer(set.records[0].size());
    run_in_turn(state, set.objects, [&](const KR_ObjectBase& object) {
        if (object.serialize_size(no_limit) <= buffer.size())
            benchmark::DoNotOptimize(object.serialize(buffer.data(), no_limit));
    });
}

class Errors_Masked {
public:
    Errors_Masked() : process_(mask(ACE_Log_Msg::PROCESS)), thread_(mask(ACE_Log_Msg::THREAD))
    {
        mask(ACE_Log_Msg::PROCESS, 0);
        mask(ACE_Log_Msg::THREAD, 0);
    }
    Errors_Masked(const Errors_Masked&) = delete;
    Errors_Masked& operator=(const Errors_Masked&) = delete;
    ~Errors_Masked()
    {
        mask(ACE_Log_Msg::PROCESS, process_);
        mask(ACE_Log_Msg::THREAD, thread_);
    }

private:
    static u_long mask(ACE_Log_Msg::MASK_TYPE type)
    {
        return ACE_Log_Msg::instance()->priority_mask(type);
    }
    static void mask(ACE_Log_Msg::MASK_TYPE type, u_long priorities)
    {
        ACE_Log_Msg::instance()->priority_mask(priorities, type);
    }

    u_long process_;
    u_long thread_;
};

void EncodeShort(benchmark::State& state)
{
    const Errors_Masked masked;
    run_encode(state, record_set(state).objects[0].serialize_instances_size(no_limit) - 1);
}

void Memcpy(benchmark::State& state)
{
    const Record_Set& set = record_set(state);
    Bytes buffer(set.records[0].size());
    run_in_turn(state, set.records, [&](const Bytes& record) {
        std::memcpy(buffer.data(), record.data(), record.size());
        benchmark::DoNotOptimize(buffer.data());
    });
}

template <typename Item>
unsigned touch(const Item* items, std::size_t count)
{
    constexpr std::uintptr_t line = 64;
    const auto* const bytes = reinterpret_cast<const unsigned char*>(items);
    const std::size_t size = count * sizeof(Item);
    unsigned sum = bytes[0];
    for (std::size_t i = line - reinterpret_cast<std::uintptr_t>(bytes) % line; i < size; i += line)
        sum += bytes[i];
    return sum;
}

unsigned touch_all(const KR_ObjectBase& object)
{
    unsigned sum = touch(&object, 1);
    sum += touch(object.AuxiliaryData->data(), object.AuxiliaryData->size());
    sum += touch(object.Instances.data(), object.Instances.size());
    for (const Instance& instance : object.Instances)
        sum += touch(instance.Colors.data(), instance.Colors.size());
    return sum;
}

void EncodeSourceTouch(benchmark::State& state)
{
    run_in_turn(state, record_set(state).objects,
                [](const KR_ObjectBase& object) { benchmark::DoNotOptimize(touch_all(object)); });
}

void EncodeProtobufFilled(benchmark::State& state)
{
    const Record_Set& set = record_set(state);
    Bytes buffer(2 * set.protobuf_records[0].size());
    run_in_turn(state, set.messages, [&](const kr_bench::Record& message) {
        benchmark::DoNotOptimize(
            message.SerializeToArray(buffer.data(), static_cast<int>(buffer.size())));
    });
    report_size(state, set.protobuf_records[0].size());
}

// Messages in an arena whose first block holds all that one record needs.
class Message_Arena {
public:
    kr_bench::Record* fresh_message()
    {
        arena_.Reset();
        return google::protobuf::Arena::CreateMessage<kr_bench::Record>(&arena_);
    }

private:
    static google::protobuf::ArenaOptions options(std::vector<char>& block)
    {
        google::protobuf::ArenaOptions options;
        options.initial_block = block.data();
        options.initial_block_size = block.size();
        return options;
    }

    std::vector<char> block_ = std::vector<char>(1U << 19);
    google::protobuf::Arena arena_{options(block_)};
};

void EncodeProtobuf(benchmark::State& state)
{
    const Record_Set& set = record_set(state);
    Bytes buffer(2 * set.protobuf_records[0].size());
    Message_Arena arena;
    run_in_turn(state, set.objects, [&](const KR_ObjectBase& object) {
        kr_bench::Record* const message = arena.fresh_message();
        fill_message(object, *message);
        benchmark::DoNotOptimize(
            message->SerializeToArray(buffer.data(), static_cast<int>(buffer.size())));
    });
}

void EncodeFlatBuffers(benchmark::State& state)
{
    const Record_Set& set = record_set(state);
    Flat_Writer writer;
    run_in_turn(state, set.objects, [&](const KR_ObjectBase& object) {
        benchmark::DoNotOptimize(writer.write(object).GetBufferPointer());
    });
    report_size(state, set.flat_records[0].size());
}

void decode(Bytes& record, KR_ObjectBase& object)
{
    benchmark::DoNotOptimize(
        KR_ObjectBase::deserialize(record.data(), static_cast<unsigned>(record.size()), &object));
}

void Decode(benchmark::State& state)
{
    run_in_turn(state, record_set(state).records, [](Bytes& record) {
        KR_ObjectBase object;
        decode(record, object);
    });
}

void DecodeReused(benchmark::State& state)
{
    KR_ObjectBase object;
    run_in_turn(state, record_set(state).records, [&](Bytes& record) {
        object.Instances.clear();
        decode(record, object);
    });
}

void DecodeChecked(benchmark::State& state)
{
    run_in_turn(state, record_set(state).records, [](const Bytes& record) {
        KR_ObjectBase object;
        benchmark::DoNotOptimize(object.decode(record.data(), record.size()));
    });
}

void DecodeCheckedReused(benchmark::State& state)
{
    KR_ObjectBase object;
    run_in_turn(state, record_set(state).records, [&](const Bytes& record) {
        benchmark::DoNotOptimize(object.decode(record.data(), record.size()));
    });
}

void DecodeAllocation(benchmark::State& state)
{
    const auto instances = static_cast<std::size_t>(state.range(0));
    for (auto _ : state) {
        KR_ObjectBase object;
        object.Instances.reserve(instances);
        for (std::size_t i = 0; i < instances; ++i)
            object.Instances.emplace_back().Colors.resize(colors_per_instance);
        benchmark::DoNotOptimize(object.Instances.data());
        benchmark::ClobberMemory();
    }
}

void parse(const std::string& record, kr_bench::Record& message)
{
    benchmark::DoNotOptimize(
        message.ParseFromArray(record.data(), static_cast<int>(record.size())));
}

void DecodeProtobufArena(benchmark::State& state)
{
    Message_Arena arena;
    run_in_turn(state, record_set(state).protobuf_records,
                [&](const std::string& record) { parse(record, *arena.fresh_message()); });
}

void DecodeProtobufNoArena(benchmark::State& state)
{
    run_in_turn(state, record_set(state).protobuf_records, [](const std::string& record) {
        kr_bench::Record message;
        parse(record, message);
    });
}

void DecodeProtobufReused(benchmark::State& state)
{
    kr_bench::Record message;
    run_in_turn(state, record_set(state).protobuf_records,
                [&](const std::string& record) { parse(record, message); });
}

void DecodeFlatBuffers(benchmark::State& state)
{
    run_in_turn(state, record_set(state).flat_records, [](const Bytes& record) {
        KR_ObjectBase object;
        benchmark::DoNotOptimize(read_flat(record, object));
    });
}

// The count of each list is one more than the instances that the object holds by then.
void AppendLists(benchmark::State& state)
{
    const auto lists = static_cast<std::uint32_t>(state.range(0));
    Random random;
    const KR_ObjectBase source = make_object(random, 1, colors_per_instance);
    Bytes list(source.serialize_instances_size(no_limit));
    source.serialize_instances(list.data(), no_limit);
    for (auto _ : state) {
        KR_ObjectBase object;
        for (std::uint32_t count = 1; count <= lists; ++count) {
            std::memcpy(list.data(), &count, sizeof count);
            KR_ObjectBase::deserialize_instances(list.data(), static_cast<unsigned>(list.size()),
                                                 &object);
        }
        require(object.Instances.size() == lists, "the number of instances");
    }
    state.SetComplexityN(state.range(0));
}

std::vector<KR_ObjectBase> objects_of_a_day()
{
    constexpr std::size_t count = 100'000;
    Random random;
    std::vector<KR_ObjectBase> objects;
    objects.reserve(count);
    for (std::size_t i = 0; i < count; ++i)
        objects.push_back(make_object(random, 1, colors_per_instance));
    return objects;
}

// Of all objects a quarter pass the window, a half the detector, a half the duration and two thirds
// the score.
void Test(benchmark::State& state)
{
    static const std::vector<KR_ObjectBase> objects = objects_of_a_day();
    const ACE_Time_Value from(midnight + seconds_a_day / 3);
    const ACE_Time_Value to = from + ACE_Time_Value(seconds_a_day / 4);
    std::size_t matches = 0;
    for (auto _ : state) {
        matches = 0;
        for (const KR_ObjectBase& object : objects)
            matches += object.test(from, to, ns__DetectorType__value_1, ns__ObjectClass__vehicle,
                                   33.0F, 30.0F)
                           ? 1
                           : 0;
        benchmark::DoNotOptimize(matches);
    }
    require(matches > 3'500 && matches < 4'800, "the number of matches");
    state.counters["matches"] = static_cast<double>(matches);
    state.counters["each"] = benchmark::Counter(static_cast<double>(objects.size()),
                                                benchmark::Counter::kIsIterationInvariantRate |
                                                    benchmark::Counter::kInvert);
}

// Around an instance that differs from object to object.
void Fill(benchmark::State& state)
{
    const auto window = static_cast<int>(state.range(1));
    const bool debug = state.range(2) != 0;
    run_in_turn(state, record_set(state).objects, [&](const KR_ObjectBase& object) {
        const std::size_t selected = object.ObjectId % object.Instances.size();
        ns__QueryResultObject result;
        object.Fill(result, object.Instances[selected].Time, 50.0F, window, debug);
        benchmark::DoNotOptimize(result.instances.data());
    });
}

void instance_counts(benchmark::internal::Benchmark* each)
{
    each->Arg(1)->Arg(30)->Arg(300);
}

} // namespace

BENCHMARK(Memcpy)->Apply(instance_counts);
BENCHMARK(Encode)->Apply(instance_counts);
BENCHMARK(EncodeSized)->Apply(instance_counts);
BENCHMARK(EncodeShort)->Apply(instance_counts);
BENCHMARK(EncodeSourceTouch)->Apply(instance_counts);
BENCHMARK(EncodeProtobufFilled)->Apply(instance_counts);
BENCHMARK(EncodeProtobuf)->Apply(instance_counts);
BENCHMARK(EncodeFlatBuffers)->Apply(instance_counts);
BENCHMARK(Decode)->Apply(instance_counts);
BENCHMARK(DecodeReused)->Apply(instance_counts);
BENCHMARK(DecodeChecked)->Apply(instance_counts);
BENCHMARK(DecodeCheckedReused)->Apply(instance_counts);
BENCHMARK(DecodeAllocation)->Apply(instance_counts);
BENCHMARK(DecodeProtobufArena)->Apply(instance_counts);
BENCHMARK(DecodeProtobufNoArena)->Apply(instance_counts);
BENCHMARK(DecodeProtobufReused)->Apply(instance_counts);
BENCHMARK(DecodeFlatBuffers)->Apply(instance_counts);
BENCHMARK(AppendLists)->RangeMultiplier(4)->Range(1'000, 64'000)->Complexity(benchmark::oN);
BENCHMARK(Test);
BENCHMARK(Fill)
    ->ArgNames({"instances", "window", "debug"})
    ->ArgsProduct({{30, 300}, {8, -1}, {0, 1}});

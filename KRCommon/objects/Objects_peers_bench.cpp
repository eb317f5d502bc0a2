// The record of an object by protobuf and FlatBuffers. The column CPU is one record, as in
// Objects_bench.cpp.
//
//   EncodeProtobufFilled     protobuf from a message that is already filled
//   EncodeProtobuf           object -> message in an arena -> bytes
//   EncodeFlatBuffers        object -> bytes, the builder used again
//   DecodeProtobufArena      protobuf, bytes -> message in an arena; nothing copied out of it
//   DecodeProtobufNoArena    the same into a message of its own
//   DecodeProtobufReused     the same into a message that is used again
//   DecodeFlatBuffers        verified, then copied into a fresh object

#include <KRCommon/objects/Objects_peers_bench.h>

#include <Objects_bench.pb.h>
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <map>
#include <string>
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

// The same objects in the peers' forms.
struct Peer_Set {
    explicit Peer_Set(const std::vector<KR_ObjectBase>& objects);

    std::vector<kr_bench::Record> messages;
    std::vector<std::string> protobuf_records;
    std::vector<Bytes> flat_records;

private:
    void append(const KR_ObjectBase& object);
};

Peer_Set::Peer_Set(const std::vector<KR_ObjectBase>& objects)
{
    for (const KR_ObjectBase& object : objects)
        append(object);
}

void Peer_Set::append(const KR_ObjectBase& object)
{
    fill_message(object, messages.emplace_back());
    protobuf_records.push_back(messages.back().SerializeAsString());
    kr_bench::Record message;
    require(message.ParseFromString(protobuf_records.back()) &&
                same_content(object, to_object(message)),
            "the decoded protobuf message");
    Flat_Writer writer;
    const flatbuffers::FlatBufferBuilder& flat_record = writer.write(object);
    flat_records.emplace_back(flat_record.GetBufferPointer(),
                              flat_record.GetBufferPointer() + flat_record.GetSize());
    KR_ObjectBase flat_decoded;
    require(read_flat(flat_records.back(), flat_decoded) && same_content(object, flat_decoded),
            "the decoded FlatBuffers table");
}

const Peer_Set& peer_set(const benchmark::State& state)
{
    static std::map<std::int64_t, Peer_Set> sets;
    return sets.try_emplace(state.range(0), record_set(state).objects).first->second;
}

// The benchmarks.

void EncodeProtobufFilled(benchmark::State& state)
{
    const Peer_Set& set = peer_set(state);
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
    const Peer_Set& set = peer_set(state);
    Bytes buffer(2 * set.protobuf_records[0].size());
    Message_Arena arena;
    run_in_turn(state, record_set(state).objects, [&](const KR_ObjectBase& object) {
        kr_bench::Record* const message = arena.fresh_message();
        fill_message(object, *message);
        benchmark::DoNotOptimize(
            message->SerializeToArray(buffer.data(), static_cast<int>(buffer.size())));
    });
}

void EncodeFlatBuffers(benchmark::State& state)
{
    const Peer_Set& set = peer_set(state);
    Flat_Writer writer;
    run_in_turn(state, record_set(state).objects, [&](const KR_ObjectBase& object) {
        benchmark::DoNotOptimize(writer.write(object).GetBufferPointer());
    });
    report_size(state, set.flat_records[0].size());
}

void parse(const std::string& record, kr_bench::Record& message)
{
    benchmark::DoNotOptimize(
        message.ParseFromArray(record.data(), static_cast<int>(record.size())));
}

void DecodeProtobufArena(benchmark::State& state)
{
    Message_Arena arena;
    run_in_turn(state, peer_set(state).protobuf_records,
                [&](const std::string& record) { parse(record, *arena.fresh_message()); });
}

void DecodeProtobufNoArena(benchmark::State& state)
{
    run_in_turn(state, peer_set(state).protobuf_records, [](const std::string& record) {
        kr_bench::Record message;
        parse(record, message);
    });
}

void DecodeProtobufReused(benchmark::State& state)
{
    kr_bench::Record message;
    run_in_turn(state, peer_set(state).protobuf_records,
                [&](const std::string& record) { parse(record, message); });
}

void DecodeFlatBuffers(benchmark::State& state)
{
    run_in_turn(state, peer_set(state).flat_records, [](const Bytes& record) {
        KR_ObjectBase object;
        benchmark::DoNotOptimize(read_flat(record, object));
    });
}

} // namespace

BENCHMARK(EncodeProtobufFilled)->Apply(instance_counts);
BENCHMARK(EncodeProtobuf)->Apply(instance_counts);
BENCHMARK(EncodeFlatBuffers)->Apply(instance_counts);
BENCHMARK(DecodeProtobufArena)->Apply(instance_counts);
BENCHMARK(DecodeProtobufNoArena)->Apply(instance_counts);
BENCHMARK(DecodeProtobufReused)->Apply(instance_counts);
BENCHMARK(DecodeFlatBuffers)->Apply(instance_counts);

// What the record of an object costs to write, read and query, beside what the memory allows and,
// by Objects_peers_bench.cpp, beside two peers, in the same run. The column CPU is one record,
// another one each time; the number after the name is its instances, with 3 colours each and 200
// bytes of auxiliary data.
//
//   Memcpy                   limit of both ways: the finished bytes copied
//   Encode                   serialize() into a buffer of the right size
//   EncodeSized              serialize_size() first
//   EncodeShort              with a budget that is one byte short; the log line is masked
//   EncodeSourceTouch        limit: one byte read per cache line of the object and its lists
//   Decode                   deserialize() into a fresh object, which is destroyed again
//   DecodeReused             into an object that is used again
//   DecodeChecked            decode() into a fresh object
//   DecodeCheckedReused      decode() into an object that is used again
//   DecodeAllocation         limit: an object with its instances and their colours made and
//                            destroyed, nothing read
//   AppendLists              so many lists of one more instance each, deserialize_instances() into
//                            one object; linear in their number
//   Test                     test() of 100,000 objects, of which about 4 % match; the counter
//                            "each" is one object
//   Fill                     Fill() of a fresh result; window -1 is every instance

#include <KRCommon/objects/Objects.h>
#include <KRCommon/objects/Objects_bench.h>

#include <ace/Log_Msg.h>

#include <benchmark/benchmark.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

using namespace kr_record_bench;

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
        const auto selected = static_cast<std::size_t>(object.ObjectId % object.Instances.size());
        ns__QueryResultObject result;
        object.Fill(result, object.Instances[selected].Time, 50.0F, window, debug);
        benchmark::DoNotOptimize(result.instances.data());
    });
}

} // namespace

BENCHMARK(Memcpy)->Apply(instance_counts);
BENCHMARK(Encode)->Apply(instance_counts);
BENCHMARK(EncodeSized)->Apply(instance_counts);
BENCHMARK(EncodeShort)->Apply(instance_counts);
BENCHMARK(EncodeSourceTouch)->Apply(instance_counts);
BENCHMARK(Decode)->Apply(instance_counts);
BENCHMARK(DecodeReused)->Apply(instance_counts);
BENCHMARK(DecodeChecked)->Apply(instance_counts);
BENCHMARK(DecodeCheckedReused)->Apply(instance_counts);
BENCHMARK(DecodeAllocation)->Apply(instance_counts);
BENCHMARK(AppendLists)->RangeMultiplier(4)->Range(1'000, 64'000)->Complexity(benchmark::oN);
BENCHMARK(Test);
BENCHMARK(Fill)
    ->ArgNames({"instances", "window", "debug"})
    ->ArgsProduct({{30, 300}, {8, -1}, {0, 1}});

// What it costs to look at records where they lie, beside decoding them, beside peers and beside what
// the memory allows, in the same run.
//
// A store of a million records of 868 bytes, 6 instances of 4 colours and 200 bytes of auxiliary data
// each, of which 4 % match; 200,000 of them in a 32-bit process; with KR_BENCH_QUICK, ten thousand. The
// counter "each" is one record:
//
//   StoreTouch               limit: one byte read from each of two cache lines of a record
//   StoreView                KR_Object_View::test()
//   StoreScan                kr_scan_records() of a list of the records
//   StoreScanConcatenated    kr_scan_records() of the bytes, which walks over each record
//   StoreStream              limit of that: one byte read from each cache line
//   StoreCheck               KR_Object_View::check()
//   StoreDecode              decode() into a new object, then test()
//   StoreDecodeReused        the same with an object that is used again
//   StoreFlatBuffers         the same fields of FlatBuffers tables, in place, not verified
//   StoreFlatBuffersVerified verified first
//
// Records of 30 or 300 instances, 3 colours each; the counter "each" is one instance:
//
//   Walk                     time, box and number of colours of each instance
//   WalkDecoded              the same of an object that is decoded into, used again
//   Select                   the instance of a time, the last one
//
// Records of 30 instances, 3 colours each, and the configuration that is installed; the column CPU is
// one record:
//
//   Shares                   KR_Object_View::color_shares()
//   SharesDecoded            decode() into a new object, then get_color_presets() for each colour
//   SharesDecodedReused      the same with an object and a list of presets that are used again
//   HasColor                 KR_Object_View::has_color() of a colour that half of the records have

#include <KRCommon/colors/Colors.h>
#include <KRCommon/colors/Configuration_Reader.h>
#include <KRCommon/objects/Object_Scan.h>
#include <KRCommon/objects/Object_View.h>
#include <KRCommon/objects/Objects.h>
#include <KRCommon/objects/Objects_bench.h>
#include <tests/support/Private_Member.h>

#if __has_include(<Objects_bench_generated.h>)
#define KR_HAS_RECORD_PEERS 1
#include <KRCommon/objects/Objects_peers_bench.h>
#endif

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <vector>

struct KR_Colors_Init {
    friend auto private_member(KR_Colors_Init);
};
template struct Private_Member<KR_Colors_Init, &KR_Colors::init>;

namespace {

using namespace kr_record_bench;

Bytes record_of(const KR_ObjectBase& object)
{
    Bytes record(object.serialize_size(no_limit));
    object.serialize(record.data(), no_limit);
    return record;
}

void append(Bytes& all, const unsigned char* bytes, std::size_t size)
{
    all.insert(all.end(), bytes, bytes + size);
}

void report_each(benchmark::State& state, std::size_t count)
{
    state.counters["each"] = benchmark::Counter(static_cast<double>(count),
                                                benchmark::Counter::kIsIterationInvariantRate |
                                                    benchmark::Counter::kInvert);
}

// The store.

constexpr std::size_t record_size = 868;

// A 32-bit process has no room for as many.
std::size_t records_in_store()
{
    if (std::getenv("KR_BENCH_QUICK") != nullptr)
        return 10'000;
    return sizeof(void*) == 4 ? 200'000 : 1'000'000;
}

// Records, one behind the other.
struct Store {
    Store();

    KR_Byte_Span record(std::size_t index) const
    {
        return {records.data() + index * record_size, record_size};
    }

    std::size_t count = records_in_store();
    Bytes records;
    std::vector<KR_Byte_Span> list;
};

Store::Store()
{
    Random random;
    records.reserve(count * record_size);
    for (std::size_t i = 0; i < count; ++i) {
        const Bytes record = record_of(make_object(random, 6, 4));
        require(record.size() == record_size, "the length of a record");
        append(records, record.data(), record.size());
    }
    for (std::size_t i = 0; i < count; ++i)
        list.push_back(record(i));
}

const Store& store()
{
    static const Store store;
    return store;
}

// Of all objects a quarter pass the window, a half the detector, a half the duration and two thirds
// the score.
KR_Object_Filter query()
{
    KR_Object_Filter filter;
    filter.from = ACE_Time_Value(midnight + seconds_a_day / 3);
    filter.to = filter.from + ACE_Time_Value(seconds_a_day / 4);
    filter.detector = ns__DetectorType__value_1;
    filter.object_class = ns__ObjectClass__vehicle;
    filter.min_score = 33.0F;
    filter.min_duration = 30.0F;
    return filter;
}

template <typename Record>
bool is_match(const Record& record, const KR_Object_Filter& filter)
{
    return record.test(filter.from, filter.to, filter.detector, filter.object_class,
                       filter.min_score, filter.min_duration);
}

// Calls find(), which returns how many of the store's records match.
template <typename Find>
void run_scan(benchmark::State& state, Find find)
{
    const std::size_t count = store().count;
    std::size_t matches = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(matches = find());
    require(matches > count / 100 * 3 && matches < count / 100 * 5, "the number of matches");
    state.counters["matches"] = static_cast<double>(matches);
    report_each(state, count);
}

template <typename Test>
std::size_t count_matches(Test test)
{
    const Store& all = store();
    std::size_t matches = 0;
    for (std::size_t i = 0; i < all.count; ++i)
        matches += test(all, i) ? 1 : 0;
    return matches;
}

void StoreView(benchmark::State& state)
{
    const KR_Object_Filter filter = query();
    run_scan(state, [&] {
        return count_matches([&](const Store& all, std::size_t i) {
            const KR_Byte_Span record = all.record(i);
            return is_match(KR_Object_View(record.data, record.size), filter);
        });
    });
}

void StoreScan(benchmark::State& state)
{
    const KR_Object_Filter filter = query();
    std::vector<std::size_t> matches;
    run_scan(state, [&] {
        matches.clear();
        kr_scan_records(store().list.data(), store().list.size(), filter, matches);
        return matches.size();
    });
}

void StoreScanConcatenated(benchmark::State& state)
{
    const KR_Object_Filter filter = query();
    const Bytes& records = store().records;
    std::vector<std::size_t> matches;
    run_scan(state, [&] {
        matches.clear();
        const KR_Record_Scan scan =
            kr_scan_records({records.data(), records.size()}, filter, matches);
        require(scan.end == records.size(), "the end of the scan");
        return matches.size();
    });
}

bool is_match_decoded(KR_Byte_Span record, KR_ObjectBase& object, const KR_Object_Filter& filter)
{
    require(object.decode(record.data, record.size).state == KR_Record_State::whole,
            "the decoded record");
    return is_match(object, filter);
}

void StoreDecode(benchmark::State& state)
{
    const KR_Object_Filter filter = query();
    run_scan(state, [&] {
        return count_matches([&](const Store& all, std::size_t i) {
            KR_ObjectBase object;
            return is_match_decoded(all.record(i), object, filter);
        });
    });
}

void StoreDecodeReused(benchmark::State& state)
{
    const KR_Object_Filter filter = query();
    KR_ObjectBase object;
    run_scan(state, [&] {
        return count_matches([&](const Store& all, std::size_t i) {
            return is_match_decoded(all.record(i), object, filter);
        });
    });
}

// Reads one byte from every 64 of the first `size` bytes of each record.
void run_touch(benchmark::State& state, std::size_t first, std::size_t size)
{
    const Store& all = store();
    for (auto _ : state) {
        unsigned sum = 0;
        for (std::size_t i = 0; i < all.count; ++i)
            for (std::size_t at = first; at < size; at += 64)
                sum += all.record(i).data[at];
        benchmark::DoNotOptimize(sum);
    }
    report_each(state, all.count);
}

void StoreTouch(benchmark::State& state)
{
    run_touch(state, 44, 44 + 2 * 64);
}

void StoreStream(benchmark::State& state)
{
    run_touch(state, 0, record_size);
}

void StoreCheck(benchmark::State& state)
{
    const Store& all = store();
    for (auto _ : state)
        for (std::size_t i = 0; i < all.count; ++i)
            require(KR_Object_View::check(all.record(i).data, record_size).state ==
                        KR_Record_State::whole,
                    "the state of a record");
    report_each(state, all.count);
}

// Some records, to walk over.

const std::vector<Bytes>& records_with(std::size_t instances)
{
    static std::map<std::size_t, std::vector<Bytes>> sets;
    std::vector<Bytes>& records = sets[instances];
    if (records.empty()) {
        Random random;
        for (int i = 0; i < 64; ++i)
            records.push_back(record_of(make_object(random, instances, colors_per_instance)));
    }
    return records;
}

template <typename Action>
void run_in_turn(benchmark::State& state, Action action)
{
    const std::vector<Bytes>& records = records_with(static_cast<std::size_t>(state.range(0)));
    std::size_t next = 0;
    for (auto _ : state) {
        action(records[next]);
        next = next + 1 < records.size() ? next + 1 : 0;
    }
    report_each(state, static_cast<std::size_t>(state.range(0)));
}

// What somebody draws who shows the way of an object.
struct Drawing {
    void add(std::int64_t seconds, std::int32_t microseconds, const Geom_Box2D<float>& box,
             std::size_t color_count)
    {
        time += seconds * 1'000'000 + microseconds;
        width += box.MaxX - box.MinX;
        height += box.MaxY - box.MinY;
        colors += color_count;
    }

    std::int64_t time = 0;
    float width = 0;
    float height = 0;
    std::size_t colors = 0;
};

void Walk(benchmark::State& state)
{
    run_in_turn(state, [](const Bytes& record) {
        Drawing drawing;
        for (const KR_Instance_View instance :
             KR_Object_View(record.data(), record.size()).instances()) {
            const ACE_Time_Value time = instance.time();
            drawing.add(time.sec(), static_cast<std::int32_t>(time.usec()), instance.box(),
                        instance.colors().size());
        }
        benchmark::DoNotOptimize(drawing);
    });
}

void WalkDecoded(benchmark::State& state)
{
    KR_ObjectBase object;
    run_in_turn(state, [&](const Bytes& record) {
        object.decode(record.data(), record.size());
        Drawing drawing;
        for (const Instance& instance : object.Instances)
            drawing.add(instance.Time.sec(), static_cast<std::int32_t>(instance.Time.usec()),
                        instance.Box, instance.Colors.size());
        benchmark::DoNotOptimize(drawing);
    });
}

void Select(benchmark::State& state)
{
    const std::vector<Bytes>& records = records_with(static_cast<std::size_t>(state.range(0)));
    std::map<const unsigned char*, ACE_Time_Value> times;
    for (const Bytes& record : records)
        for (const KR_Instance_View each : KR_Object_View(record.data(), record.size()).instances())
            times[record.data()] = each.time();
    run_in_turn(state, [&](const Bytes& record) {
        const KR_Object_View view(record.data(), record.size());
        benchmark::DoNotOptimize(view.instances().select(times[record.data()]));
    });
}

// Colours.

const KR_Colors& installed_colors()
{
    static const KR_Colors colors = [] {
        KRCMN::XML_configuration configuration;
        const kr_internal::Xml_Error error =
            kr_internal::read_configuration_file(KR_CONFIG_DIR "/KRCommon.xml", configuration);
        require(!error, "the configuration");
        KR_Colors classifier(*KR_Colors::instance());
        (classifier.*private_member(KR_Colors_Init()))(configuration.get_colors());
        return classifier;
    }();
    return colors;
}

void Shares(benchmark::State& state)
{
    run_in_turn(state, [](const Bytes& record) {
        const KR_Object_View view(record.data(), record.size());
        benchmark::DoNotOptimize(view.color_shares(installed_colors()));
    });
}

// By the public operations of an object and of the classifier.
void add_shares(const KR_ObjectBase& object, std::vector<ns__ColorPreset>& presets,
                KR_Color_Shares& shares)
{
    const KR_Colors& colors = installed_colors();
    for (const Instance& instance : object.Instances)
        for (const ns__RgbColorArea& color : instance.Colors) {
            ns__HsvColor hsv;
            colors.rgb_to_hsv(color.color, hsv);
            presets.clear();
            colors.get_color_presets(hsv, presets, ns__QueryTolerancePreset__value_0);
            for (const ns__ColorPreset preset : presets)
                shares.percent[preset] += std::max(color.area, 0.0F);
        }
    for (float& percent : shares.percent)
        percent /= static_cast<float>(object.Instances.size());
}

void SharesDecoded(benchmark::State& state)
{
    run_in_turn(state, [](const Bytes& record) {
        KR_ObjectBase object;
        object.decode(record.data(), record.size());
        std::vector<ns__ColorPreset> presets;
        KR_Color_Shares shares;
        add_shares(object, presets, shares);
        benchmark::DoNotOptimize(shares);
    });
}

void SharesDecodedReused(benchmark::State& state)
{
    KR_ObjectBase object;
    std::vector<ns__ColorPreset> presets;
    run_in_turn(state, [&](const Bytes& record) {
        object.decode(record.data(), record.size());
        KR_Color_Shares shares;
        add_shares(object, presets, shares);
        benchmark::DoNotOptimize(shares);
    });
}

float median_share(ns__ColorPreset preset, const std::vector<Bytes>& records)
{
    std::vector<float> shares;
    for (const Bytes& record : records)
        shares.push_back(KR_Object_View(record.data(), record.size())
                             .color_shares(installed_colors())
                             .of(preset));
    std::nth_element(shares.begin(), shares.begin() + 32, shares.end());
    return shares[32];
}

void HasColor(benchmark::State& state)
{
    const auto preset = ns__ColorPreset__purple;
    const float percent = median_share(preset, records_with(30));
    require(percent > 0, "a share of the colour");
    run_in_turn(state, [&](const Bytes& record) {
        const KR_Object_View view(record.data(), record.size());
        benchmark::DoNotOptimize(view.has_color(preset, percent, installed_colors()));
    });
}

#ifdef KR_HAS_RECORD_PEERS

// The store's objects as tables, one behind the other.

constexpr std::size_t flat_size = 960; // a table leaves out what is zero

Bytes flat_records_of(std::size_t count)
{
    Random random;
    Flat_Writer writer;
    Bytes records;
    records.reserve(count * flat_size);
    for (std::size_t i = 0; i < count; ++i) {
        const flatbuffers::FlatBufferBuilder& table = writer.write(make_object(random, 6, 4));
        require(table.GetSize() <= flat_size, "the length of a table");
        append(records, table.GetBufferPointer(), table.GetSize());
        records.resize((i + 1) * flat_size);
    }
    return records;
}

const unsigned char* flat_record(std::size_t index)
{
    static const Bytes records = flat_records_of(store().count);
    return records.data() + index * flat_size;
}

// As KR_ObjectBase::test() does it, in its order.
bool is_match(const flat::Record& table, const KR_Object_Filter& filter)
{
    const ACE_Time_Value first_seen(table.first_seen_time()->seconds(),
                                    table.first_seen_time()->microseconds());
    if (filter.from > first_seen || first_seen > filter.to)
        return false;
    if (table.detector_type() != filter.detector)
        return false;
    const flat::Statistics& statistics = *table.statistics();
    if (filter.min_duration > static_cast<float>(statistics.duration()))
        return false;
    return !(filter.min_score > statistics.class_scores()->Get(1));
}

void StoreFlatBuffers(benchmark::State& state)
{
    const KR_Object_Filter filter = query();
    run_scan(state, [&] {
        return count_matches([&](const Store&, std::size_t i) {
            return is_match(*flat::GetRecord(flat_record(i)), filter);
        });
    });
}

void StoreFlatBuffersVerified(benchmark::State& state)
{
    const KR_Object_Filter filter = query();
    run_scan(state, [&] {
        return count_matches([&](const Store&, std::size_t i) {
            const unsigned char* const bytes = flat_record(i);
            flatbuffers::Verifier verifier(bytes, flat_size);
            require(flat::VerifyRecordBuffer(verifier), "the table");
            return is_match(*flat::GetRecord(bytes), filter);
        });
    });
}

BENCHMARK(StoreFlatBuffers)->Unit(benchmark::kMillisecond);
BENCHMARK(StoreFlatBuffersVerified)->Unit(benchmark::kMillisecond);

#endif // KR_HAS_RECORD_PEERS

} // namespace

BENCHMARK(StoreTouch)->Unit(benchmark::kMillisecond);
BENCHMARK(StoreView)->Unit(benchmark::kMillisecond);
BENCHMARK(StoreScan)->Unit(benchmark::kMillisecond);
BENCHMARK(StoreScanConcatenated)->Unit(benchmark::kMillisecond);
BENCHMARK(StoreStream)->Unit(benchmark::kMillisecond);
BENCHMARK(StoreCheck)->Unit(benchmark::kMillisecond);
BENCHMARK(StoreDecode)->Unit(benchmark::kMillisecond);
BENCHMARK(StoreDecodeReused)->Unit(benchmark::kMillisecond);
BENCHMARK(Walk)->Arg(30)->Arg(300);
BENCHMARK(WalkDecoded)->Arg(30)->Arg(300);
BENCHMARK(Select)->Arg(30)->Arg(300);
BENCHMARK(Shares)->Arg(30);
BENCHMARK(SharesDecoded)->Arg(30);
BENCHMARK(SharesDecodedReused)->Arg(30);
BENCHMARK(HasColor)->Arg(30);

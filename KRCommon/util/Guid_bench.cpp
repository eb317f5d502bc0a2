// What identifiers cost beside the system's generator and libuuid, in the same run.
//
//   CreateV4/n, CreateV7/n  n identifiers in one batch
//   CreateSystem/n          as many random bytes from the system's generator in one request
//   CreateV4One, ...V7One   one identifier
//     ...Libuuid            uuid_generate_random, uuid_generate_time
//   TextFixed, TextString   kr_to_guid_text, kr_to_string
//   HashGuid                std::hash

#include <KRCommon/platform/Random.h>
#include <KRCommon/util/Guid.h>

#include <benchmark/benchmark.h>

#if __has_include(<uuid/uuid.h>)
#define KR_BENCH_LIBUUID
#include <uuid/uuid.h>
#endif

#include <vector>

namespace {

template <typename Create>
void batch(benchmark::State& state, Create create)
{
    std::vector<KR_GUID> guids(static_cast<std::size_t>(state.range(0)));
    for (auto _ : state) {
        benchmark::DoNotOptimize(create(guids.data(), guids.size()));
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

void CreateV4(benchmark::State& state)
{
    batch(state, kr_create_guids_v4);
}

void CreateV7(benchmark::State& state)
{
    batch(state, kr_create_guids_v7);
}

void CreateSystem(benchmark::State& state)
{
    batch(state, [](KR_GUID* out, std::size_t count) {
        return kr_platform::random_bytes(out, count * sizeof *out);
    });
}

template <typename Create>
void one(benchmark::State& state, Create create)
{
    for (auto _ : state)
        benchmark::DoNotOptimize(create());
}

void CreateV4One(benchmark::State& state)
{
    one(state, kr_create_guid_v4);
}

void CreateV7One(benchmark::State& state)
{
    one(state, kr_create_guid_v7);
}

void TextFixed(benchmark::State& state)
{
    const KR_GUID guid = kr_create_guid_v4();
    one(state, [guid] { return kr_to_guid_text(guid); });
}

void TextString(benchmark::State& state)
{
    const KR_GUID guid = kr_create_guid_v4();
    one(state, [guid] { return kr_to_string(guid); });
}

void HashGuid(benchmark::State& state)
{
    KR_GUID guid = kr_create_guid_v4();
    one(state, [&guid] {
        ++guid.Data1;
        return std::hash<KR_GUID>()(guid);
    });
}

} // namespace

BENCHMARK(CreateV4)->Arg(1)->Arg(16)->Arg(1'024);
BENCHMARK(CreateV7)->Arg(1)->Arg(16)->Arg(1'024);
BENCHMARK(CreateSystem)->Arg(1)->Arg(16)->Arg(1'024);
BENCHMARK(CreateV4One);
BENCHMARK(CreateV7One);
BENCHMARK(TextFixed);
BENCHMARK(TextString);
BENCHMARK(HashGuid);

#ifdef KR_BENCH_LIBUUID

namespace {

struct Libuuid {
    uuid_t bytes;
};

void CreateV4OneLibuuid(benchmark::State& state)
{
    one(state, [] {
        Libuuid uuid;
        uuid_generate_random(uuid.bytes);
        return uuid;
    });
}

void CreateV7OneLibuuid(benchmark::State& state)
{
    one(state, [] {
        Libuuid uuid;
        uuid_generate_time(uuid.bytes);
        return uuid;
    });
}

} // namespace

BENCHMARK(CreateV4OneLibuuid);
BENCHMARK(CreateV7OneLibuuid);

#endif

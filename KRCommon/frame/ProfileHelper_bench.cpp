// What timing one scope costs, beside the least that a program could write for itself.
//
//   ShortTag, LongTag     one ProfileHelperBlock, built and destroyed; tags of 6 and 40 characters
//   AddSample             the adding alone, short tag
//   SteadyClockAndMap, SteadyClockAndMapLongTag
//                         two readings of std::chrono::steady_clock and an update of a
//                         std::map<std::string, ...> under a std::mutex
//
// With 1 and 2 threads on one object.

#include <KRCommon/frame/ProfileHelper.h>
#include <tests/support/Temp_Folder.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <map>
#include <mutex>
#include <string>

namespace {

constexpr const char* short_tag = "decode";
constexpr const char* long_tag = "camera-7/decode/second pass/whole frames";

ProfileHelper& profile()
{
    static const Temp_Folder folder;
    static ProfileHelper profile(3600, folder.path("bench"));
    return profile;
}

class Peer {
public:
    void add(const std::string& tag, unsigned ms)
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        Record& record = records_[tag];
        ++record.count;
        record.total += ms;
        if (ms > record.highest)
            record.highest = ms;
    }

private:
    struct Record {
        unsigned count = 0;
        unsigned total = 0;
        unsigned highest = 0;
    };
    std::mutex mutex_;
    std::map<std::string, Record> records_;
};

void time_by_block(benchmark::State& state, const std::string& tag)
{
    ProfileHelper& helper = profile();
    for (auto _ : state)
        const ProfileHelperBlock block(&helper, tag);
}

void time_by_peer(benchmark::State& state, const std::string& tag)
{
    static Peer peer;
    for (auto _ : state) {
        const auto start = std::chrono::steady_clock::now();
        const auto elapsed = std::chrono::steady_clock::now() - start;
        const auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(elapsed).count();
        peer.add(tag, static_cast<unsigned>(ms));
    }
}

void ProfileHelper_ShortTag(benchmark::State& state)
{
    time_by_block(state, short_tag);
}

void ProfileHelper_LongTag(benchmark::State& state)
{
    time_by_block(state, long_tag);
}

void ProfileHelper_AddSample(benchmark::State& state)
{
    ProfileHelper& helper = profile();
    unsigned ms = 0;
    const std::string tag = short_tag;
    for (auto _ : state)
        helper.AddSample(tag, ++ms % 100);
}

void ProfileHelper_SteadyClockAndMap(benchmark::State& state)
{
    time_by_peer(state, short_tag);
}

void ProfileHelper_SteadyClockAndMapLongTag(benchmark::State& state)
{
    time_by_peer(state, long_tag);
}

} // namespace

BENCHMARK(ProfileHelper_ShortTag)->UseRealTime()->Threads(1)->Threads(2);
BENCHMARK(ProfileHelper_LongTag)->UseRealTime()->Threads(1)->Threads(2);
BENCHMARK(ProfileHelper_AddSample)->UseRealTime()->Threads(1)->Threads(2);
BENCHMARK(ProfileHelper_SteadyClockAndMap)->UseRealTime()->Threads(1)->Threads(2);
BENCHMARK(ProfileHelper_SteadyClockAndMapLongTag)->UseRealTime()->Threads(1)->Threads(2);

// make_store FILE COUNT: a store of so many objects, for measuring searches. They are the same in
// every run: 8 instances with 3 colours each and a thumbnail of 64 bytes, 868 bytes a record; one
// each second of the time line, a third of them of each class. Best written to a file system in
// memory, since each object is a transaction.

#include "Search_Testing.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <random>

using namespace video_search;

namespace {

KR_ObjectBase make_object(std::mt19937& random, std::uint64_t id)
{
    const auto below = [&](unsigned end) { return static_cast<int>(random() % end); };
    KR_ObjectBase object = test_object(id, static_cast<int>(id), 7);
    object.Duration = static_cast<std::uint32_t>(below(60));
    object.ClassScores[id % 3] = static_cast<float>(below(101)) / 100.0F;
    for (KR_ObjectBase::Instance& instance : object.Instances) {
        instance.PersonValue = static_cast<float>(below(101));
        for (const float area : {50.0F, 30.0F, 20.0F})
            instance.Colors.push_back(color_area(below(256), below(256), below(256), area));
    }
    object.AuxiliaryData->assign(64, 0x5A);
    return object;
}

void make(const char* file, std::uint64_t count)
{
    std::mt19937 random; // NOLINT(cert-msc51-cpp): the same objects in every run
    Store store(file, Store::Access::write);
    Recording recording;
    recording.run = "00000000-0000-4000-8000-000000000001";
    recording.video = "synthetic";
    recording.sensor.word1 = 3;
    recording.start = second(0);
    recording.end = second(static_cast<int>(count));
    recording.state = "complete";
    store.put(recording);
    for (std::uint64_t id = 1; id <= count; ++id) {
        const KR_ObjectBase object = make_object(random, id);
        store.add(recording.run, object, encode(object, 1'000'000));
    }
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fprintf(stderr, "usage: make_store FILE COUNT\n");
        return 2;
    }
    try {
        make(argv[1], std::strtoull(argv[2], nullptr, 10));
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make_store: %s\n", error.what());
        return 1;
    }
    return 0;
}

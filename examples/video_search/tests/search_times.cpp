// search_times STORE...: how long searches take in stores that make_store has made, in milliseconds:
// the medians of nine, after one to warm up, with what a line of a table shows and with all there is.
// In brackets the processor's time, which tells more on a busy machine (not on Windows: it is the same).
// Makes the index first where there is none, and tells how long that took and how large the file was
// before and after.

#include "search/Color_Names.h"
#include "search/Query.h"
#include "store/Store.h"

#include <KRCommon/util/Time_Text.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

using namespace video_search;

namespace {

using Clock = std::chrono::steady_clock;

double milliseconds_since(Clock::time_point begin)
{
    return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

std::size_t objects_in(Object_Store& store)
{
    const Criteria everything;
    return store.count(from_time(everything), to_time(everything));
}

void make_index(const std::string& file)
{
    Store store(file, Store::Access::write);
    if (store.is_indexed())
        return;
    const auto objects = static_cast<double>(objects_in(store));
    const auto before = static_cast<double>(std::filesystem::file_size(file));
    const Clock::time_point begin = Clock::now();
    store.index([](std::size_t, std::size_t) { return true; });
    const double seconds = milliseconds_since(begin) / 1000;
    const auto after = static_cast<double>(std::filesystem::file_size(file));
    std::printf("%s: the index took %.1f s, %.0f objects/s; %.0f bytes per object, %.0f before\n",
                file.c_str(), seconds, objects / seconds, after / objects, before / objects);
}

struct Search {
    const char* name;
    Criteria criteria;
};

// The hour is the first one that all stores have, a while after their begin.
std::vector<Search> searches()
{
    Criteria hour;
    hour.from = kr_to_ace_time_value("2024/03/05 10:00:00.000000");
    hour.to = kr_to_ace_time_value("2024/03/05 10:59:59.999999");
    std::vector<Search> all;
    const auto add = [&](const char* name, const Criteria& criteria) -> Criteria& {
        all.push_back({name, criteria});
        return all.back().criteria;
    };
    {
        Criteria& latest = add("the latest 100", {});
        latest.order = Order::latest;
        latest.limit = 100;
    }
    {
        Criteria& latest = add("the latest 100 of a sensor", {});
        latest.order = Order::latest;
        latest.limit = 100;
        latest.sensors.resize(1);
        latest.sensors[0].word1 = 7;
    }
    add("red in an hour", hour).colors = {set_of(ns__ColorPreset__red)};
    add("blue in an hour", hour).colors = {*color_of_name("blue")};
    add("stood in an area in an hour", hour).area = {rectangle({300, 300}, {500, 450}),
                                                     Presence::stood};
    add("crossed an area in an hour", hour).area = {rectangle({300, 300}, {500, 450}),
                                                    Presence::crossed};
    add("persons in an hour", hour).object_class = ns__ObjectClass__person;
    {
        Criteria& rare = add("purple on 60 % in all, 20 latest", {});
        rare.colors = {set_of(ns__ColorPreset__purple)};
        rare.min_area = 60;
        rare.order = Order::latest;
        rare.limit = 20;
    }
    {
        Criteria& none = add("vehicles in all", {}); // there are none
        none.object_class = ns__ObjectClass__vehicle;
        none.min_score = 0.5F;
    }
    const auto add_longest = [&](const char* name, const Criteria& criteria) -> Criteria& {
        Criteria& longest = add(name, criteria);
        longest.order = Order::duration;
        longest.limit = 100;
        return longest;
    };
    add_longest("the longest 100", {});
    add_longest("the longest 100 in an hour", hour);
    add_longest("the longest 100 in red", {}).colors = {set_of(ns__ColorPreset__red)};
    {
        Criteria& rare = add_longest("the longest 100, purple on 60 %", {});
        rare.colors = {set_of(ns__ColorPreset__purple)};
        rare.min_area = 60;
    }
    return all;
}

double median(std::vector<double> numbers)
{
    std::sort(numbers.begin(), numbers.end());
    return numbers[numbers.size() / 2];
}

struct Times {
    double wall = 0; // milliseconds, as the next one
    double processor = 0;
    std::size_t hits = 0;
};

Times times_of(Object_Store& store, const Criteria& criteria, ProfileHelper& profile)
{
    constexpr int repetitions = 9;
    std::vector<double> wall;
    std::vector<double> processor;
    Times times;
    for (int k = -1; k < repetitions; ++k) {
        const Clock::time_point begin = Clock::now();
        const std::clock_t begin_of_work = std::clock();
        times.hits = search(store, criteria, profile, [] { return false; }).hits.size();
        if (k < 0)
            continue;
        wall.push_back(milliseconds_since(begin));
        processor.push_back(1000.0 * static_cast<double>(std::clock() - begin_of_work) /
                            CLOCKS_PER_SEC);
    }
    times.wall = median(wall);
    times.processor = median(processor);
    return times;
}

void measure(const std::string& file)
{
    ProfileHelper profile(3600, is_cluster(file) ? "search_times.profile" : file + ".profile");
    const std::unique_ptr<Object_Store> store = open_store(file, Object_Store::Access::read);
    std::printf("%s: %zu objects\n    line                 all\n", file.c_str(),
                objects_in(*store));
    for (const Search& each : searches()) {
        Criteria line = each.criteria;
        line.window = 0;
        line.detail = Detail::line;
        const Times of_line = times_of(*store, line, profile);
        const Times of_all = times_of(*store, each.criteria, profile);
        std::printf("%8.2f [%7.2f] %8.2f [%7.2f]  %-34s %6zu hits\n", of_line.wall,
                    of_line.processor, of_all.wall, of_all.processor, each.name, of_all.hits);
        std::fflush(stdout);
    }
}

} // namespace

int main(int argc, char** argv)
{
    try {
        for (int k = 1; k < argc; ++k) {
            if (!is_cluster(argv[k]))
                make_index(argv[k]);
            measure(argv[k]);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "search_times: %s\n", error.what());
        return 1;
    }
    return 0;
}

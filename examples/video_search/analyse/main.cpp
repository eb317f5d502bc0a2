// kr_analyse: finds moving objects in recordings and in what cameras send, follows them and stores
// each as a record.
//
// Exit codes: 0 all recordings are analysed whole; 1 one failed, or its file is cut short; 2 the
// command line is wrong; 130 Ctrl-C. Whatever was stored until then is whole and stays.

#include "../host/Host.h"
#include "../host/Program.h"
#include "../store/Object_Store.h"
#include "Analyser.h"
#include "Camera.h"
#include "Command_Line.h"
#include "Video.h"

#include <KRCommon/frame/Log.h>
#include <KRCommon/util/Time_Text.h>

#include <chrono>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace video_search {

namespace {

using Clock = std::chrono::steady_clock;
using Sources = std::vector<std::unique_ptr<Source>>;

std::unique_ptr<Source> make_source(const Input& input, const Command_Line& line)
{
    if (is_address(input.name))
        return std::make_unique<Camera>(input.name, line.stall);
    auto video = std::make_unique<Video>(input.name);
    if (input.start)
        video->set_start(*input.start);
    check_rate(*video, input.settings.every);
    return video;
}

void print_summary(const Analysis& analysis, double seconds, const Command_Line& line)
{
    std::printf("%s: %s\n", analysis.recording.video.c_str(), analysis.recording.state.c_str());
    std::printf("frames:  %d in %.1f s\n", analysis.recording.frames, seconds);
    std::printf("times:   %s to %s\n", kr_to_string(analysis.recording.start).c_str(),
                kr_to_string(analysis.recording.end).c_str());
    std::printf("objects: %d persons, %d vehicles, %d others\n", analysis.objects[0],
                analysis.objects[1], analysis.objects[2]);
    std::printf("store:   %s, run %s\n", line.store.c_str(), analysis.recording.run.c_str());
    std::printf("logs:    %s\n", line.logs.c_str());
    if (std::fflush(stdout) != 0)
        throw Failure("cannot write the summary to the standard output");
}

void check_whole(const Analysis& analysis)
{
    if (analysis.shortfall)
        throw Failure(analysis.recording.video + " is truncated: " + *analysis.shortfall);
}

// One failure of several ends the program as the only one would: the last is thrown, the others are
// told in the same way before it.
class Failures {
public:
    void add(std::exception_ptr failure)
    {
        if (last_)
            tell(last_);
        last_ = std::move(failure);
    }

    void throw_last() const
    {
        if (last_)
            std::rethrow_exception(last_);
    }

private:
    static void tell(const std::exception_ptr& failure)
    {
        try {
            std::rethrow_exception(failure);
        } catch (const std::exception& error) {
            kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR %s\n", error.what());
            std::fprintf(stderr, "kr_analyse: %s\n", error.what());
        }
    }

    std::exception_ptr last_;
};

// The exit code.
int report(const Analyser& analyser, double seconds, const Command_Line& line)
{
    int code = done;
    Failures failures;
    for (std::size_t i = 0; i < analyser.count(); ++i) {
        try {
            const Analysis analysis = analyser.result(i);
            print_summary(analysis, seconds, line);
            check_whole(analysis);
            if (analysis.recording.state == "stopped")
                code = interrupted;
        } catch (const std::exception&) {
            failures.add(std::current_exception());
        }
    }
    failures.throw_last();
    return code;
}

// The videos are opened before the store, so that bad input leaves no store behind.
int analyse(Host& host, const Command_Line& line)
{
    Sources sources;
    std::vector<Job> jobs;
    for (const Input& input : line.inputs) {
        sources.push_back(make_source(input, line));
        jobs.push_back({sources.back().get(), input.settings});
    }
    const std::unique_ptr<Object_Store> store =
        open_store(line.store, Object_Store::Access::write, line.logs);
    Analyser analyser(host, *store, jobs);
    const Clock::time_point begin = Clock::now();
    const bool has_run = host.run(analyser);
    const double seconds = std::chrono::duration<double>(Clock::now() - begin).count();
    if (!has_run)
        throw Failure("the analysis could not be started or stopped; the log tells more");
    if (const std::size_t waiting = store->flush(); waiting > 0)
        std::fprintf(
            stderr,
            "kr_analyse: the store has not taken all yet; what waits for it, %zu additions, "
            "comes with the next start\n",
            waiting);
    return report(analyser, seconds, line);
}

int work(const Command_Line& line)
{
    Host host("kr_analyse", line.logs);
    try {
        return analyse(host, line);
    } catch (const std::exception& error) {
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR %s\n", error.what());
        throw;
    }
}

int run(int argc, char** argv)
{
    const std::optional<Command_Line> line =
        read_command_line(argc, argv, VIDEO_SEARCH_VERSION, std::cout);
    return line ? work(*line) : done;
}

} // namespace

} // namespace video_search

int main(int argc, char** argv)
{
    return video_search::run_program("kr_analyse", [=] { return video_search::run(argc, argv); });
}

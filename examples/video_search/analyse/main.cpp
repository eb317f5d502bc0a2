// kr_analyse: finds moving objects in a recording, follows them and stores each as a record.
//
// Exit codes: 0 the whole recording is analysed; 1 it failed, or the file is cut short; 2 the
// command line is wrong; 130 Ctrl-C. Whatever was stored until then is whole and stays.

#include "../host/Host.h"
#include "../host/Program.h"
#include "../store/Store.h"
#include "Analyser.h"
#include "Command_Line.h"
#include "Video.h"

#include <KRCommon/frame/Log.h>
#include <KRCommon/util/Time_Text.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <iostream>
#include <optional>
#include <string>

namespace video_search {

namespace {

using Clock = std::chrono::steady_clock;

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
    if (analysis.recording.state == "truncated")
        throw Failure(analysis.recording.video +
                      " is truncated: " + std::to_string(analysis.frames_read) + " of " +
                      std::to_string(analysis.frames_said.value_or(0)) + " frames");
}

// The video is opened before the store, so that bad input leaves no store behind.
int analyse(Host& host, const Command_Line& line)
{
    Video video(line.analysis.video);
    Store store(line.store, Store::Access::write);
    Analyser analyser(host, video, store, line.analysis);
    const Clock::time_point begin = Clock::now();
    const bool has_run = host.run(analyser);
    const Analysis analysis = analyser.result();
    if (!has_run)
        throw Failure("the analysis could not be started or stopped; the log tells more");
    print_summary(analysis, std::chrono::duration<double>(Clock::now() - begin).count(), line);
    check_whole(analysis);
    return analysis.recording.state == "stopped" ? interrupted : done;
}

int work(const Command_Line& line, const char* path)
{
    Host host("kr_analyse", line.logs, path);
    try {
        return analyse(host, line);
    } catch (const std::exception& error) {
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR %s\n", error.what());
        throw;
    }
}

int run(int argc, char** argv)
{
    std::optional<Command_Line> line =
        read_command_line(argc, argv, VIDEO_SEARCH_VERSION, std::cout);
    if (!line)
        return done;
    if (!line->has_start)
        line->analysis.start = file_time(line->analysis.video);
    return work(*line, argv[0]);
}

} // namespace

} // namespace video_search

int main(int argc, char** argv)
{
    return video_search::run_program("kr_analyse", [=] { return video_search::run(argc, argv); });
}

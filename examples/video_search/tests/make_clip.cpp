// make_clip FILE [TIMES]: writes the test recording, so often one after the other, and prints its
// truth, a line per box: colour, class, first and last frame. FILE.ts is what a camera would send.

#include "Clip.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: make_clip FILE [TIMES]\n");
        return 2;
    }
    try {
        const std::string path = argv[1];
        clip::Recorder_Settings settings;
        settings.size = {clip::width, clip::height};
        settings.fps = clip::fps;
        if (path.size() > 3 && path.substr(path.size() - 3) == ".ts")
            settings.codec = "mpeg4";
        clip::write(path, settings, argc > 2 ? std::atoi(argv[2]) : 1);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make_clip: %s\n", error.what());
        return 1;
    }
    for (const clip::Actor& actor : clip::actors())
        std::printf("%d %d %d %d\n", actor.colour, actor.object_class, actor.first, actor.last);
    return 0;
}

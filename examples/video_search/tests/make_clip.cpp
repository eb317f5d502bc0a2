// make_clip FILE [TIMES]: writes the test recording, so often one after the other, and prints its
// truth, a line per box: colour, class, first and last frame.

#include "Clip.h"

#include <cstdio>
#include <cstdlib>
#include <exception>

int main(int argc, char** argv)
{
    if (argc < 2) {
        std::fprintf(stderr, "usage: make_clip FILE [TIMES]\n");
        return 2;
    }
    try {
        clip::write(argv[1], argc > 2 ? std::atoi(argv[2]) : 1);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make_clip: %s\n", error.what());
        return 1;
    }
    for (const clip::Actor& actor : clip::actors())
        std::printf("%d %d %d %d\n", actor.colour, actor.object_class, actor.first, actor.last);
    return 0;
}

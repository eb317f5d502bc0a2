// krtool: looks into configuration, records, log files and profiles.
//
// Exit codes: 0 good, 1 findings or nothing found, 2 wrong call or no access.

#include "host/Program.h"

#include <cstdio>

int main(int argc, char** argv)
{
    return krtool::Program().run(argc, argv, stdout);
}

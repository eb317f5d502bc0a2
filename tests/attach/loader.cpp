// Loads the library from a given file, as a host does that finds it at run time, and unloads it.
//
//     loader LIBRARY           one load; prints "loaded" and "unloaded"
//     loader LIBRARY status    one load; prints what became of the configuration: whether it was
//                              read, the path, and the error, each on a line
//     loader LIBRARY CYCLES    so many; prints the open handles after the first ten and at the end

#include <KRCommon/frame/Configuration_Status.h>
#include <KRCommon/platform/Platform_testing.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

bool load_and_unload(const std::string& path)
{
    void* const library = kr_platform_testing::load_library(path);
    return library != nullptr && kr_platform_testing::unload_library(library);
}

int run_cycles(const std::string& path, int cycles)
{
    for (int i = 0; i < cycles; ++i) {
        if (!load_and_unload(path)) {
            std::printf("cycle %d failed\n", i);
            return 1;
        }
        if (i == 9)
            std::printf("handles: %u\n", kr_platform_testing::open_handle_count());
    }
    std::printf("handles: %u\n", kr_platform_testing::open_handle_count());
    return 0;
}

int run_once(const std::string& path)
{
    void* const library = kr_platform_testing::load_library(path);
    if (library == nullptr) {
        std::puts("not loaded");
        return 1;
    }
    std::puts("loaded");
    std::puts(kr_platform_testing::unload_library(library) ? "unloaded" : "not unloaded");
    return 0;
}

int print_status(const std::string& path)
{
    // kr_configuration_status(), as both targets' compilers write it
    using Ask = const KR_Configuration_Status& (*)();
    void* const library = kr_platform_testing::load_library(path);
    const auto ask = reinterpret_cast<Ask>(
        kr_platform_testing::find_function(library, "_Z23kr_configuration_statusv"));
    if (ask == nullptr) {
        std::puts("not found");
        return 1;
    }
    const KR_Configuration_Status& status = ask();
    std::printf("%s\n%s\n%s\n", status.is_read ? "read" : "not read", status.path.c_str(),
                status.error.c_str());
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    std::setvbuf(stdout, nullptr, _IONBF, 0);
    if (argc < 2)
        return 2;
    if (argc > 2 && argv[2] == std::string("status"))
        return print_status(argv[1]);
    return argc > 2 ? run_cycles(argv[1], std::atoi(argv[2])) : run_once(argv[1]);
}

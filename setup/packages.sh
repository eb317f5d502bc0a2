# shellcheck shell=bash
# Debian packages that each part of the work needs; sourced by setup/setup.sh.

# Library, tests and benchmarks for Linux. The googletest package brings the sources that
# every preset compiles with its own flags. xmllint and expat give a second opinion on XML; Python
# runs one on object records. These and the libraries of the last lines are peers in the benchmarks.
# shellcheck disable=SC2034
LINUX_PACKAGES=(g++ make cmake ninja-build pkg-config libace-dev googletest libbenchmark-dev
                libxml2-utils libexpat1-dev python3
                libabsl-dev libopencv-imgproc-dev libpugixml-dev libxml2-dev libssl-dev libfmt-dev
                protobuf-compiler libprotobuf-dev flatbuffers-compiler libflatbuffers-dev)

# What the hosts in examples/video_search use: video and vision, the store, command line and page.
EXAMPLE_PACKAGES=(libopencv-objdetect-dev libopencv-video-dev libopencv-videoio-dev
                  libopencv-imgcodecs-dev libsqlite3-dev libsqlitecpp-dev libcli11-dev
                  libkainjow-mustache-dev)

# Cross compiler with the POSIX thread model, 32-bit Wine for the tests, and what ACE's
# project generator needs; Tcl makes SQLite's one-file form. The win32 thread model has no
# std::thread.
WINDOWS_PACKAGES=(g++-mingw-w64-i686-posix wine wine32:i386 perl xz-utils bzip2 tcl)

# Format and static checks.
CHECK_PACKAGES=(clang-format-14 clang-tidy-14 shellcheck git)

# libFuzzer comes with clang.
FUZZ_PACKAGES=(clang-14 libclang-rt-14-dev)

# Coverage report.
COVERAGE_PACKAGES=(gcovr)

# shellcheck shell=bash disable=SC2034
# Debian packages that each part of the work needs; sourced by setup/setup.sh.

# The library for Linux: all that './kr install' needs.
LIBRARY_PACKAGES=(g++ cmake ninja-build libace-dev)

# The library for Windows: the cross compiler, whose win32 thread model would have no std::thread, and
# what builds ACE there: make, its project generator's Perl, its archive's packer.
WINDOWS_LIBRARY_PACKAGES=(g++-mingw-w64-i686-posix make perl xz-utils bzip2)

# The tests. The googletest package brings the sources that every preset compiles with its own flags.
# xmllint and expat give a second opinion on XML; Python runs one on object records, and the tests of its
# package, with arrays and a plot; gdb tries its printers.
TEST_PACKAGES=(googletest pkg-config libxml2-utils libexpat1-dev python3 python3-numpy
               python3-matplotlib gdb)

# What makes the wheels of the Python package.
WHEEL_PACKAGES=(python3)

# 32-bit Wine, which runs them on Windows.
WINE_PACKAGES=(wine wine32:i386)

# Another compiler for Windows, its linker and what makes import libraries: a host in C is made with them.
C_HOST_PACKAGES=(clang-14 lld-14 llvm-14)

# What the hosts in examples/video_search use: video and vision, the stores, command line, page and
# service.
EXAMPLE_PACKAGES=(libopencv-objdetect-dev libopencv-video-dev libopencv-imgcodecs-dev
                  libavformat-dev libavcodec-dev libavutil-dev libswscale-dev
                  libsqlite3-dev libsqlitecpp-dev libcli11-dev libkainjow-mustache-dev
                  libcpp-httplib-dev libexpat1-dev pkg-config libcurl4-openssl-dev)

# The servers of a store on a cluster, for its tests, trials and the demo (setup/cluster.sh).
CLUSTER_PACKAGES=(clickhouse-server clickhouse-client curl)

# Clients of kr_serve, whom its tests and the demo bring together with it. gSOAP generates one: proof only,
# nothing generated is shipped.
CLIENT_PACKAGES=(curl python3 python3-zeep gsoap libgsoap-dev)

# The browser in which the page of kr_serve is tested, and what drives it.
PAGE_TEST_PACKAGES=(chromium chromium-driver python3-selenium)

# Tcl makes SQLite's one-file form, which is compiled for Windows; patch puts Debian's corrections into what
# kr_serve uses there.
WINDOWS_EXAMPLE_PACKAGES=(tcl patch)

# What krtool uses: command line, stores, JSON, pictures, compressed log files.
TOOL_PACKAGES=(libcli11-dev libsqlite3-dev nlohmann-json3-dev libstb-dev zlib1g-dev)
WINDOWS_TOOL_PACKAGES=(libz-mingw-w64-dev)

# Debian packages, a zip and an installer, and what checks them. The page checker knows man pages; Wine
# runs the installer.
LINUX_PACKAGE_PACKAGES=(debhelper dpkg-dev lintian mandoc python3-jsonschema git)
WINDOWS_PACKAGE_PACKAGES=(nsis zip unzip python3-jsonschema git)

# The API reference.
DOCS_PACKAGES=(doxygen doxygen-awesome-css graphviz python3 cmake)

# The generator of web-service types and its imports, for the test with generated types alone.
SOAP_PACKAGES=(gsoap)

# The benchmarks and the libraries that they compare with.
BENCH_PACKAGES=(libbenchmark-dev libabsl-dev libopencv-imgproc-dev libexpat1-dev libpugixml-dev
                libxml2-dev libssl-dev libfmt-dev libspdlog-dev protobuf-compiler libprotobuf-dev
                flatbuffers-compiler libflatbuffers-dev uuid-dev libcurl4-openssl-dev)

# Format and static checks; the compiler tells what compiles together.
CHECK_PACKAGES=(clang-format-14 clang-tidy-14 clang-14 shellcheck git)

# The second compiler; libFuzzer comes with it.
CLANG_PACKAGES=(clang-14)
FUZZ_PACKAGES=(clang-14 libclang-rt-14-dev)

# Coverage report.
COVERAGE_PACKAGES=(gcovr)

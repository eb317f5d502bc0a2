// Any bytes as a program file whose version is asked for. A file that is cut may lose its version
// but never tells another, and what is told stands in the file.

#include <KRCommon/platform/Pe_Version.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

namespace {

using kr_platform::File_Version;

void require(bool holds)
{
    if (!holds)
        std::abort();
}

// At most 2 x 65,535 sections and 65,535 kinds and names of resources, and what leads to them.
constexpr std::size_t most_reads = 300'000;

std::optional<File_Version> version_of(const std::uint8_t* data, std::size_t size)
{
    std::size_t reads = 0;
    return kr_platform::pe_file_version(
        [&](std::uint64_t offset, unsigned char* out, std::size_t count) {
            require(count > 0 && count <= 64 && ++reads <= most_reads);
            if (offset > size || count > size - offset)
                return false;
            std::memcpy(out, data + offset, count);
            return true;
        });
}

// The signature of the fixed block and, 8 bytes on, the version.
bool contains(const std::vector<std::uint8_t>& file, const File_Version& version)
{
    std::vector<std::uint8_t> numbers;
    for (const int part : {1, 0, 3, 2}) {
        numbers.push_back(static_cast<std::uint8_t>(version[std::size_t(part)]));
        numbers.push_back(static_cast<std::uint8_t>(version[std::size_t(part)] >> 8));
    }
    const std::uint8_t signature[] = {0xBD, 0x04, 0xEF, 0xFE};
    auto at = file.begin();
    while ((at = std::search(at, file.end(), std::begin(signature), std::end(signature))) !=
           file.end()) {
        if (file.end() - at >= 52 && std::equal(numbers.begin(), numbers.end(), at + 8))
            return true;
        ++at;
    }
    return false;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::optional<File_Version> version = version_of(data, size);
    require(version_of(data, size) == version);
    require(!version || contains({data, data + size}, *version));
    for (const std::size_t part : {1u, 2u, 3u, 7u, 15u}) {
        const std::optional<File_Version> of_part = version_of(data, size * part / 16);
        require(!of_part || of_part == version);
    }
    return 0;
}

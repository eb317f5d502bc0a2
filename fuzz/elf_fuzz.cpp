// Any bytes as a program file for Linux whose version is asked for. A file that is cut may lose its
// version but never tells another, and what is told stands in the file.

#include <KRCommon/platform/Elf_Version.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

using kr_platform::Elf_Version;

void require(bool holds)
{
    if (!holds)
        std::abort();
}

// 1,024 headers of 5 numbers, as many notes of 6 reads, and 4,096 entries for each of the headers.
constexpr std::size_t most_reads = 9'000'000;

std::optional<Elf_Version> version_of(const std::uint8_t* data, std::size_t size)
{
    std::size_t reads = 0;
    return kr_platform::elf_version(
        [&](std::uint64_t offset, unsigned char* out, std::size_t count) {
            require(count > 0 && count <= 64 && ++reads <= most_reads);
            if (offset > size || count > size - offset)
                return false;
            std::memcpy(out, data + offset, count);
            return true;
        });
}

bool is_same(const Elf_Version& left, const Elf_Version& right)
{
    return left.note == right.note && left.soname == right.soname &&
           left.build_id == right.build_id;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::optional<Elf_Version> version = version_of(data, size);
    if (version) {
        const std::string file(data, data + size);
        for (const std::string& text : {version->note, version->soname, version->build_id})
            require(file.find(text) != std::string::npos);
        require(version->note.size() < 64 && version->build_id.size() <= 64 &&
                version->soname.size() <= 255);
        require(std::all_of(version->note.begin(), version->note.end(),
                            [](char c) { return c > ' ' && c <= '~'; }));
    }
    for (const std::size_t part : {1u, 2u, 3u, 7u, 12u, 15u}) {
        const std::optional<Elf_Version> of_part = version_of(data, size * part / 16);
        require(!of_part || (version && is_same(*of_part, *version)));
    }
    return 0;
}

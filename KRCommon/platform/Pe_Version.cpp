#include <KRCommon/platform/Pe_Version.h>

#include <algorithm>

namespace kr_platform {

namespace {

// Positions in a file have 64 bits; sums of two 32-bit numbers of the file cannot overflow.
using Offset = std::uint64_t;

constexpr std::size_t largest_piece = 64;

// `size` bytes of the file, numbers little-endian.
template <std::size_t size>
struct Piece {
    static_assert(size <= largest_piece);
    std::array<unsigned char, size> bytes{};

    std::uint16_t u16(std::size_t at) const
    {
        return static_cast<std::uint16_t>(bytes[at] | bytes[at + 1] << 8);
    }

    std::uint32_t u32(std::size_t at) const
    {
        return u16(at) | static_cast<std::uint32_t>(u16(at + 2)) << 16;
    }
};

template <std::size_t size>
std::optional<Piece<size>> read(const Read_At& read_at, Offset offset)
{
    Piece<size> piece;
    if (!read_at(offset, piece.bytes.data(), size))
        return std::nullopt;
    return piece;
}

struct Image {
    Offset sections = 0; // of the section table in the file
    unsigned section_count = 0;
    std::uint32_t resources = 0; // address of the resource tree in memory
};

constexpr std::uint16_t dos_magic = 0x5A4D;       // "MZ"
constexpr std::uint32_t pe_signature = 0x4550;    // "PE"
constexpr std::uint16_t pe32_magic = 0x010B;      // 32-bit addresses
constexpr std::uint16_t pe32_plus_magic = 0x020B; // 64-bit addresses
constexpr unsigned resource_directory = 2;        // index among the data directories

std::optional<Image> read_headers(const Read_At& read_at)
{
    const auto dos = read<64>(read_at, 0);
    if (!dos || dos->u16(0) != dos_magic)
        return std::nullopt;
    const Offset pe = dos->u32(60);
    const auto file_header = read<24>(read_at, pe);
    if (!file_header || file_header->u32(0) != pe_signature)
        return std::nullopt;

    const Offset optional_header = pe + 24;
    const unsigned header_size = file_header->u16(20);
    const auto magic = read<2>(read_at, optional_header);
    if (!magic || (magic->u16(0) != pe32_magic && magic->u16(0) != pe32_plus_magic))
        return std::nullopt;
    // The number of data directories, then the directories, 8 bytes each.
    const unsigned directories = magic->u16(0) == pe32_magic ? 92 : 108;
    const unsigned entry = directories + 4 + 8 * resource_directory;
    if (header_size < entry + 8)
        return std::nullopt;
    const auto count = read<4>(read_at, optional_header + directories);
    const auto directory = read<8>(read_at, optional_header + entry);
    if (!count || count->u32(0) <= resource_directory || !directory || directory->u32(0) == 0)
        return std::nullopt;
    return Image{optional_header + header_size, file_header->u16(6), directory->u32(0)};
}

// Where `size` bytes that go to an address in memory stand in the file.
std::optional<Offset> locate(const Read_At& read_at, const Image& image, Offset address,
                             std::uint32_t size)
{
    for (unsigned i = 0; i < image.section_count; ++i) {
        const auto section = read<40>(read_at, image.sections + Offset{40} * i);
        if (!section)
            return std::nullopt;
        const Offset begin = section->u32(12);
        const Offset size_in_file = section->u32(16);
        if (address >= begin && address - begin < size_in_file) {
            const Offset within = address - begin;
            if (size > size_in_file - within)
                return std::nullopt;
            return section->u32(20) + within;
        }
    }
    return std::nullopt;
}

constexpr std::uint32_t is_directory = 0x8000'0000; // in an entry's second number
constexpr std::uint32_t version_type = 16;

// A directory of the resource tree: entries with names, then those with numbers.
struct Directory {
    Offset entries;
    unsigned named;
    unsigned numbered;
};

std::optional<Directory> read_directory(const Read_At& read_at, Offset at)
{
    const auto header = read<16>(read_at, at);
    if (!header)
        return std::nullopt;
    return Directory{at + 16, header->u16(12), header->u16(14)};
}

// Where the entry of the version resources leads, relative to the tree's begin.
std::optional<std::uint32_t> find_version_type(const Read_At& read_at, Offset tree)
{
    const auto types = read_directory(read_at, tree);
    if (!types)
        return std::nullopt;
    const Offset numbered = types->entries + Offset{8} * types->named;
    for (unsigned i = 0; i < types->numbered; ++i) {
        const auto entry = read<8>(read_at, numbered + Offset{8} * i);
        if (!entry)
            return std::nullopt;
        if (entry->u32(0) == version_type)
            return entry->u32(4);
    }
    return std::nullopt;
}

// Where the first entry of the directory leads that `link` leads to.
std::optional<std::uint32_t> first_of(const Read_At& read_at, Offset tree, std::uint32_t link)
{
    if ((link & is_directory) == 0)
        return std::nullopt;
    const auto directory = read_directory(read_at, tree + (link & ~is_directory));
    if (!directory || directory->named + directory->numbered == 0)
        return std::nullopt;
    const auto entry = read<8>(read_at, directory->entries);
    if (!entry)
        return std::nullopt;
    return entry->u32(4);
}

struct Resource {
    std::uint32_t address; // in memory
    std::uint32_t size;
};

// Type, name, language, data: the depth is fixed, so a tree that leads back into itself ends too.
std::optional<Resource> find_version_resource(const Read_At& read_at, Offset tree)
{
    const auto names = find_version_type(read_at, tree);
    if (!names)
        return std::nullopt;
    const auto languages = first_of(read_at, tree, *names);
    if (!languages)
        return std::nullopt;
    const auto data = first_of(read_at, tree, *languages);
    if (!data || (*data & is_directory) != 0)
        return std::nullopt;
    const auto entry = read<16>(read_at, tree + *data);
    if (!entry)
        return std::nullopt;
    return Resource{entry->u32(0), entry->u32(4)};
}

constexpr unsigned fixed_begin = 40; // behind three 16-bit numbers, the key and 2 bytes of padding
constexpr unsigned fixed_size = 52;
constexpr std::uint32_t fixed_signature = 0xFEEF'04BD;

bool has_root_key(const Piece<fixed_begin>& root)
{
    constexpr char key[] = "VS_VERSION_INFO"; // with its zero, 16 bits per character
    for (std::size_t i = 0; i < sizeof key; ++i)
        if (root.u16(6 + 2 * i) != static_cast<unsigned char>(key[i]))
            return false;
    return true;
}

std::optional<File_Version> read_version(const Read_At& read_at, Offset block, std::uint32_t size)
{
    const auto root = read<fixed_begin>(read_at, block);
    if (!root || root->u16(0) < fixed_begin + fixed_size || root->u16(0) > size ||
        root->u16(2) != fixed_size || !has_root_key(*root))
        return std::nullopt;
    const auto fixed = read<fixed_size>(read_at, block + fixed_begin);
    if (!fixed || fixed->u32(0) != fixed_signature)
        return std::nullopt;
    return File_Version{fixed->u16(10), fixed->u16(8), fixed->u16(14), fixed->u16(12)};
}

} // namespace

std::optional<File_Version> pe_file_version(const Read_At& read_at)
{
    const auto image = read_headers(read_at);
    if (!image)
        return std::nullopt;
    const auto tree = locate(read_at, *image, image->resources, 16);
    if (!tree)
        return std::nullopt;
    const auto resource = find_version_resource(read_at, *tree);
    if (!resource)
        return std::nullopt;
    const auto block = locate(read_at, *image, resource->address, resource->size);
    if (!block)
        return std::nullopt;
    return read_version(read_at, *block, resource->size);
}

} // namespace kr_platform

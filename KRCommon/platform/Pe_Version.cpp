#include <KRCommon/platform/Pe_Version.h>

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

constexpr std::uint16_t dos_magic = 0x5A4D; // "MZ"

// Where the header of the system that the program is for begins.
std::optional<Offset> find_header(const Read_At& read_at)
{
    const auto dos = read<64>(read_at, 0);
    if (!dos || dos->u16(0) != dos_magic)
        return std::nullopt;
    return dos->u32(60);
}

// Where a version resource begins in the file, and its size.
struct Resource {
    Offset block;
    std::uint32_t size;
};

struct Image {
    Offset sections = 0; // of the section table in the file
    unsigned section_count = 0;
    std::uint32_t resources = 0; // address of the resource tree in memory
};

constexpr std::uint32_t pe_signature = 0x4550;    // "PE"
constexpr std::uint16_t pe32_magic = 0x010B;      // 32-bit addresses
constexpr std::uint16_t pe32_plus_magic = 0x020B; // 64-bit addresses
constexpr unsigned resource_directory = 2;        // index among the data directories

std::optional<Image> read_pe_headers(const Read_At& read_at, Offset pe)
{
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

// Where in the file stands what goes to an address in memory. Begins there, at least: the section
// may end before.
std::optional<Offset> locate(const Read_At& read_at, const Image& image, Offset address)
{
    for (unsigned i = 0; i < image.section_count; ++i) {
        const auto section = read<40>(read_at, image.sections + Offset{40} * i);
        if (!section)
            return std::nullopt;
        const Offset begin = section->u32(12);
        const Offset size_in_file = section->u32(16);
        if (address >= begin && address - begin < size_in_file)
            return section->u32(20) + (address - begin);
    }
    return std::nullopt;
}

constexpr std::uint32_t is_directory = 0x8000'0000; // in an entry's second number
constexpr std::uint32_t version_type = 16;
constexpr std::uint32_t version_name = 1;

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

std::optional<std::uint32_t> first_entry(const Read_At& read_at, const Directory& directory)
{
    if (directory.named + directory.numbered == 0)
        return std::nullopt;
    const auto entry = read<8>(read_at, directory.entries);
    if (!entry)
        return std::nullopt;
    return entry->u32(4);
}

// Where the entry with a number leads, relative to the tree's begin. Nothing when the file does not
// have all entries up to it, so that a file that is cut never tells another version.
std::optional<std::uint32_t> find_entry(const Read_At& read_at, const Directory& directory,
                                        std::uint32_t number,
                                        std::optional<std::uint32_t> otherwise = std::nullopt)
{
    const Offset numbered = directory.entries + Offset{8} * directory.named;
    for (unsigned i = 0; i < directory.numbered; ++i) {
        const auto entry = read<8>(read_at, numbered + Offset{8} * i);
        if (!entry)
            return std::nullopt;
        if (entry->u32(0) == number)
            return entry->u32(4);
    }
    return otherwise;
}

// The directory that `link` leads to.
std::optional<Directory> follow(const Read_At& read_at, Offset tree, std::uint32_t link)
{
    if ((link & is_directory) == 0)
        return std::nullopt;
    return read_directory(read_at, tree + (link & ~is_directory));
}

// Type, name, language, data: the depth is fixed, so a tree that leads back into itself ends too.
std::optional<Resource> find_pe_resource(const Read_At& read_at, Offset pe)
{
    const auto image = read_pe_headers(read_at, pe);
    if (!image)
        return std::nullopt;
    const auto tree = locate(read_at, *image, image->resources);
    if (!tree)
        return std::nullopt;
    const auto types = read_directory(read_at, *tree);
    if (!types)
        return std::nullopt;
    const auto type = find_entry(read_at, *types, version_type);
    if (!type)
        return std::nullopt;
    const auto names = follow(read_at, *tree, *type);
    if (!names)
        return std::nullopt;
    const auto name = find_entry(read_at, *names, version_name, first_entry(read_at, *names));
    if (!name)
        return std::nullopt;
    const auto languages = follow(read_at, *tree, *name);
    if (!languages)
        return std::nullopt;
    const auto data = first_entry(read_at, *languages);
    if (!data || (*data & is_directory) != 0)
        return std::nullopt;
    const auto entry = read<16>(read_at, *tree + *data);
    if (!entry)
        return std::nullopt;
    const auto block = locate(read_at, *image, entry->u32(0));
    if (!block)
        return std::nullopt;
    return Resource{*block, entry->u32(4)};
}

constexpr std::uint16_t ne_signature = 0x454E; // "NE"
constexpr std::uint16_t is_number = 0x8000;    // in a type's or name's number
constexpr unsigned largest_shift = 16;

// Of a program for 16-bit Windows. Its table: the shift of offsets and sizes; then for each type its
// number, how many resources follow, 4 bytes, and 12 bytes for each of them; then the number 0.
std::optional<Resource> find_ne_resource(const Read_At& read_at, Offset ne)
{
    const auto header = read<64>(read_at, ne);
    if (!header || header->u16(0) != ne_signature || header->u16(36) == header->u16(38))
        return std::nullopt; // the table of names takes the place of an empty one of resources
    Offset at = ne + header->u16(36);
    const auto shift = read<2>(read_at, at);
    if (!shift || shift->u16(0) > largest_shift)
        return std::nullopt;
    at += 2;
    // A table has 64 KiB at most.
    for (const Offset end = ne + 0x1'0000; at < end;) {
        const auto type = read<8>(read_at, at);
        if (!type || type->u16(0) == 0)
            return std::nullopt;
        const unsigned count = type->u16(2);
        at += 8;
        if (type->u16(0) == (version_type | is_number) && count > 0) {
            const auto entry = read<12>(read_at, at);
            if (!entry)
                return std::nullopt;
            return Resource{Offset{entry->u16(0)} << shift->u16(0),
                            std::uint32_t{entry->u16(2)} << shift->u16(0)};
        }
        at += Offset{12} * count;
    }
    return std::nullopt;
}

// What begins a version block: its length, the length of the fixed block, with 16-bit characters a
// number, the key with its zero, and bytes that bring the fixed block to a multiple of 4.
struct Layout {
    unsigned key;
    unsigned character_size;
    unsigned fixed;
};

constexpr Layout pe_layout{6, 2, 40};
constexpr Layout ne_layout{4, 1, 20};

constexpr unsigned largest_begin = 40;
constexpr unsigned fixed_size = 52;
constexpr std::uint32_t fixed_signature = 0xFEEF'04BD;

bool has_key(const Piece<largest_begin>& begin, const Layout& layout)
{
    constexpr char key[] = "VS_VERSION_INFO"; // with its zero
    for (unsigned i = 0; i < sizeof key; ++i) {
        const unsigned at = layout.key + i * layout.character_size;
        const unsigned character = layout.character_size == 2 ? begin.u16(at) : begin.bytes[at];
        if (character != static_cast<unsigned char>(key[i]))
            return false;
    }
    return true;
}

std::optional<File_Version> read_version(const Read_At& read_at, const Resource& resource,
                                         const Layout& layout)
{
    const auto begin = read<largest_begin>(read_at, resource.block);
    if (!begin || begin->u16(0) < layout.fixed + fixed_size || begin->u16(0) > resource.size ||
        begin->u16(2) != fixed_size || !has_key(*begin, layout))
        return std::nullopt;
    const auto fixed = read<fixed_size>(read_at, resource.block + layout.fixed);
    if (!fixed || fixed->u32(0) != fixed_signature)
        return std::nullopt;
    return File_Version{fixed->u16(10), fixed->u16(8), fixed->u16(14), fixed->u16(12)};
}

} // namespace

std::optional<File_Version> pe_file_version(const Read_At& read_at)
{
    const auto header = find_header(read_at);
    if (!header)
        return std::nullopt;
    if (const auto resource = find_pe_resource(read_at, *header))
        return read_version(read_at, *resource, pe_layout);
    if (const auto resource = find_ne_resource(read_at, *header))
        return read_version(read_at, *resource, ne_layout);
    return std::nullopt;
}

} // namespace kr_platform

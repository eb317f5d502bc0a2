#include <KRCommon/platform/Elf_Version.h>

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace kr_platform {

namespace {

using Offset = std::uint64_t;

// Beyond any file; sums of two such numbers cannot overflow.
constexpr Offset farthest = Offset{1} << 48;

constexpr unsigned most_headers = 1'024;
constexpr unsigned most_notes = 1'024;
constexpr unsigned most_entries = 4'096;
constexpr std::size_t longest_soname = 255;
constexpr std::size_t largest_piece = 64;

// The file's bytes as its first sixteen tell to read them. The first read that fails ends it all.
class Reader {
public:
    explicit Reader(const Read_At& read_at) : read_at_(read_at) {}

    bool has_failed() const noexcept { return has_failed_; }
    bool is_wide() const noexcept { return is_wide_; }
    void fail() noexcept { has_failed_ = true; }

    void read_identification()
    {
        std::array<unsigned char, 16> bytes{};
        copy(0, bytes.data(), bytes.size());
        constexpr std::array<unsigned char, 4> magic = {0x7F, 'E', 'L', 'F'};
        const unsigned char width = bytes[4];
        const unsigned char order = bytes[5];
        const unsigned char version = bytes[6];
        if (!std::equal(magic.begin(), magic.end(), bytes.begin()) || width < 1 || width > 2 ||
            order < 1 || order > 2 || version != 1)
            fail();
        is_wide_ = width == 2;
        is_big_ = order == 2;
    }

    void copy(Offset offset, void* out, std::size_t count)
    {
        if (has_failed_ || offset > farthest ||
            !read_at_(offset, static_cast<unsigned char*>(out), count))
            fail();
    }

    std::uint64_t number(Offset offset, std::size_t size)
    {
        std::array<unsigned char, 8> bytes{};
        copy(offset, bytes.data(), size);
        std::uint64_t value = 0;
        for (std::size_t at = 0; at < size; ++at)
            value = value << 8 | bytes[is_big_ ? at : size - 1 - at];
        return has_failed_ ? 0 : value;
    }

    // An address, an offset or a size.
    Offset word(Offset offset)
    {
        const std::uint64_t value = number(offset, is_wide_ ? 8 : 4);
        if (value > farthest)
            fail();
        return has_failed_ ? 0 : value;
    }

private:
    const Read_At& read_at_;
    bool is_wide_ = false;
    bool is_big_ = false;
    bool has_failed_ = false;
};

enum Segment_Type : std::uint32_t { loaded = 1, dynamic = 2, notes = 4 };

// A program header: bytes of the file, and the address where they go.
struct Segment {
    std::uint32_t type;
    Offset offset;
    Offset address;
    Offset size;
    Offset alignment;
};

std::vector<Segment> read_segments(Reader& reader)
{
    const bool is_wide = reader.is_wide();
    const Offset table = reader.word(is_wide ? 32 : 28);
    const auto entry_size = reader.number(is_wide ? 54 : 42, 2);
    const auto count = reader.number(is_wide ? 56 : 44, 2);
    std::vector<Segment> segments;
    if (count > most_headers || (count > 0 && entry_size != (is_wide ? 56 : 32)))
        reader.fail();
    for (std::uint64_t index = 0; index < count && !reader.has_failed(); ++index) {
        const Offset at = table + index * entry_size;
        const auto type = static_cast<std::uint32_t>(reader.number(at, 4));
        if (type != loaded && type != dynamic && type != notes)
            continue;
        if (is_wide)
            segments.push_back({type, reader.word(at + 8), reader.word(at + 16),
                                reader.word(at + 32), reader.word(at + 48)});
        else
            segments.push_back({type, reader.word(at + 4), reader.word(at + 8),
                                reader.word(at + 16), reader.word(at + 28)});
    }
    return segments;
}

constexpr std::uint64_t build_id_type = 3; // of the owner "GNU"
constexpr std::uint64_t version_type = 1;  // of the owner "KRCommon"

// The bytes of a note; nothing when there are more than any has that counts.
std::string content(Reader& reader, Offset offset, Offset size)
{
    if (size > largest_piece)
        return {};
    std::string bytes(static_cast<std::size_t>(size), '\0');
    if (size > 0)
        reader.copy(offset, bytes.data(), bytes.size());
    return bytes;
}

// The text with its zero; empty when it is none.
std::string version_text(const std::string& bytes)
{
    const std::string text = bytes.substr(0, bytes.find('\0'));
    const bool is_text =
        text.size() < bytes.size() &&
        std::all_of(text.begin(), text.end(), [](char c) { return c > ' ' && c <= '~'; });
    return is_text ? text : std::string();
}

// The gABI's sizes, 32-bit in both kinds of files: of the owner's name and of the content, then the type,
// the name and the content, each filled up.
void read_notes(Reader& reader, const Segment& segment, unsigned& budget, Elf_Version& version)
{
    const Offset alignment = segment.alignment == 8 ? 8 : 4;
    const auto fill_up = [alignment](Offset size) {
        return (size + alignment - 1) / alignment * alignment;
    };
    constexpr Offset header_size = 12;
    Offset at = 0;
    while (!reader.has_failed() && segment.size - at >= header_size) {
        const Offset note = segment.offset + at;
        const Offset name_size = reader.number(note, 4);
        const Offset size = reader.number(note + 4, 4);
        const auto type = reader.number(note + 8, 4);
        const Offset content_at = fill_up(header_size + name_size);
        if (budget-- == 0 || content_at > segment.size - at ||
            size > segment.size - at - content_at)
            return reader.fail();
        using namespace std::string_view_literals;
        const std::string owner = content(reader, note + header_size, name_size);
        if (owner == "GNU\0"sv && type == build_id_type && version.build_id.empty())
            version.build_id = content(reader, note + content_at, size);
        if (owner == "KRCommon\0"sv && type == version_type && version.note.empty())
            version.note = version_text(content(reader, note + content_at, size));
        at = std::min(at + content_at + fill_up(size), segment.size);
    }
}

// Where in the file stands what goes to an address.
Offset locate(Reader& reader, const std::vector<Segment>& segments, Offset address)
{
    for (const Segment& segment : segments)
        if (segment.type == loaded && address >= segment.address &&
            address - segment.address < segment.size)
            return segment.offset + (address - segment.address);
    reader.fail();
    return 0;
}

std::string read_text(Reader& reader, Offset offset)
{
    std::string text;
    for (; text.size() <= longest_soname; ++offset) {
        char c = '\0';
        reader.copy(offset, &c, 1);
        if (reader.has_failed() || c == '\0')
            return text;
        text += c;
    }
    reader.fail();
    return {};
}

void read_soname(Reader& reader, const std::vector<Segment>& segments, const Segment& segment,
                 Elf_Version& version)
{
    enum Tag : std::uint64_t { end = 0, texts = 5, texts_size = 10, soname = 14 };
    const Offset half = reader.is_wide() ? 8 : 4;
    Offset values[15] = {};
    bool is_there[15] = {};
    for (Offset at = 0; segment.size - at >= 2 * half; at += 2 * half) {
        const auto tag = reader.number(segment.offset + at, static_cast<std::size_t>(half));
        if (reader.has_failed() || at / (2 * half) >= most_entries)
            return reader.fail();
        if (tag == end)
            break;
        if (tag == texts || tag == texts_size || tag == soname) {
            values[tag] = reader.word(segment.offset + at + half);
            is_there[tag] = true;
        }
    }
    if (!is_there[soname] || reader.has_failed())
        return;
    if (!is_there[texts] || (is_there[texts_size] && values[soname] >= values[texts_size]))
        return reader.fail();
    const Offset at = locate(reader, segments, values[texts]);
    version.soname = read_text(reader, at + values[soname]);
}

} // namespace

std::optional<Elf_Version> elf_version(const Read_At& read_at)
{
    Reader reader(read_at);
    reader.read_identification();
    const std::vector<Segment> segments = read_segments(reader);
    Elf_Version version;
    unsigned budget = most_notes;
    for (const Segment& segment : segments) {
        if (segment.type == notes)
            read_notes(reader, segment, budget, version);
        if (segment.type == dynamic && version.soname.empty())
            read_soname(reader, segments, segment, version);
    }
    if (reader.has_failed())
        return std::nullopt;
    return version;
}

} // namespace kr_platform

#include <KRCommon/platform/Pe_Version.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace {

using kr_platform::File_Version;
using kr_platform::pe_file_version;

using Bytes = std::vector<unsigned char>;

Bytes sample(const std::string& name)
{
    std::ifstream file(std::string(KR_VERSION_SAMPLES) + "/" + name + ".dll", std::ios::binary);
    const std::string bytes{std::istreambuf_iterator<char>(file), {}};
    return Bytes(bytes.begin(), bytes.end());
}

std::string version_of(const Bytes& file)
{
    const auto version =
        pe_file_version([&](std::uint64_t offset, unsigned char* out, std::size_t count) {
            EXPECT_LE(count, 64u);
            if (offset > file.size() || count > file.size() - offset)
                return false;
            std::memcpy(out, file.data() + offset, count);
            return true;
        });
    if (!version)
        return "none";
    return std::to_string((*version)[0]) + '.' + std::to_string((*version)[1]) + '.' +
           std::to_string((*version)[2]) + '.' + std::to_string((*version)[3]);
}

// Where things stand in x64_6.3.2.15.dll.
namespace x64 {
constexpr std::size_t pe_offset = 0x3C;
constexpr std::size_t signature = 0x40;
constexpr std::size_t section_count = 0x46;
constexpr std::size_t header_size = 0x54;
constexpr std::size_t magic = 0x58;
constexpr std::size_t directory_count = 0xC4;
constexpr std::size_t resource_directory = 0xD8;
constexpr std::size_t section_address = 0x154;
constexpr std::size_t section_size = 0x158;
constexpr std::size_t section_offset = 0x15C;
constexpr std::size_t type_counts = 0x20C;
constexpr std::size_t type = 0x210;
constexpr std::size_t type_link = 0x214;
constexpr std::size_t name_counts = 0x224;
constexpr std::size_t name_link = 0x22C;
constexpr std::size_t language_link = 0x244;
constexpr std::size_t data_address = 0x248;
constexpr std::size_t data_size = 0x24C;
constexpr std::size_t block = 0x258;
constexpr std::size_t fixed = 0x280;
constexpr std::size_t version = 0x288;
constexpr std::size_t fixed_end = 0x2B4;
} // namespace x64

Bytes with(Bytes file, std::size_t at, std::uint32_t number)
{
    for (std::size_t i = 0; i < 4; ++i)
        file[at + i] = static_cast<unsigned char>(number >> 8 * i);
    return file;
}

std::uint32_t number_at(const Bytes& file, std::size_t at)
{
    std::uint32_t number = 0;
    for (std::size_t i = 4; i-- > 0;)
        number = number << 8 | file[at + i];
    return number;
}

TEST(PeVersion, ReadsImagesOfBothSizes)
{
    EXPECT_EQ("6.3.2.15", version_of(sample("x86_6.3.2.15")));
    EXPECT_EQ("6.3.2.15", version_of(sample("x64_6.3.2.15")));
    EXPECT_EQ("40000.1.65535.0", version_of(sample("x86_40000.1.65535.0")));
    EXPECT_EQ("40000.1.65535.0", version_of(sample("x64_40000.1.65535.0")));
}

TEST(PeVersion, TakesTheFirstLanguageOfTheFirstVersion)
{
    EXPECT_EQ("1.2.3.4", version_of(sample("x86_several_1.2.3.4")));
}

// A second name in the place of the language's directory, which moves behind the fixed block.
TEST(PeVersion, PrefersTheNameOne)
{
    Bytes file = sample("x64_6.3.2.15");
    ASSERT_EQ(0x0001'0000u, number_at(file, x64::name_counts)); // one, with a number
    const std::uint32_t link = number_at(file, x64::name_link);
    const std::uint32_t elsewhere = 0xB4;
    std::copy_n(file.begin() + 0x230, 24, file.begin() + 0x200 + elsewhere);
    file = with(file, x64::name_counts, 0x0002'0000);
    const auto with_names = [&](std::uint32_t first, std::uint32_t first_link, std::uint32_t second,
                                std::uint32_t second_link) {
        Bytes changed = with(with(file, 0x228, first), x64::name_link, first_link);
        return with(with(changed, 0x230, second), 0x234, second_link);
    };
    const std::uint32_t moved = 0x8000'0000 | elsewhere;
    ASSERT_NE(moved, link);
    EXPECT_EQ("6.3.2.15", version_of(with_names(1, moved, 2, 0)));
    EXPECT_EQ("6.3.2.15", version_of(with_names(0, 0, 1, moved)));
    EXPECT_EQ("6.3.2.15", version_of(with_names(2, moved, 3, 0)));
    EXPECT_EQ("none", version_of(with_names(2, 0, 3, moved)));
    const Bytes many = with(with_names(1, moved, 2, 0), x64::name_counts, 0xFFFF'0000);
    EXPECT_EQ("6.3.2.15", version_of(many));
    EXPECT_EQ("none", version_of(with(many, 0x228, 3))) << "names that the file does not have";
}

// A program for 16-bit Windows with an icon and a version, as small as can be.
namespace ne {
constexpr std::size_t header = 0x40;
constexpr std::size_t table = header + 0x40;
constexpr std::size_t shift = table;
constexpr std::size_t icon = table + 2;
constexpr std::size_t type = icon + 8 + 12;
constexpr std::size_t entry = type + 8;
constexpr std::size_t block = 0xC0;
constexpr std::size_t size = block + 20 + 52;
} // namespace ne

void put_u16(Bytes& file, std::size_t at, unsigned number)
{
    file[at] = static_cast<unsigned char>(number);
    file[at + 1] = static_cast<unsigned char>(number >> 8);
}

Bytes sixteen_bit_program()
{
    Bytes file(ne::size);
    put_u16(file, 0, 0x5A4D);
    put_u16(file, 60, ne::header);
    put_u16(file, ne::header, 0x454E);
    put_u16(file, ne::header + 36, ne::table - ne::header);
    put_u16(file, ne::header + 38, ne::block - ne::header);
    put_u16(file, ne::shift, 4);
    put_u16(file, ne::icon, 0x8003);
    put_u16(file, ne::icon + 2, 1);
    put_u16(file, ne::type, 0x8010);
    put_u16(file, ne::type + 2, 1);
    put_u16(file, ne::entry, ne::block >> 4);
    put_u16(file, ne::entry + 2, 5);
    put_u16(file, ne::entry + 6, 0x8001);
    put_u16(file, ne::block, 72);
    put_u16(file, ne::block + 2, 52);
    std::memcpy(file.data() + ne::block + 4, "VS_VERSION_INFO", 16);
    file = with(file, ne::block + 20, 0xFEEF04BD);
    file = with(file, ne::block + 28, 0x00060003);
    return with(file, ne::block + 32, 0x0002000F);
}

TEST(PeVersion, ReadsProgramsFor16BitWindows)
{
    EXPECT_EQ("6.3.2.15", version_of(sixteen_bit_program()));
    Bytes of_shift_16 = sixteen_bit_program();
    put_u16(of_shift_16, ne::shift, 16);
    EXPECT_EQ("none", version_of(of_shift_16));
    of_shift_16.resize(0x1'0000);
    const Bytes block(of_shift_16.begin() + ne::block, of_shift_16.begin() + ne::size);
    of_shift_16.insert(of_shift_16.end(), block.begin(), block.end());
    put_u16(of_shift_16, ne::entry, 1);
    EXPECT_EQ("6.3.2.15", version_of(of_shift_16));
}

TEST(PeVersion, RefusesDamagedProgramsFor16BitWindows)
{
    const struct {
        const char* what;
        std::size_t at;
        unsigned number;
    } damages[] = {
        {"no signature", ne::header, 0},
        {"no table", ne::header + 36, ne::block - ne::header},
        {"a table behind the file", ne::header + 36, 0xFFFF},
        {"a shift of 17", ne::shift, 17},
        {"an end before the version", ne::icon, 0},
        {"more icons than fit", ne::icon + 2, 0xFFFF},
        {"no version", ne::type + 2, 0},
        {"another type", ne::type, 0x8011},
        {"a type with a name", ne::type, 16},
        {"data behind the file", ne::entry, 0xFFFF},
        {"data before the block", ne::entry, 0},
        {"data of no size", ne::entry + 2, 0},
        {"data of 64 bytes", ne::entry + 2, 4},
        {"a block longer than its data", ne::block, 81},
        {"a block of 71 bytes", ne::block, 71},
        {"a fixed block of 51 bytes", ne::block + 2, 51},
        {"another key", ne::block + 4, 0x5357},
        {"a longer key", ne::block + 18, 0x5858},
        {"another signature", ne::block + 20, 0},
    };
    for (const auto& damage : damages) {
        Bytes file = sixteen_bit_program();
        put_u16(file, damage.at, damage.number);
        EXPECT_EQ("none", version_of(file)) << damage.what;
    }
}

TEST(PeVersion, NeedsA16BitProgramUpToTheEndOfTheFixedBlock)
{
    const Bytes file = sixteen_bit_program();
    for (std::size_t length = 0; length <= file.size(); ++length) {
        const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(length < file.size() ? "none" : "6.3.2.15", version_of(cut)) << length;
    }
}

TEST(PeVersion, CountsNamedKindsOfResourcesApart)
{
    const Bytes file = sample("x86_several_1.2.3.4");
    ASSERT_EQ(0x0003'0001u, number_at(file, 0x20C)); // one with a name, then 10, 16 and 24
    EXPECT_EQ("1.2.3.4", version_of(with(file, 0x20C, 0x0002'0001)));
    EXPECT_EQ("none", version_of(with(file, 0x20C, 0x0001'0001)));
}

// The table of sections follows the optional header, whose size the file tells.
Bytes with_short_header(Bytes file, std::uint32_t size)
{
    std::copy_n(file.begin() + 0x148, 40, file.begin() + x64::magic + size);
    return with(file, x64::header_size, 0x2022'0000 | size);
}

TEST(PeVersion, NeedsTheHeaderUpToTheEndOfTheResourceDirectory)
{
    const Bytes file = sample("x64_6.3.2.15");
    EXPECT_EQ("6.3.2.15", version_of(with_short_header(file, 136)));
    EXPECT_EQ("none", version_of(with_short_header(file, 135)));
}

TEST(PeVersion, FindsNothingWhereThereIsNone)
{
    EXPECT_EQ("none", version_of({}));
    EXPECT_EQ("none", version_of(Bytes(4096, 0)));
    EXPECT_EQ("none", version_of(Bytes(4096, 0xFF)));
    EXPECT_EQ("none", version_of(sample("x86_other_resource")));
    EXPECT_EQ("none", version_of(sample("x64_no_resources")));
}

TEST(PeVersion, NeedsTheFileUpToTheEndOfTheFixedBlock)
{
    const Bytes file = sample("x64_6.3.2.15");
    ASSERT_EQ(1024u, file.size());
    for (std::size_t length = 0; length <= file.size(); ++length) {
        const Bytes cut(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(length));
        EXPECT_EQ(length < x64::fixed_end ? "none" : "6.3.2.15", version_of(cut)) << length;
    }
}

// Damage at a place may hide the version but makes another one of it in the version's own 8 bytes
// alone.
void expect_harmless(const Bytes& damaged, std::size_t first, std::size_t last)
{
    const std::string version = version_of(damaged);
    const bool is_elsewhere = last < x64::version || first >= x64::version + 8;
    if (is_elsewhere) {
        EXPECT_TRUE(version == "none" || version == "6.3.2.15") << first << ' ' << version;
    }
}

TEST(PeVersion, SurvivesEveryDamagedByte)
{
    for (const char* name : {"x86_6.3.2.15", "x64_6.3.2.15"}) {
        const Bytes file = sample(name);
        for (std::size_t at = 0; at < file.size(); ++at) {
            std::vector<unsigned> values = {0, 0xFF};
            for (unsigned bit = 1; bit < 0x100; bit <<= 1)
                values.push_back(file[at] ^ bit);
            for (const unsigned value : values) {
                Bytes damaged = file;
                damaged[at] = static_cast<unsigned char>(value);
                expect_harmless(damaged, at, at);
            }
        }
    }
}

TEST(PeVersion, SurvivesEveryDamagedNumber)
{
    for (const char* name : {"x86_6.3.2.15", "x64_6.3.2.15"}) {
        const Bytes file = sample(name);
        for (std::size_t at = 0; at + 4 <= file.size(); at += 2)
            for (const std::uint32_t number :
                 {0u, 1u, 0x7FFFFFFFu, 0x80000000u, 0x80000001u, 0xFFFFFFF0u, 0xFFFFFFFFu})
                expect_harmless(with(file, at, number), at, at + 3);
    }
}

struct Damage {
    const char* what;
    std::size_t at;
    std::uint32_t number;
};

const Damage fatal_damages[] = {
    {"no DOS header", 0, 0},
    {"headers at the end of 32 bits", x64::pe_offset, 0xFFFFFFFF},
    {"headers past the end of the file", x64::pe_offset, 1024},
    {"no PE signature", x64::signature, 0x00004551},
    {"no sections", x64::section_count, 0},
    {"no optional header", x64::header_size, 0x20220000},
    {"an optional header that ends within the resource directory", x64::header_size, 0x20220087},
    {"an unknown magic", x64::magic, 0x0107},
    {"the 32-bit magic", x64::magic, 0x010B},
    {"no data directories", x64::directory_count, 0},
    {"two data directories", x64::directory_count, 2},
    {"no resource directory", x64::resource_directory, 0},
    {"resources before the section", x64::resource_directory, 0x0FFF},
    {"resources past the end of the section", x64::resource_directory, 0x1200},
    {"resources at the end of 32 bits", x64::resource_directory, 0xFFFFFFFF},
    {"resources that the section cuts", x64::resource_directory, 0x11F1},
    {"a section elsewhere", x64::section_address, 0xFFFFFFFF},
    {"a section of no size", x64::section_size, 0},
    {"a section that ends before the data", x64::section_size, 0x58},
    {"a section at the end of 32 bits", x64::section_offset, 0xFFFFFFFF},
    {"no types", x64::type_counts, 0},
    {"named types only", x64::type_counts, 1},
    {"65,535 named types", x64::type_counts, 0xFFFF},
    {"65,535 types, none of them the version", x64::type, 15},
    {"a type without names", x64::type_link, 0x18},
    {"names at the end of 31 bits", x64::type_link, 0xFFFFFFFF},
    {"no names", x64::name_counts, 0},
    {"a name without languages", x64::name_link, 0x30},
    {"a name that leads back to the types", x64::name_link, 0x80000000},
    {"a name that leads to itself", x64::name_link, 0x80000018},
    {"a type that leads to itself", x64::type_link, 0x80000000},
    {"a language that leads on", x64::language_link, 0x80000048},
    {"a language that leads back", x64::language_link, 0x80000000},
    {"a language that leads to the end of 31 bits", x64::language_link, 0x7FFFFFFF},
    {"data at address 0", x64::data_address, 0},
    {"data at the end of 32 bits", x64::data_address, 0xFFFFFFFF},
    {"data two bytes on", x64::data_address, 0x105A},
    {"data of size 0", x64::data_size, 0},
    {"data of 91 bytes", x64::data_size, 91},
    {"a block of length 0", x64::block, 0x00340000},
    {"a block longer than its data", x64::block, 0x00340111},
    {"a fixed block of length 0", x64::block, 0x00000110},
    {"a fixed block of 51 bytes", x64::block, 0x00330110},
    {"a fixed block of 53 bytes", x64::block, 0x00350110},
    {"another key", x64::block + 6, 0x00530057},
    {"no signature", x64::fixed, 0},
};

TEST(PeVersion, RefusesWhatLeadsOutOfItsPlace)
{
    const Bytes file = sample("x64_6.3.2.15");
    for (const Damage& damage : fatal_damages)
        EXPECT_EQ("none", version_of(with(file, damage.at, damage.number))) << damage.what;
}

TEST(PeVersion, NeedsEveryByteOfTheKey)
{
    const Bytes file = sample("x64_6.3.2.15");
    for (std::size_t at = x64::block + 6; at < x64::block + 6 + 32; ++at) {
        Bytes damaged = file;
        damaged[at] ^= 1;
        EXPECT_EQ("none", version_of(damaged)) << at;
    }
}

TEST(PeVersion, PassesOverWhatDoesNotMatter)
{
    const Bytes file = sample("x64_6.3.2.15");
    const Damage damages[] = {
        {"another machine", x64::signature + 4, 0x00010200},
        {"data as long as its block", x64::data_size, 0x110},
        {"more data directories than fit", x64::directory_count, 0xFFFFFFFF},
        {"three data directories", x64::directory_count, 3},
        {"another name", 0x228, 7},
        {"another language", 0x240, 0x419},
        {"another size of the resources", x64::resource_directory + 4, 0},
        {"another size in memory", x64::section_address - 4, 0},
        {"data that ends past the section", x64::data_size, 0x1000},
        {"data of 2^31 bytes", x64::data_size, 0x80000000},
        {"data of 2^32-1 bytes", x64::data_size, 0xFFFFFFFF},
        {"a section that ends within the fixed block", x64::section_size, 0x90},
        {"a section that ends behind the data's begin", x64::section_size, 0x59},
    };
    for (const Damage& damage : damages)
        EXPECT_EQ("6.3.2.15", version_of(with(file, damage.at, damage.number))) << damage.what;
}

TEST(PeVersion, ReadsHighWordFirst)
{
    const Bytes file = sample("x64_6.3.2.15");
    ASSERT_EQ(0x00060003u, number_at(file, x64::version));
    ASSERT_EQ(0x0002000Fu, number_at(file, x64::version + 4));
    EXPECT_EQ("65535.0.2.15", version_of(with(file, x64::version, 0xFFFF0000)));
    EXPECT_EQ("6.3.0.65535", version_of(with(file, x64::version + 4, 0x0000FFFF)));
}

// A file without end, full of sections and resources.
TEST(PeVersion, EndsOnAnyInput)
{
    const Bytes file = sample("x64_6.3.2.15");
    for (const std::uint32_t number : {0u, 0x01010101u, 0xFFFFFFFFu}) {
        std::size_t reads = 0;
        const Bytes head = with(with(file, x64::section_count, 0xFFFF), x64::type_counts, number);
        EXPECT_FALSE(
            pe_file_version([&](std::uint64_t offset, unsigned char* out, std::size_t count) {
                ++reads;
                for (std::size_t i = 0; i < count; ++i) {
                    const bool is_headers = offset + i < x64::section_address - 12;
                    out[i] = is_headers ? head[static_cast<std::size_t>(offset) + i]
                                        : static_cast<unsigned char>(number);
                }
                return true;
            }).has_value());
        EXPECT_LE(reads, 300'000u);
    }
}

TEST(PeVersion, FailsWithEveryReadThatFails)
{
    const Bytes file = sample("x64_6.3.2.15");
    const auto version_with_reads = [&](int allowed) {
        return pe_file_version([&](std::uint64_t offset, unsigned char* out, std::size_t count) {
            std::memcpy(out, file.data() + offset, count);
            return allowed-- > 0;
        });
    };
    int allowed = 0;
    while (allowed < 100 && !version_with_reads(allowed))
        ++allowed;
    EXPECT_EQ(17, allowed);
    EXPECT_EQ((File_Version{6, 3, 2, 15}), version_with_reads(allowed).value());
}

// The file with a section before its own one, in the table.
Bytes with_section_before(Bytes file, std::uint32_t address, std::uint32_t size)
{
    constexpr std::size_t table = x64::section_address - 12;
    std::copy_n(file.begin() + table, 40, file.begin() + table + 40);
    file = with(with(file, x64::section_address, address), x64::section_size, size);
    return with(file, x64::section_count, 2);
}

TEST(PeVersion, LooksIntoTheSectionThatHoldsTheAddress)
{
    const Bytes file = sample("x64_6.3.2.15");
    ASSERT_EQ(0x1000u, number_at(file, x64::section_address));
    ASSERT_EQ(1u, number_at(file, x64::section_count) & 0xFFFF);
    EXPECT_EQ("6.3.2.15", version_of(with_section_before(file, 0x0800, 0x0800)));
    EXPECT_EQ("6.3.2.15", version_of(with_section_before(file, 0x2000, 0x1000)));
    EXPECT_EQ("6.3.2.15", version_of(with_section_before(file, 0x8000, 0x8000)));
    EXPECT_EQ("6.3.2.15", version_of(with_section_before(file, 0x1000, 0)));
    EXPECT_EQ("none", version_of(with_section_before(file, 0x0800, 0x0801)));
    EXPECT_EQ("none", version_of(with_section_before(file, 0x0FFF, 0x1000)));
}

// A file of 4 GiB that repeats itself, so that a link taken with its highest bit leads somewhere.
TEST(PeVersion, TakesTheHighestBitOfALinkForAMarkAndNotForAPlace)
{
    const auto is_read = [](const Bytes& file) {
        return pe_file_version([&](std::uint64_t offset, unsigned char* out, std::size_t count) {
                   std::memcpy(out, file.data() + (offset & 0x7FFF'FFFF), count);
                   return true;
               })
            .has_value();
    };
    const Bytes file = sample("x64_6.3.2.15");
    const auto without_mark = [&](std::size_t at) {
        return with(file, at, number_at(file, at) & 0x7FFF'FFFF);
    };
    EXPECT_TRUE(is_read(file));
    EXPECT_FALSE(is_read(without_mark(x64::type_link)));
    EXPECT_FALSE(is_read(without_mark(x64::name_link)));
    const std::uint32_t language = number_at(file, x64::language_link);
    EXPECT_FALSE(is_read(with(file, x64::language_link, language | 0x8000'0000)));
}

TEST(PeVersion, OneReadThatFailsMakesNoOtherVersion)
{
    const Bytes file = sample("x64_6.3.2.15");
    int reads = 0;
    const auto version_without_read = [&](int failing) {
        reads = 0;
        return pe_file_version([&](std::uint64_t offset, unsigned char* out, std::size_t count) {
            if (reads++ == failing || offset + count > file.size())
                return false;
            std::memcpy(out, file.data() + offset, count);
            return true;
        });
    };
    constexpr File_Version version{6, 3, 2, 15};
    EXPECT_EQ(version, version_without_read(-1));
    const int all = reads;
    for (int failing = 0; failing < all; ++failing)
        EXPECT_EQ(version, version_without_read(failing).value_or(version)) << failing;
    EXPECT_FALSE(version_without_read(all - 1).has_value());
}

} // namespace

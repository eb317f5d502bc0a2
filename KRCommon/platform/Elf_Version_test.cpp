#include <KRCommon/platform/Elf_Version.h>

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>

namespace {

using kr_platform::elf_version;
using kr_platform::Elf_Version;

// From memory without a byte to spare, as few reads as the contract allows.
std::optional<Elf_Version> version_of(const std::string& file)
{
    const std::unique_ptr<char[]> bytes(new char[file.size()]);
    file.copy(bytes.get(), file.size());
    return elf_version([&](std::uint64_t offset, unsigned char* out, std::size_t count) {
        EXPECT_LE(count, 64u);
        if (offset > file.size() || count > file.size() - offset)
            return false;
        std::memcpy(out, bytes.get() + offset, count);
        return true;
    });
}

std::string told_by(const std::string& file)
{
    const auto version = version_of(file);
    return version ? version->note + "|" + version->soname + "|" + version->build_id : "nothing";
}

// A small file: header, three program headers (all of it loaded at address, notes, dynamic), the notes,
// the dynamic entries, the texts.
class Elf {
public:
    Elf(bool is_wide, bool is_big) : is_wide_(is_wide), is_big_(is_big) {}

    static constexpr std::uint64_t address = 0x10'0000;

    std::string notes;
    std::string entries;
    std::string texts = std::string("\0libcamera.so.1.2\0", 18);
    std::uint64_t header_count = 3;
    std::uint64_t notes_alignment = 4;

    std::string number(std::uint64_t value, std::size_t size) const
    {
        std::string bytes;
        for (std::size_t at = 0; at < size; ++at)
            bytes += static_cast<char>(value >> 8 * (is_big_ ? size - 1 - at : at));
        return bytes;
    }

    std::string word(std::uint64_t value) const { return number(value, is_wide_ ? 8 : 4); }

    void add_note(const std::string& owner, std::uint64_t type, const std::string& content)
    {
        const auto fill_up = [this](std::size_t size) {
            const auto alignment = static_cast<std::size_t>(notes_alignment);
            return (size + alignment - 1) / alignment * alignment;
        };
        std::string note =
            number(owner.size(), 4) + number(content.size(), 4) + number(type, 4) + owner;
        note.resize(fill_up(note.size()));
        note += content;
        note.resize(fill_up(note.size()));
        notes += note;
    }

    void add_entry(std::uint64_t tag, std::uint64_t value) { entries += word(tag) + word(value); }

    std::uint64_t notes_offset() const { return header_size() + 3 * entry_size(); }
    std::uint64_t entries_offset() const { return notes_offset() + notes.size(); }
    std::uint64_t texts_address() const { return address + entries_offset() + entries.size(); }

    // The usual entries, the last ones, since they say where the texts begin.
    void add_soname(std::uint64_t at = 1)
    {
        const std::uint64_t size = 4 * (is_wide_ ? 16 : 8);
        const std::uint64_t begin = address + entries_offset() + entries.size() + size;
        add_entry(5, begin);
        add_entry(10, texts.size());
        add_entry(14, at);
        add_entry(0, 0);
    }

    std::string bytes() const
    {
        std::string file = "\x7F"
                           "ELF";
        file += is_wide_ ? '\2' : '\1';
        file += is_big_ ? '\2' : '\1';
        file += '\1';
        file.resize(16);
        file +=
            number(3, 2) + number(62, 2) + number(1, 4) + word(0) + word(header_size()) + word(0);
        file += number(0, 4) + number(header_size(), 2) + number(entry_size(), 2) +
                number(header_count, 2) + number(0, 2) + number(0, 2) + number(0, 2);
        const std::uint64_t size = entries_offset() + entries.size() + texts.size();
        file += segment(1, 0, size, 0x1000);
        file += segment(4, notes_offset(), notes.size(), notes_alignment);
        file += segment(2, entries_offset(), entries.size(), 8);
        return file + notes + entries + texts;
    }

private:
    std::uint64_t header_size() const { return is_wide_ ? 64 : 52; }
    std::uint64_t entry_size() const { return is_wide_ ? 56 : 32; }

    std::string segment(std::uint64_t type, std::uint64_t offset, std::uint64_t size,
                        std::uint64_t alignment) const
    {
        const std::string place = word(offset) + word(address + offset) + word(address + offset) +
                                  word(size) + word(size);
        return is_wide_ ? number(type, 4) + number(4, 4) + place + word(alignment)
                        : number(type, 4) + place + number(4, 4) + word(alignment);
    }

    bool is_wide_;
    bool is_big_;
};

const std::string gnu("GNU\0", 4);
const std::string kr("KRCommon\0", 9);
const std::string text("6.3.2.15\0", 9);

Elf usual(bool is_wide = true, bool is_big = false)
{
    Elf elf(is_wide, is_big);
    elf.add_note(gnu, 1, "0123456789abcdef");
    elf.add_note(gnu, 3, "12345678901234567890");
    elf.add_note(kr, 1, text);
    elf.add_soname();
    return elf;
}

TEST(ElfVersion, IsReadOfAllFourKinds)
{
    for (const bool is_wide : {false, true})
        for (const bool is_big : {false, true})
            EXPECT_EQ("6.3.2.15|libcamera.so.1.2|12345678901234567890",
                      told_by(usual(is_wide, is_big).bytes()))
                << is_wide << is_big;
}

TEST(ElfVersion, OfAPartOfTheFileIsNothingOrTheSame)
{
    for (const bool is_wide : {false, true})
        for (const bool is_big : {false, true}) {
            const std::string file = usual(is_wide, is_big).bytes();
            for (std::size_t size = 0; size < file.size(); ++size)
                ASSERT_EQ("nothing", told_by(file.substr(0, size))) << size;
        }
}

TEST(ElfVersion, OfAFileWithoutAnyIsEmpty)
{
    EXPECT_EQ("||", told_by(Elf(true, false).bytes()));
    Elf elf(false, true);
    elf.header_count = 0;
    EXPECT_EQ("||", told_by(elf.bytes()));
    elf = Elf(true, false);
    elf.add_entry(0, 0);
    EXPECT_EQ("||", told_by(elf.bytes()));
}

TEST(ElfVersion, OfOtherFilesIsNothing)
{
    EXPECT_EQ("nothing", told_by(""));
    EXPECT_EQ("nothing", told_by("MZ" + std::string(100, '\0')));
    EXPECT_EQ("nothing", told_by(std::string(100, '\0')));
    for (const auto& [at, byte] :
         {std::pair<std::size_t, char>{0, 'x'}, {3, 'f'}, {4, 0}, {4, 3}, {5, 0}, {5, 3}, {6, 0}}) {
        std::string file = usual().bytes();
        file[at] = byte;
        EXPECT_EQ("nothing", told_by(file)) << at;
    }
}

TEST(ElfVersion, NotesOfOthersAreSteppedOver)
{
    Elf elf(true, false);
    elf.add_note(std::string("KRCommon\0", 9), 2, std::string("9.9.9.9\0", 8));
    elf.add_note("KRCommon", 1, std::string("9.9.9.9\0", 8)); // without its zero
    elf.add_note(std::string("KRCommo\0", 8), 1, std::string("9.9.9.9\0", 8));
    elf.add_note("", 1, "");
    elf.add_note(std::string(100, 'x'), 1, std::string(1'000, 'y'));
    elf.add_note(kr, 1, text);
    elf.add_note(kr, 1, std::string("7.7\0", 4)); // the first one counts
    EXPECT_EQ("6.3.2.15||", told_by(elf.bytes()));
}

TEST(ElfVersion, NotesMayBeFilledUpToEightBytes)
{
    Elf elf(true, false);
    elf.notes_alignment = 8;
    elf.add_note(gnu, 5, std::string(12, 'x'));
    elf.add_note(kr, 1, text);
    EXPECT_EQ("6.3.2.15||", told_by(elf.bytes()));
}

TEST(ElfVersion, ANoteWithoutATextIsNone)
{
    for (const std::string& content :
         {std::string(), std::string(1, '\0'), std::string("6.3"), std::string("6 3\0", 4),
          std::string("6\n\0", 3), std::string("6\xC3\0", 3), std::string(64, '6') + '\0'}) {
        Elf elf(true, false);
        elf.add_note(kr, 1, content);
        EXPECT_EQ("||", told_by(elf.bytes())) << content;
    }
    Elf elf(true, false);
    elf.add_note(kr, 1, std::string(63, '6') + '\0');
    EXPECT_EQ(std::string(63, '6') + "||", told_by(elf.bytes()));
}

TEST(ElfVersion, WhatLeadsOutOfItsPlaceIsNothing)
{
    Elf elf(true, false);
    elf.notes = elf.number(9, 4) + elf.number(0xFFFF'FFFF, 4) + elf.number(1, 4) + kr;
    elf.notes.resize(24);
    EXPECT_EQ("nothing", told_by(elf.bytes()));
    elf.notes = elf.number(0xFFFF'FFFF, 4) + elf.number(9, 4) + elf.number(1, 4) + kr;
    EXPECT_EQ("nothing", told_by(elf.bytes()));

    elf = Elf(true, false);
    elf.add_soname(elf.texts.size()); // behind the texts
    EXPECT_EQ("nothing", told_by(elf.bytes()));
    for (const std::uint64_t wrong :
         {std::uint64_t{0}, Elf::address - 1, Elf::address + 0x10'0000, ~std::uint64_t{0}}) {
        elf = Elf(true, false);
        elf.add_entry(5, wrong);
        elf.add_entry(14, 1);
        EXPECT_EQ("nothing", told_by(elf.bytes())) << wrong;
    }
    elf = Elf(true, false);
    elf.add_entry(14, 1); // without texts
    EXPECT_EQ("nothing", told_by(elf.bytes()));
}

TEST(ElfVersion, OffsetsThatWrapAroundAreNothing)
{
    for (const std::size_t field : {8u, 16u, 32u})
        for (std::size_t header = 0; header < 3; ++header) {
            std::string file = usual().bytes();
            file.replace(64 + header * 56 + field, 8, std::string(8, '\xFF'));
            EXPECT_EQ("nothing", told_by(file)) << field << " " << header;
        }
    std::string file = usual().bytes();
    file.replace(32, 8, std::string(8, '\xFF'));
    EXPECT_EQ("nothing", told_by(file));
}

TEST(ElfVersion, TooManyOfAnythingAreNothing)
{
    Elf elf(true, false);
    elf.header_count = 1'025;
    EXPECT_EQ("nothing", told_by(elf.bytes() + std::string(100'000, '\0')));
    elf.header_count = 0xFFFF;
    EXPECT_EQ("nothing", told_by(elf.bytes() + std::string(4'000'000, '\0')));
    elf = Elf(true, false);
    for (int count = 0; count < 1'024; ++count)
        elf.add_note("", 0, "");
    EXPECT_EQ("||", told_by(elf.bytes()));
    elf.add_note("", 0, "");
    EXPECT_EQ("nothing", told_by(elf.bytes()));
    elf = Elf(true, false);
    for (int count = 0; count < 5'000; ++count)
        elf.add_entry(1, 1);
    EXPECT_EQ("nothing", told_by(elf.bytes()));
}

TEST(ElfVersion, ALongNameIsNothing)
{
    Elf elf(true, false);
    elf.texts = std::string(1, '\0') + std::string(255, 'x') + '\0';
    elf.add_soname();
    EXPECT_EQ("|" + std::string(255, 'x') + "|", told_by(elf.bytes()));
    elf = Elf(true, false);
    elf.texts = std::string(1, '\0') + std::string(256, 'x') + '\0';
    elf.add_soname();
    EXPECT_EQ("nothing", told_by(elf.bytes()));
}

} // namespace

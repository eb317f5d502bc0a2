#include <KRCommon/xml/Xml_Text.h>

#include <KRCommon/kernels/Vector.h>
#include <KRCommon/text/Digits.h>
#include <KRCommon/xml/Xml_Characters.h>

#include <algorithm>
#include <array>

namespace kr_internal {

namespace {

enum class Family { eight_bit, big_endian, little_endian, four_bytes };

struct Detected {
    Family family;
    std::size_t mark_size; // of the byte order mark
};

bool begins_with(std::string_view text, std::string_view start) noexcept
{
    return text.substr(0, start.size()) == start;
}

// A cut-off document may lack the byte.
bool is_zero_at(std::string_view document, std::size_t index) noexcept
{
    return index >= document.size() || document[index] == '\0';
}

Detected detect(std::string_view document) noexcept
{
    using namespace std::string_view_literals;
    for (const auto ucs_4 : {"\0\0\0<"sv, "<\0\0\0"sv, "\0\0\xFE\xFF"sv, "\xFF\xFE\0\0"sv})
        if (begins_with(document, ucs_4))
            return {Family::four_bytes, 0};
    if (begins_with(document, "\xEF\xBB\xBF"sv))
        return {Family::eight_bit, 3};
    if (begins_with(document, "\xFE\xFF"sv))
        return {Family::big_endian, 2};
    if (begins_with(document, "\xFF\xFE"sv))
        return {Family::little_endian, 2};
    if (begins_with(document, "\0<"sv) && is_zero_at(document, 2))
        return {Family::big_endian, 0};
    if (begins_with(document, "<\0"sv) && is_zero_at(document, 3))
        return {Family::little_endian, 0};
    return {Family::eight_bit, 0};
}

enum class Encoding { undeclared, unknown, utf_8, utf_16, iso_8859_1, us_ascii, ucs_2 };

constexpr char to_upper(char c) noexcept
{
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
}

Encoding encoding_named(std::string_view name) noexcept
{
    struct Row {
        std::string_view name;
        Encoding encoding;
    };
    constexpr std::array<Row, 5> rows{{{"UTF-8", Encoding::utf_8},
                                       {"UTF-16", Encoding::utf_16},
                                       {"ISO-8859-1", Encoding::iso_8859_1},
                                       {"US-ASCII", Encoding::us_ascii},
                                       {"ISO-10646-UCS-2", Encoding::ucs_2}}};
    for (const Row& row : rows)
        if (std::equal(name.begin(), name.end(), row.name.begin(), row.name.end(),
                       [](char a, char b) { return to_upper(a) == b; }))
            return row.encoding;
    return Encoding::unknown;
}

struct Declaration {
    Xml_Text::Fault fault;
    std::size_t size = 0;
    Encoding encoding = Encoding::undeclared;
    std::size_t encoding_position = 0;
};

constexpr bool is_letter(char c) noexcept
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// What the values in a declaration are made of.
constexpr bool is_value_character(char c) noexcept
{
    return is_letter(c) || is_decimal_digit(c) || c == '.' || c == '_' || c == '-' || c == ':';
}

// The declaration by XML 1.0 section 2.8. Its text is ASCII in each 8-bit encoding, so it can be
// read before the encoding is known.
class Declaration_Reader {
public:
    explicit Declaration_Reader(std::string_view text) noexcept : text_(text) {}

    Declaration read() noexcept
    {
        if (is_declaration() && read_version() && read_encoding() && read_standalone() &&
            take("?>"))
            result_.size = position_;
        return result_;
    }

private:
    bool is_declaration() noexcept
    {
        constexpr std::string_view start = "<?xml";
        if (!begins_with(text_, start) || text_.size() == start.size())
            return false;
        position_ = start.size();
        const char next = text_[position_]; // in a name it is another processing instruction
        return !is_value_character(next) && static_cast<unsigned char>(next) < 0x80;
    }

    bool read_version() noexcept
    {
        if (!skip_space())
            return fail(Xml_Code::bad_declaration);
        std::string_view version;
        if (!take("version") || !read_value("version", version))
            return false;
        return version == "1.0" || fail(Xml_Code::unsupported_version, "version");
    }

    bool read_encoding() noexcept
    {
        spaced_ = skip_space();
        if (!spaced_ || !is_next('e'))
            return true;
        std::string_view encoding;
        if (!take("encoding") || !read_value("encoding", encoding))
            return false;
        if (!is_letter(encoding[0]) || encoding.find(':') != std::string_view::npos)
            return fail(Xml_Code::bad_declaration, "encoding");
        result_.encoding_position = position_;
        result_.encoding = encoding_named(encoding);
        if (result_.encoding == Encoding::unknown)
            return fail(Xml_Code::encoding_not_supported, "encoding");
        spaced_ = skip_space();
        return true;
    }

    bool read_standalone() noexcept
    {
        if (!spaced_ || !is_next('s'))
            return true;
        std::string_view standalone;
        if (!take("standalone") || !read_value("standalone", standalone))
            return false;
        if (standalone != "yes" && standalone != "no")
            return fail(Xml_Code::bad_declaration, "standalone");
        skip_space();
        return true;
    }

    // Reads `= 'value'`.
    bool read_value(std::string_view name, std::string_view& value) noexcept
    {
        skip_space();
        if (!take("="))
            return false;
        skip_space();
        const char quote = is_next('\'') ? '\'' : '"';
        if (!take({&quote, 1}))
            return false;
        const std::size_t first = position_;
        while (position_ < text_.size() && is_value_character(text_[position_]))
            ++position_;
        value = text_.substr(first, position_ - first);
        if (value.empty() && is_next(quote))
            return fail(Xml_Code::bad_declaration, name);
        return take({&quote, 1});
    }

    bool skip_space() noexcept
    {
        const std::size_t first = position_;
        while (position_ < text_.size() && is_xml_space(text_[position_]))
            ++position_;
        return position_ != first;
    }

    bool is_next(char c) const noexcept
    {
        return position_ < text_.size() && text_[position_] == c;
    }

    bool take(std::string_view literal) noexcept
    {
        for (const char c : literal) {
            if (position_ == text_.size())
                return fail(Xml_Code::unexpected_end);
            if (!is_next(c))
                return fail(Xml_Code::bad_declaration);
            ++position_;
        }
        return true;
    }

    bool fail(Xml_Code code, std::string_view name = {}) noexcept
    {
        result_.fault = {code, position_, name};
        return false;
    }

    std::string_view text_;
    std::size_t position_ = 0;
    bool spaced_ = false; // white space was before position_
    Declaration result_;
};

// Takes over what the declaration says, provided that it fits the bytes.
bool accept(const Declaration& declaration, bool fits, Xml_Text& text) noexcept
{
    text.fault = declaration.fault;
    text.declaration_size = declaration.size;
    if (declaration.fault.code == Xml_Code::no_error && !fits)
        text.fault = {Xml_Code::encoding_mismatch, declaration.encoding_position, "encoding"};
    return text.fault.code == Xml_Code::no_error;
}

// Steps over ASCII without control characters but line feeds, sixteen bytes at a time: the common
// case by far.
const char* skip_plain(const char* position, const char* end) noexcept
{
    using namespace vector;
    for (; end - position >= 16; position += 16) {
        const Bytes bytes = load_bytes(position);
        const unsigned others = mask_of(signed_less(bytes, all_bytes(0x20))); // above 0x7F too
        if (others != 0 && (others & ~mask_of(equal(bytes, all_bytes('\n')))) != 0)
            break;
    }
    return position;
}

// The length of the UTF-8 sequence that begins with a byte above 0x7F, or 0 (RFC 3629 section 4).
std::size_t sequence_length(const char* position, const char* end) noexcept
{
    const auto first = static_cast<unsigned char>(position[0]);
    const std::size_t length = static_cast<std::size_t>(continuation_count(first)) + 1;
    if (length == 0 || static_cast<std::size_t>(end - position) < length ||
        !may_follow(first, static_cast<unsigned char>(position[1])))
        return 0;
    for (std::size_t i = 1; i < length; ++i)
        if (!is_continuation(position[i]))
            return 0;
    return length;
}

// The valid start of UTF-8, or of plain ASCII.
void check_in_place(std::string_view bytes, bool ascii_only, Xml_Text& text) noexcept
{
    const char* position = bytes.data();
    const char* const end = position + bytes.size();
    text.end_code = Xml_Code::unexpected_end;
    while ((position = skip_plain(position, end)) != end) {
        if (static_cast<unsigned char>(*position) >= 0x80) {
            const std::size_t length = ascii_only ? 0 : sequence_length(position, end);
            if (length == 0) {
                text.end_code = Xml_Code::encoding_mismatch;
                break;
            }
            const char* next = position;
            if (!is_xml_character(decode_utf8(next))) {
                text.end_code = Xml_Code::badly_formed;
                break;
            }
            position = next;
        } else if (is_xml_character(static_cast<unsigned char>(*position))) {
            ++position;
        } else {
            text.end_code = Xml_Code::badly_formed;
            break;
        }
    }
    text.characters = bytes.substr(0, static_cast<std::size_t>(position - bytes.data()));
}

// Ends the copy where `out` stands.
void adopt_copy(const char* out, Xml_Text& text) noexcept
{
    text.characters = {text.copy.get(), static_cast<std::size_t>(out - text.copy.get())};
}

void copy_iso_8859_1(std::string_view bytes, Xml_Text& text)
{
    text.copy.reset(new char[bytes.size() * 2]);
    text.end_code = Xml_Code::unexpected_end;
    char* out = text.copy.get();
    const char* position = bytes.data();
    const char* const end = position + bytes.size();
    while (position != end) {
        const char* const plain_end = skip_plain(position, end);
        out = std::copy(position, plain_end, out);
        if ((position = plain_end) == end)
            break;
        const char32_t character = static_cast<unsigned char>(*position);
        if (!is_xml_character(character)) {
            text.end_code = Xml_Code::badly_formed;
            break;
        }
        out = encode_utf8(character, out);
        ++position;
    }
    adopt_copy(out, text);
}

void read_eight_bit(std::string_view bytes, bool marked, Xml_Text& text)
{
    text.characters = bytes;
    const Declaration declaration = Declaration_Reader(bytes).read();
    const Encoding encoding = declaration.encoding;
    const bool fits = marked ? encoding == Encoding::utf_8 || encoding == Encoding::undeclared
                             : encoding != Encoding::utf_16 && encoding != Encoding::ucs_2;
    if (!accept(declaration, fits, text))
        return;
    const bool is_iso_8859_1 = encoding == Encoding::iso_8859_1;
    check_in_place(bytes, is_iso_8859_1 || encoding == Encoding::us_ascii, text);
    if (is_iso_8859_1 && text.end_code == Xml_Code::encoding_mismatch)
        copy_iso_8859_1(bytes, text);
}

// Copies UTF-16 and tells where the first surrogate pair stands in the copy.
class Utf_16_Copier {
public:
    Utf_16_Copier(std::string_view bytes, bool big_endian) noexcept
        : bytes_(bytes), high_(big_endian ? 0 : 1), units_(bytes.size() / 2)
    {
    }

    std::size_t run(Xml_Text& text)
    {
        text.copy.reset(new char[units_ * 3]); // a pair needs no more than its two units' share
        text.end_code = Xml_Code::unexpected_end;
        char* out = text.copy.get();
        const char* first_pair = nullptr;
        for (std::size_t i = 0; i < units_; ++i) {
            char32_t character = unit(i);
            if (character >= 0x20 && character < 0x80) { // the common case by far
                *out++ = static_cast<char>(character);
                continue;
            }
            if (is_high_surrogate(character) && i + 1 < units_ && is_low_surrogate(unit(i + 1))) {
                if (first_pair == nullptr)
                    first_pair = out;
                ++i;
                character = character_of(character, unit(i));
            }
            if (!is_xml_character(character)) {
                text.end_code =
                    is_surrogate(character) ? Xml_Code::encoding_mismatch : Xml_Code::badly_formed;
                break;
            }
            out = encode_utf8(character, out);
        }
        if (text.end_code == Xml_Code::unexpected_end && bytes_.size() % 2 != 0)
            text.end_code = Xml_Code::encoding_mismatch;
        adopt_copy(out, text);
        return static_cast<std::size_t>((first_pair == nullptr ? out : first_pair) -
                                        text.copy.get());
    }

private:
    char32_t unit(std::size_t index) const noexcept
    {
        const std::size_t at = index * 2;
        const auto high = static_cast<unsigned char>(bytes_[at + high_]);
        const auto low = static_cast<unsigned char>(bytes_[at + 1 - high_]);
        return static_cast<char32_t>(high << 8 | low);
    }

    std::string_view bytes_;
    std::size_t high_; // the place of the high byte within a unit
    std::size_t units_;
};

void read_sixteen_bit(std::string_view bytes, bool big_endian, Xml_Text& text)
{
    const std::size_t first_pair = Utf_16_Copier(bytes, big_endian).run(text);
    const Declaration declaration = Declaration_Reader(text.characters).read();
    const Encoding encoding = declaration.encoding;
    const bool fits = encoding == Encoding::undeclared || encoding == Encoding::utf_16 ||
                      encoding == Encoding::ucs_2;
    if (!accept(declaration, fits, text)) {
        if (text.fault.code == Xml_Code::unexpected_end)
            text.fault.code = text.end_code;
        return;
    }
    if (encoding == Encoding::ucs_2 && first_pair < text.characters.size()) {
        text.characters = text.characters.substr(0, first_pair);
        text.end_code = Xml_Code::encoding_mismatch;
    }
}

} // namespace

Xml_Text read_xml_text(std::string_view document)
{
    Xml_Text text;
    const Detected detected = detect(document);
    const std::string_view bytes = document.substr(detected.mark_size);
    switch (detected.family) {
    case Family::eight_bit: read_eight_bit(bytes, detected.mark_size != 0, text); break;
    case Family::big_endian: read_sixteen_bit(bytes, true, text); break;
    case Family::little_endian: read_sixteen_bit(bytes, false, text); break;
    case Family::four_bytes: text.end_code = Xml_Code::encoding_not_supported; break;
    }
    return text;
}

} // namespace kr_internal

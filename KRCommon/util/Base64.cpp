#include <KRCommon/util/Base64.h>

#include <KRCommon/kernels/Kernels.h>
#include <KRCommon/platform/Platform.h>
#include <KRCommon/util/Base64_Group.h>
#include <KRCommon/util/Sizes.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <string_view>

namespace {

using kr_internal::base64_size;
using kr_internal::count_base64_bytes;
using kr_internal::kernels;
using kr_internal::size_for;
using kr_internal::skip_line_breaks;

constexpr std::size_t line_bytes = kr_internal::base64_line_bytes;
constexpr std::size_t line_characters = kr_internal::base64_line_characters;

// Returns the end of the text.
char* encode_line(const unsigned char* data, std::size_t length, char* out)
{
    kernels().encode_base64(data, length, out);
    const std::size_t done = length - length % 3;
    out += done / 3 * 4;
    if (done == length)
        return out;
    kr_internal::encode_base64_rest(data + done, length - done, out);
    return out + 4;
}

char* encode_lines(const unsigned char* data, std::size_t length, char* out)
{
    const std::size_t breaks = length == 0 ? 0 : (length - 1) / line_bytes;
    kernels().encode_base64_lines(data, breaks, out);
    const std::size_t done = breaks * line_bytes;
    return encode_line(data + done, length - done, out + breaks * (line_characters + 1));
}

char* encode_data(const unsigned char* data, std::size_t length, char* out, bool line_breaks)
{
    return line_breaks ? encode_lines(data, length, out) : encode_line(data, length, out);
}

bool is_inside(const char* data, const std::string& text)
{
    const std::less<const char*> before;
    return !before(data, text.data()) && before(data, text.data() + text.size());
}

void encode_bytes(std::string_view input, std::string& out, bool line_breaks)
{
    if (is_inside(input.data(), out)) {
        encode_bytes(std::string(input), out, line_breaks);
        return;
    }
    // Not cleared first: a string that is used again is not filled with zeros again.
    out.resize(size_for(out, base64_size(input.size(), line_breaks)));
    encode_data(reinterpret_cast<const unsigned char*>(input.data()), input.size(), out.data(),
                line_breaks);
}

std::string_view bytes_at(const char* data, std::size_t length)
{
    return data == nullptr ? std::string_view() : std::string_view(data, length);
}

// Whole lines, and so whole groups.
using Piece = std::array<unsigned char, 256 * line_bytes>;

// Less than a whole piece only at the end.
std::size_t read_piece(std::FILE* file, Piece& piece)
{
    std::size_t filled = 0;
    while (const std::size_t count =
               std::fread(piece.data() + filled, 1, piece.size() - filled, file))
        filled += count;
    return filled;
}

// Makes room for the text of so many bytes, without keeping an old one beside it.
void make_room(std::string& out, std::uint64_t bytes, bool line_breaks)
{
    const std::size_t size = size_for(out, base64_size(bytes, line_breaks));
    if (size > out.capacity())
        std::string().swap(out);
    out.resize(size);
}

// The file is never in memory as a whole, so that its text may take what a 32-bit process has. Where
// the system knows how much is left, that room is made at once: growing would take twice as much.
void encode_file(std::FILE* file, std::string& out, bool line_breaks)
{
    make_room(out, kr_platform::bytes_left(file), line_breaks);
    Piece piece; // NOLINT(cppcoreguidelines-pro-type-member-init)
    std::size_t size = 0;
    bool is_end = false;
    while (!is_end) {
        const std::size_t count = read_piece(file, piece);
        is_end = count < piece.size();
        const std::size_t line_feed = line_breaks && size > 0 && count > 0 ? 1 : 0;
        const std::uint64_t needed = size + line_feed + base64_size(count, line_breaks);
        if (needed > out.size())
            out.resize(size_for(out, needed));
        if (line_feed != 0)
            out[size] = '\n';
        encode_data(piece.data(), count, out.data() + size + line_feed, line_breaks);
        size = static_cast<std::size_t>(needed);
    }
    out.resize(size);
}

} // namespace

const char* const KR_Base64::bstr = kr_internal::base64_alphabet;
const std::array<signed char, 128> KR_Base64::rstr = kr_internal::base64_values;

void KR_Base64::encode(std::FILE* input, std::string& out, bool line_breaks)
{
    if (input == nullptr)
        out.clear();
    else
        encode_file(input, out, line_breaks);
}

void KR_Base64::encode(const std::string& input, std::string& out, bool line_breaks)
{
    encode_bytes(input, out, line_breaks);
}

void KR_Base64::encode(const char* data, unsigned length, std::string& out, bool line_breaks)
{
    encode_bytes(bytes_at(data, length), out, line_breaks);
}

void KR_Base64::encode(unsigned char* data, unsigned length, std::string& out, bool line_breaks)
{
    encode(reinterpret_cast<const char*>(data), length, out, line_breaks);
}

namespace {

bool is_line_feed_at(std::string_view text, std::size_t at)
{
    return at < text.size() && text[at] == '\n';
}

// Never writes past the bytes that it counts.
std::size_t decode_text(std::string_view text, unsigned char* out)
{
    std::size_t count = 0;
    for (std::size_t at = 0;;) {
        if (is_line_feed_at(text, at + line_characters)) {
            const std::size_t lines =
                kernels().decode_base64_lines(text.data() + at, text.size() - at, out + count);
            count += lines * line_bytes;
            at += lines * (line_characters + 1);
        }
        const std::size_t run =
            kernels().decode_base64(text.data() + at, text.size() - at, out + count);
        count += run / 4 * 3;
        at = skip_line_breaks(text, at + run);
        if (at == text.size())
            return count;
        count += kr_internal::decode_base64_group(text, at, out + count);
        at += std::min<std::size_t>(4, text.size() - at);
    }
}

} // namespace

void KR_Base64::decode(const std::string& text, std::string& out)
{
    if (&text == &out) {
        decode(std::string(text), out);
        return;
    }
    out.resize(text.size() / 4 * 3 + 3);
    out.resize(decode_text(text, reinterpret_cast<unsigned char*>(out.data())));
}

void KR_Base64::decode(const std::string& text, unsigned char* out, unsigned& length)
{
    length =
        static_cast<unsigned>(out == nullptr ? count_base64_bytes(text) : decode_text(text, out));
}

bool KR_Base64::decode(const std::string& text, unsigned char* out, std::size_t capacity,
                       std::size_t& length)
{
    length = count_base64_bytes(text);
    if (length > 0 && (out == nullptr || length > capacity))
        return false;
    if (length > 0)
        decode_text(text, out);
    return true;
}

unsigned KR_Base64::decode_length(const std::string& text)
{
    const std::size_t length = text.size();
    if (length == 0 || length % 4 != 0)
        return 0;
    const std::size_t bytes =
        (length / 4 - 1) * 3 + 1 + (text[length - 2] != '=') + (text[length - 1] != '=');
    return static_cast<unsigned>(bytes);
}

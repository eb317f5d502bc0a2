#include <KRCommon/util/Base64_Stream.h>

#include <KRCommon/kernels/Kernels.h>
#include <KRCommon/kernels/Vector.h>
#include <KRCommon/text/Base64_Lines.h>
#include <KRCommon/util/Base64_Group.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <string_view>

namespace {

using kr_internal::kernels;

constexpr std::size_t line_bytes = kr_internal::base64_line_bytes;
constexpr std::size_t line_characters = kr_internal::base64_line_characters;
constexpr std::size_t line_groups = line_characters / 4;

// One character for another.
struct Replacement {
    char from;
    char to;
};

// The same memory may be text and out.
template <typename... Replacements>
void replace(const char* text, std::size_t length, char* out, Replacements... each) noexcept
{
    using namespace kr_internal::vector;
    std::size_t at = 0;
    for (; length - at >= 16; at += 16) {
        const Bytes bytes = load_bytes(text + at);
        Bytes differences = all_bytes(0);
        ((differences = either(differences, both(equal(bytes, all_bytes(each.from)),
                                                 all_bytes(each.to - each.from)))),
         ...);
        store_bytes(out + at, sum(bytes, differences));
    }
    for (; at < length; ++at) {
        const char from = text[at];
        char to = from;
        ((to = from == each.from ? each.to : to), ...);
        out[at] = to;
    }
}

void make_url_safe(char* text, std::size_t length) noexcept
{
    replace(text, length, text, Replacement{'+', '-'}, Replacement{'/', '_'});
}

// What is not of that alphabet must not become what is of the other.
void make_standard(const char* text, std::size_t length, char* out) noexcept
{
    constexpr char of_none = '!';
    replace(text, length, out, Replacement{'-', '+'}, Replacement{'_', '/'},
            Replacement{'+', of_none}, Replacement{'/', of_none});
}

bool is_in_alphabet(char character) noexcept
{
    return kr_internal::base64_value(character) != 0 || character == 'A';
}

} // namespace

std::uint64_t kr_base64_size(std::uint64_t bytes, const KR_Base64_Format& format) noexcept
{
    const std::uint64_t rest = bytes % 3;
    std::uint64_t size = bytes / 3 * 4;
    if (rest > 0)
        size += format.padding ? 4 : rest + 1;
    return format.line_breaks && size > 0 ? size + (size - 1) / line_characters : size;
}

bool kr_encode_base64(const void* data, std::size_t length, char* out, std::size_t capacity,
                      std::size_t& size, const KR_Base64_Format& format) noexcept
{
    const std::uint64_t needed = kr_base64_size(data == nullptr ? 0 : length, format);
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
    size = static_cast<std::size_t>(std::min<std::uint64_t>(needed, most));
    if (needed > (out == nullptr ? 0 : capacity))
        return false;
    KR_Base64_Encoder encoder(format);
    const std::size_t written = encoder.encode(data, length, out, capacity).written;
    encoder.finish(out + written, capacity - written);
    return true;
}

bool kr_decode_base64(const char* text, std::size_t length, unsigned char* out,
                      std::size_t capacity, std::size_t& size, KR_Base64_Alphabet alphabet) noexcept
{
    const std::size_t room = out == nullptr ? 0 : capacity;
    if (text == nullptr)
        length = 0;
    if (length / 4 * 3 + 3 > room) {
        size = kr_internal::count_base64_bytes({text, length});
        if (size > room)
            return false;
    }
    KR_Base64_Decoder decoder(alphabet);
    size = decoder.decode(text, length, out, room).written;
    size += decoder.finish(out + size, room - size).written;
    return true;
}

void KR_Base64_Encoder::reset() noexcept
{
    kept_count_ = 0;
    column_ = 0;
}

// A line that is full is broken when more comes.
bool KR_Base64_Encoder::is_break_due() const noexcept
{
    return format_.line_breaks && column_ == line_characters;
}

// How many groups, with the breaks before them, there is room for from here on.
std::size_t KR_Base64_Encoder::groups_for(std::size_t room) const noexcept
{
    if (room < 4 || !format_.line_breaks)
        return room / 4;
    // The last character's place, lines and their breaks counted from the begin of this line.
    const std::uint64_t last = std::uint64_t{room} + column_ - 1;
    const std::uint64_t lines = last / (line_characters + 1);
    const std::uint64_t in_line =
        std::min<std::uint64_t>(last % (line_characters + 1), line_characters - 1);
    return static_cast<std::size_t>((lines * line_characters + in_line + 1 - column_) / 4);
}

// In the standard's alphabet. Returns the end of the text.
char* KR_Base64_Encoder::encode_lines(const unsigned char* data, std::size_t groups,
                                      char* out) noexcept
{
    while (groups > 0) {
        if (is_break_due()) {
            *out++ = '\n';
            column_ = 0;
        }
        if (column_ == 0 && groups > line_groups) {
            const std::size_t lines = (groups - 1) / line_groups; // behind each of them more comes
            kernels().encode_base64_lines(data, lines, out);
            data += lines * line_bytes;
            out += lines * (line_characters + 1);
            groups -= lines * line_groups;
        }
        const std::size_t count = std::min(groups, (line_characters - column_) / 4);
        kernels().encode_base64(data, 3 * count, out);
        data += 3 * count;
        out += 4 * count;
        groups -= count;
        column_ = static_cast<unsigned char>(column_ + 4 * count);
    }
    return out;
}

// Returns the end of the text.
char* KR_Base64_Encoder::encode_groups(const unsigned char* data, std::size_t groups,
                                       char* out) noexcept
{
    constexpr std::size_t most = 64 * line_groups; // so that the text is still near
    while (groups > 0) {
        const bool is_standard = format_.alphabet == KR_Base64_Alphabet::standard;
        const std::size_t count = is_standard ? groups : std::min(groups, most);
        char* end = out + 4 * count;
        if (format_.line_breaks)
            end = encode_lines(data, count, out);
        else
            kernels().encode_base64(data, 3 * count, out);
        if (!is_standard)
            make_url_safe(out, static_cast<std::size_t>(end - out));
        data += 3 * count;
        groups -= count;
        out = end;
    }
    return out;
}

KR_Base64_Step KR_Base64_Encoder::encode(const void* data, std::size_t length, char* out,
                                         std::size_t capacity) noexcept
{
    const auto* const bytes = static_cast<const unsigned char*>(data);
    KR_Base64_Step step;
    if (bytes == nullptr)
        return step;
    char* end = out;
    std::size_t room = out == nullptr ? 0 : capacity;
    if (kept_count_ > 0) {
        while (kept_count_ < 3 && step.read < length)
            kept_[kept_count_++] = bytes[step.read++];
        if (kept_count_ < 3)
            return step;
        if (groups_for(room) == 0) { // not yet
            --kept_count_;
            --step.read;
            return step;
        }
        end = encode_groups(kept_, 1, end);
        room -= static_cast<std::size_t>(end - out);
        kept_count_ = 0;
    }
    const std::size_t groups = std::min((length - step.read) / 3, groups_for(room));
    end = encode_groups(bytes + step.read, groups, end);
    step.read += 3 * groups;
    if (length - step.read < 3)
        while (step.read < length)
            kept_[kept_count_++] = bytes[step.read++];
    step.written = static_cast<std::size_t>(end - out);
    return step;
}

KR_Base64_End KR_Base64_Encoder::finish(char* out, std::size_t capacity) noexcept
{
    char text[5];
    char* end = text;
    if (kept_count_ > 0) {
        if (is_break_due())
            *end++ = '\n';
        kr_internal::encode_base64_rest(kept_, kept_count_, end);
        if (format_.alphabet == KR_Base64_Alphabet::url_safe)
            make_url_safe(end, 4);
        end += format_.padding ? 4 : kept_count_ + 1;
    }
    const auto size = static_cast<std::size_t>(end - text);
    if (size > (out == nullptr ? 0 : capacity))
        return {false, 0};
    if (size > 0)
        std::memcpy(out, text, size);
    reset();
    return {true, size};
}

void KR_Base64_Decoder::reset() noexcept
{
    *this = KR_Base64_Decoder(alphabet_);
}

void KR_Base64_Decoder::note_fault(std::uint64_t position) noexcept
{
    fault_ = std::min(fault_, position);
}

// The group that is kept, which is whole.
void KR_Base64_Decoder::check_group() noexcept
{
    if (is_ended_)
        note_fault(group_at_);
    const bool has_padding = kept_[3] == '=';
    const std::size_t digits = !has_padding ? 4 : kept_[2] != '=' ? 3 : 2;
    const auto* const other = std::find_if_not(kept_, kept_ + digits, is_in_alphabet);
    const auto count = static_cast<std::size_t>(other - kept_);
    if (count < digits)
        note_fault(group_at_ + count);
    const unsigned left_over = digits == 4 ? 0 : digits == 3 ? 3 : 15;
    if ((kr_internal::base64_value(kept_[digits - 1]) & left_over) != 0)
        note_fault(group_at_ + digits - 1);
    is_ended_ = is_ended_ || has_padding;
}

namespace {

// Whole groups of the alphabet, and lines of them, as far as they go.
KR_Base64_Step decode_run(const char* text, std::size_t length, unsigned char* out) noexcept
{
    KR_Base64_Step run;
    if (length > line_characters && text[line_characters] == '\n') {
        const std::size_t lines = kernels().decode_base64_lines(text, length, out);
        run = {lines * (line_characters + 1), lines * line_bytes};
    }
    const std::size_t more =
        kernels().decode_base64(text + run.read, length - run.read, out + run.written);
    return {run.read + more, run.written + more / 4 * 3};
}

} // namespace

KR_Base64_Step KR_Base64_Decoder::decode_standard(const char* text, std::size_t length,
                                                  unsigned char* out, std::size_t capacity) noexcept
{
    KR_Base64_Step step;
    for (;;) {
        if (kept_count_ == 0)
            step.read = kr_internal::skip_line_breaks({text, length}, step.read);
        if (step.read == length)
            break;
        const std::size_t room = capacity - step.written;
        if (kept_count_ == 0) {
            // Fewer than four characters for each three bytes, line feeds too: the rest has room.
            const std::size_t most = std::min(length - step.read, room / 3 * 4);
            const KR_Base64_Step run = decode_run(text + step.read, most, out + step.written);
            if (run.read > 0) {
                if (is_ended_)
                    note_fault(read_ + step.read);
                step.read += run.read;
                step.written += run.written;
                continue;
            }
            group_at_ = read_ + step.read;
        }
        while (kept_count_ < 4 && step.read < length)
            kept_[kept_count_++] = text[step.read++];
        if (kept_count_ < 4)
            break;
        if (kr_internal::base64_group_size({kept_, 4}, 0) > room) { // not yet
            --kept_count_;
            --step.read;
            break;
        }
        check_group();
        step.written += kr_internal::decode_base64_group({kept_, 4}, 0, out + step.written);
        kept_count_ = 0;
    }
    read_ += step.read;
    return step;
}

KR_Base64_Step KR_Base64_Decoder::decode_url_safe(const char* text, std::size_t length,
                                                  unsigned char* out, std::size_t capacity) noexcept
{
    KR_Base64_Step step;
    char piece[1024];
    while (step.read < length) {
        const std::size_t size = std::min(length - step.read, sizeof piece);
        make_standard(text + step.read, size, piece);
        const KR_Base64_Step part =
            decode_standard(piece, size, out + step.written, capacity - step.written);
        step.read += part.read;
        step.written += part.written;
        if (part.read < size)
            break;
    }
    return step;
}

KR_Base64_Step KR_Base64_Decoder::decode(const char* text, std::size_t length, unsigned char* out,
                                         std::size_t capacity) noexcept
{
    if (text == nullptr)
        return {};
    const std::size_t room = out == nullptr ? 0 : capacity;
    if (alphabet_ == KR_Base64_Alphabet::url_safe)
        return decode_url_safe(text, length, out, room);
    return decode_standard(text, length, out, room);
}

KR_Base64_End KR_Base64_Decoder::finish(unsigned char* out, std::size_t capacity) noexcept
{
    KR_Base64_End end;
    if (kept_count_ > 0) {
        const std::size_t size = kr_internal::base64_group_size({kept_, kept_count_}, 0);
        if (size > (out == nullptr ? 0 : capacity))
            return {false, 0};
        if (kept_[kept_count_ - 1] == '=') // padding that does not fill the group
            note_fault(read_);
        std::fill(kept_ + kept_count_, kept_ + 4, '=');
        check_group();
        end.written = kr_internal::decode_base64_group({kept_, 4}, 0, out);
        kept_count_ = 0;
    }
    is_ended_ = true;
    return end;
}

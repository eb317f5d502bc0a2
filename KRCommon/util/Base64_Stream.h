#pragma once

/// \file
/// Base64 beside KR_Base64: into the caller's buffers, in pieces with constant memory, with the
/// alphabet for URLs and file names (RFC 4648 section 5), and with or without padding.
///
///     char text[8];
///     std::size_t size = 0;
///     kr_encode_base64("Ma", 2, text, sizeof text, size);    // "TWE=", size 4, no terminator
///
/// A file of any size:
///
///     KR_Base64_Encoder encoder;
///     unsigned char bytes[3000];
///     char text[4096];
///     while (const std::size_t count = std::fread(bytes, 1, sizeof bytes, input)) {
///         const KR_Base64_Step step = encoder.encode(bytes, count, text, sizeof text);
///         std::fwrite(text, 1, step.written, output);        // step.read is count: there was room
///     }
///     std::fwrite(text, 1, encoder.finish(text, sizeof text).written, output);
///
/// Threads: an object belongs to one thread at a time; the functions have no state. Nothing here takes
/// memory or fails. Same on Windows and Linux.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h, and not even that from here.

#include <KRCommon/KRCommon_Export.h>

#include <cstddef>
#include <cstdint>

/// The characters for 62 and 63.
enum class KR_Base64_Alphabet {
    standard, ///< RFC 4648 section 4: "+" and "/" for 62 and 63
    url_safe, ///< section 5: "-" and "_"
};

/// How a text is written.
struct KR_Base64_Format {
    KR_Base64_Alphabet alphabet = KR_Base64_Alphabet::standard; ///< which characters
    bool padding = true;      ///< "=" fill the last group up to four characters
    bool line_breaks = false; ///< a line feed after every 76 characters but not at the end
};

/// How far a step came.
struct KR_Base64_Step {
    std::size_t read = 0;    ///< of the input, from its begin
    std::size_t written = 0; ///< of the output, from its begin
};

/// How an end went.
struct KR_Base64_End {
    bool is_whole = true;    ///< false: there was no room, and nothing was written
    std::size_t written = 0; ///< of the output, from its begin
};

/// How many characters so many bytes, fewer than 2^63, become, line feeds included.
[[nodiscard]] KRCOMMON_EXPORT std::uint64_t
kr_base64_size(std::uint64_t bytes, const KR_Base64_Format& format = {}) noexcept;

/// Encodes bytes into a buffer that may be too small.
///
/// data      length bytes, apart from out; null counts as no bytes
/// out       capacity characters; null counts as no room
/// size      is replaced by the number of characters, whether they fit or not; the largest number where
///           it is larger still
/// returns   true when they fit: they were written, without a terminator and nothing behind them. False
///           when they do not: nothing was written.
[[nodiscard]] KRCOMMON_EXPORT bool kr_encode_base64(const void* data, std::size_t length, char* out,
                                                    std::size_t capacity, std::size_t& size,
                                                    const KR_Base64_Format& format = {}) noexcept;

/// Decodes a text into a buffer that may be too small, by the lenient rules of Base64.h. With the
/// alphabet for URLs "+" and "/" are outside of it. Texts with and without padding and line breaks are
/// read alike.
///
/// text      length characters, apart from out; null counts as none
/// out       capacity bytes; null counts as no room
/// size      is replaced by the number of bytes, whether they fit or not
/// returns   true when they fit: they were written, and nothing behind them. False when they do not:
///           nothing was written.
///
/// Reads the text once when there is room for three bytes for each four characters that are begun, else
/// twice.
[[nodiscard]] KRCOMMON_EXPORT bool
kr_decode_base64(const char* text, std::size_t length, unsigned char* out, std::size_t capacity,
                 std::size_t& size,
                 KR_Base64_Alphabet alphabet = KR_Base64_Alphabet::standard) noexcept;

/// Encodes a message that comes in pieces. The pieces' texts, one after the other, are the text of the
/// whole message.
class KRCOMMON_EXPORT KR_Base64_Encoder {
public:
    /// Begins a message in this format.
    explicit KR_Base64_Encoder(const KR_Base64_Format& format = {}) noexcept : format_(format) {}

    /// Begins a new message.
    void reset() noexcept;

    /// Encodes as many of the bytes as there is room for. One or two bytes that are no whole group yet
    /// count as read and are kept.
    ///
    /// data     length bytes, apart from out
    /// out      capacity characters. kr_base64_size(length + 2, format) + 1 are enough for a piece of
    ///          that length, whatever came before; with less than 5 it may be that nothing is read.
    /// returns  how many bytes were read: all of them, or fewer when the room was used up. Then give
    ///          the rest with new room. And how many characters were written, nothing behind them.
    KR_Base64_Step encode(const void* data, std::size_t length, char* out,
                          std::size_t capacity) noexcept;

    /// Writes what is kept, and begins a new message. Without room nothing changes: call again.
    /// out      capacity characters; 5 are always enough
    KR_Base64_End finish(char* out, std::size_t capacity) noexcept;

private:
    bool is_break_due() const noexcept;
    std::size_t groups_for(std::size_t room) const noexcept;
    char* encode_groups(const unsigned char* data, std::size_t groups, char* out) noexcept;
    char* encode_lines(const unsigned char* data, std::size_t groups, char* out) noexcept;

    KR_Base64_Format format_;
    unsigned char kept_[3] = {};
    unsigned char kept_count_ = 0; // below 3 between calls
    unsigned char column_ = 0;     // with line breaks: characters in this line, up to 76
};

/// Decodes a text that comes in pieces, cut anywhere. The bytes are those that the whole text has by
/// the lenient rules of Base64.h; with the alphabet for URLs "+" and "/" are outside of it. Whether it
/// was a proper text, and where not, can be asked.
class KRCOMMON_EXPORT KR_Base64_Decoder {
public:
    /// Begins a text in this alphabet.
    explicit KR_Base64_Decoder(KR_Base64_Alphabet alphabet = KR_Base64_Alphabet::standard) noexcept
        : alphabet_(alphabet)
    {
    }

    /// Begins a new text.
    void reset() noexcept;

    /// Decodes as much of the text as there is room for. Up to three characters that are no whole group
    /// yet count as read and are kept.
    ///
    /// text     length characters, apart from out
    /// out      capacity bytes. (length + 3) / 4 * 3 are enough for a piece of that length, whatever
    ///          came before; with less than 3 it may be that nothing is read.
    /// returns  how many characters were read: all of them, or fewer when the room was used up. Then
    ///          give the rest with new room. And how many bytes were written, nothing behind them.
    KR_Base64_Step decode(const char* text, std::size_t length, unsigned char* out,
                          std::size_t capacity) noexcept;

    /// Writes the bytes of a last group that is cut off. Without room nothing changes: call again. Faults
    /// can be asked for until reset(), which comes before the next text.
    /// out      capacity bytes; 3 are always enough
    KR_Base64_End finish(unsigned char* out, std::size_t capacity) noexcept;

    /// Whether the text, as far as it was read, is one that RFC 4648 knows: characters of the alphabet;
    /// "=" at its end alone, where they fill the last group, or none; the bits that a filled or cut group
    /// leaves over are 0. Carriage returns and line feeds may stand between groups. After finish() that
    /// counts for the whole text: a single character after the last group is a fault.
    bool is_well_formed() const noexcept { return fault_ == no_fault; }

    /// The first character that is a fault, counted from 0 and from reset(); the text's length when it
    /// ends too early. Without a fault the largest number.
    std::uint64_t fault_position() const noexcept { return fault_; }

private:
    static constexpr std::uint64_t no_fault = ~std::uint64_t{0};

    KR_Base64_Step decode_standard(const char* text, std::size_t length, unsigned char* out,
                                   std::size_t capacity) noexcept;
    KR_Base64_Step decode_url_safe(const char* text, std::size_t length, unsigned char* out,
                                   std::size_t capacity) noexcept;
    void check_group() noexcept;
    void note_fault(std::uint64_t position) noexcept;

    KR_Base64_Alphabet alphabet_;
    bool is_ended_ = false;        // a group with padding came, or finish()
    unsigned char kept_count_ = 0; // below 4 between calls
    char kept_[4] = {};            // the begin of a group, in the standard's alphabet
    std::uint64_t group_at_ = 0;   // where that begins
    std::uint64_t read_ = 0;       // characters in all
    std::uint64_t fault_ = no_fault;
};

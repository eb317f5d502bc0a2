// Any bytes, as a message and as a text, through the encoder and the decoder in pieces and in room of
// sizes that the first bytes give, compared with KR_Base64 at once. In both alphabets, with and without
// padding and line breaks, with each set of instructions that the processor has.

#include <KRCommon/kernels/Kernels_testing.h>
#include <KRCommon/util/Base64.h>
#include <KRCommon/util/Base64_Stream.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

void require(bool holds)
{
    if (!holds)
        std::abort();
}

// The sizes of pieces and room, one after the other.
class Sizes {
public:
    explicit Sizes(const std::string& bytes) : bytes_(bytes.substr(0, 16)) {}

    std::size_t next(std::size_t least)
    {
        if (bytes_.empty())
            return least + 60;
        const auto size = static_cast<unsigned char>(bytes_[at_++ % bytes_.size()]);
        return least + size;
    }

private:
    std::string bytes_;
    std::size_t at_ = 0;
};

void exchange(std::string& text, char from, char to)
{
    std::replace(text.begin(), text.end(), from, to);
}

// Into buffers without a byte to spare.
std::string encode_in_pieces(const std::string& bytes, const KR_Base64_Format& format)
{
    KR_Base64_Encoder encoder(format);
    Sizes sizes(bytes);
    std::string text;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t length = std::min(sizes.next(1), bytes.size() - at);
        const std::size_t room = sizes.next(0);
        const std::string piece = bytes.substr(at, length);
        const std::unique_ptr<char[]> out(new char[room]);
        const KR_Base64_Step step = encoder.encode(piece.data(), length, out.get(), room);
        require(step.read <= length && step.written <= room);
        require(step.read == length || step.written + 5 > room);
        text.append(out.get(), step.written);
        at += step.read;
        if (step.read == 0 && room < 5) { // no byte may be taken then
            char more[5];
            const KR_Base64_Step one = encoder.encode(piece.data(), 1, more, 5);
            require(one.read == 1);
            text.append(more, one.written);
            ++at;
        }
    }
    char rest[5];
    return text.append(rest, encoder.finish(rest, 5).written);
}

void require_encoded(const std::string& bytes, const KR_Base64_Format& format)
{
    std::string expected;
    KR_Base64::encode(bytes, expected, format.line_breaks);
    if (format.alphabet == KR_Base64_Alphabet::url_safe) {
        exchange(expected, '+', '-');
        exchange(expected, '/', '_');
    }
    if (!format.padding)
        expected.erase(std::min(expected.find('='), expected.size()));
    require(kr_base64_size(bytes.size(), format) == expected.size());
    require(encode_in_pieces(bytes, format) == expected);
    const std::unique_ptr<char[]> out(new char[expected.size()]);
    std::size_t size = 0;
    require(kr_encode_base64(bytes.data(), bytes.size(), out.get(), expected.size(), size, format));
    require(std::string(out.get(), size) == expected);

    KR_Base64_Decoder decoder(format.alphabet);
    const std::unique_ptr<unsigned char[]> back(new unsigned char[bytes.size() + 3]);
    size = decoder.decode(expected.data(), expected.size(), back.get(), bytes.size() + 3).written;
    size += decoder.finish(back.get() + size, bytes.size() + 3 - size).written;
    require(std::string(back.get(), back.get() + size) == bytes);
    require(decoder.is_well_formed());
}

void require_decoded(const std::string& text, KR_Base64_Alphabet alphabet)
{
    std::string in_standard = text;
    if (alphabet == KR_Base64_Alphabet::url_safe) {
        exchange(in_standard, '+', '!');
        exchange(in_standard, '/', '!');
        exchange(in_standard, '-', '+');
        exchange(in_standard, '_', '/');
    }
    std::string expected;
    KR_Base64::decode(in_standard, expected);

    KR_Base64_Decoder decoder(alphabet);
    Sizes sizes(text);
    std::string bytes;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = std::min(sizes.next(1), text.size() - at);
        const std::size_t room = sizes.next(3);
        const std::string piece = text.substr(at, length);
        const std::unique_ptr<unsigned char[]> out(new unsigned char[room]);
        const KR_Base64_Step step = decoder.decode(piece.data(), length, out.get(), room);
        require(step.read <= length && step.written <= room);
        require(step.read == length || step.written + 3 > room);
        bytes.append(out.get(), out.get() + step.written);
        at += step.read;
    }
    unsigned char rest[3];
    bytes.append(rest, rest + decoder.finish(rest, 3).written);
    require(bytes == expected);

    // The fault is that of the text in one piece.
    KR_Base64_Decoder whole(alphabet);
    const std::unique_ptr<unsigned char[]> room(new unsigned char[text.size() + 3]);
    (void)whole.decode(text.data(), text.size(), room.get(), text.size() + 3);
    (void)whole.finish(rest, 3);
    require(whole.fault_position() == decoder.fault_position());
    require(whole.is_well_formed() || whole.fault_position() <= text.size());

    const std::unique_ptr<unsigned char[]> out(new unsigned char[expected.size()]);
    std::size_t size = 0;
    require(kr_decode_base64(text.data(), text.size(), out.get(), expected.size(), size, alphabet));
    require(std::string(out.get(), out.get() + size) == expected);
    if (!expected.empty())
        require(!kr_decode_base64(text.data(), text.size(), out.get(), expected.size() - 1, size,
                                  alphabet) &&
                size == expected.size());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    static const auto sets = kr_internal::present_instruction_sets();
    const std::string input(data, data + size);
    for (const kr_internal::Instruction_Set set : sets) {
        const kr_internal::Forced_Kernels forced(set);
        for (const auto alphabet : {KR_Base64_Alphabet::standard, KR_Base64_Alphabet::url_safe}) {
            require_decoded(input, alphabet);
            for (const bool padding : {true, false})
                for (const bool line_breaks : {false, true})
                    require_encoded(input, {alphabet, padding, line_breaks});
        }
    }
    return 0;
}

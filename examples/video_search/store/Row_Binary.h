#pragma once

/// \file
/// Rows as the servers of a cluster take and give them ("RowBinary"): numbers of fixed size, little
/// end first; texts with their length before them, 7 bits a byte, lowest first. No names, no types:
/// both sides know the columns. Threads: values.

#include "../host/Host.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

namespace video_search {

class Row_Writer {
public:
    template <class Number>
    void number(Number value)
    {
        static_assert(std::is_integral_v<Number>, "floats by their bits");
        auto rest = static_cast<std::make_unsigned_t<Number>>(value);
        for (std::size_t k = 0; k < sizeof rest; ++k) {
            bytes_ += static_cast<char>(rest & 0xFF);
            rest = static_cast<decltype(rest)>(sizeof rest > 1 ? rest >> 8 : 0);
        }
    }

    void number(float value)
    {
        std::uint32_t bits = 0;
        static_assert(sizeof bits == sizeof value);
        std::memcpy(&bits, &value, sizeof bits);
        number(bits);
    }

    /// Rows, or what is left of one, as they are.
    void raw(std::string_view bytes) { bytes_ += bytes; }

    void text(std::string_view text)
    {
        std::size_t rest = text.size();
        for (; rest >= 0x80; rest >>= 7)
            bytes_ += static_cast<char>((rest & 0x7F) | 0x80);
        bytes_ += static_cast<char>(rest);
        bytes_ += text;
    }

    [[nodiscard]] const std::string& bytes() const noexcept { return bytes_; }

private:
    std::string bytes_;
};

/// Failure for an answer that ends within a row.
class Row_Reader {
public:
    /// The bytes must live as long as the reader and what it gives.
    explicit Row_Reader(std::string_view bytes) : rest_(bytes) {}

    [[nodiscard]] bool is_at_end() const noexcept { return rest_.empty(); }

    template <class Number>
    [[nodiscard]] Number number()
    {
        if constexpr (std::is_same_v<Number, float>) {
            const auto bits = number<std::uint32_t>();
            float value = 0;
            std::memcpy(&value, &bits, sizeof value);
            return value;
        } else {
            const std::string_view bytes = take(sizeof(Number));
            std::uint64_t value = 0;
            for (std::size_t k = sizeof(Number); k-- > 0;)
                value = value << 8 | static_cast<unsigned char>(bytes[k]);
            return static_cast<Number>(value);
        }
    }

    [[nodiscard]] std::string_view text()
    {
        std::uint64_t size = 0;
        for (unsigned shift = 0;; shift += 7) {
            const auto byte = number<std::uint8_t>();
            if (shift > 56)
                throw Failure("the server's answer has a length beyond measure");
            size |= std::uint64_t{byte & 0x7FU} << shift;
            if (byte < 0x80)
                break;
        }
        return take(size);
    }

private:
    std::string_view take(std::uint64_t size)
    {
        if (size > rest_.size())
            throw Failure("the server's answer is cut short");
        const std::string_view bytes = rest_.substr(0, static_cast<std::size_t>(size));
        rest_.remove_prefix(bytes.size());
        return bytes;
    }

    std::string_view rest_;
};

} // namespace video_search

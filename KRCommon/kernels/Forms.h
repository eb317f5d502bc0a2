#pragma once

/// \file
/// Every form of every kernel. What they do is said in Kernels.h.
///
/// A form with special instructions and the functions that it is made of carry a target attribute
/// each, as in [[gnu::target("avx2")]]; no file is compiled for more than the rest of the library. So
/// what such a file takes from a header, an inline function of the standard library say, is compiled
/// for every processor, whichever copy of it the linker keeps. Lambdas do not inherit the attribute;
/// constants are arrays of bytes, since a vector would be filled by instructions before main.

#include <KRCommon/text/Base64_Lines.h>

#include <cstddef>
#include <cstdint>

namespace kr_internal {

void encode_hex_portable(const unsigned char* data, std::size_t size, char* out) noexcept;
void encode_hex_sse2(const unsigned char* data, std::size_t size, char* out) noexcept;
void encode_hex_ssse3(const unsigned char* data, std::size_t size, char* out) noexcept;
void encode_hex_avx2(const unsigned char* data, std::size_t size, char* out) noexcept;

std::size_t decode_hex_portable(const char* text, std::size_t size, unsigned char* out) noexcept;
std::size_t decode_hex_ssse3(const char* text, std::size_t size, unsigned char* out) noexcept;

void encode_base64_portable(const unsigned char* data, std::size_t size, char* out) noexcept;
void encode_base64_ssse3(const unsigned char* data, std::size_t size, char* out) noexcept;
void encode_base64_avx2(const unsigned char* data, std::size_t size, char* out) noexcept;
void encode_base64_avx512(const unsigned char* data, std::size_t size, char* out) noexcept;

void encode_base64_lines_portable(const unsigned char* data, std::size_t lines, char* out) noexcept;
void encode_base64_lines_ssse3(const unsigned char* data, std::size_t lines, char* out) noexcept;
void encode_base64_lines_avx2(const unsigned char* data, std::size_t lines, char* out) noexcept;
void encode_base64_lines_avx512(const unsigned char* data, std::size_t lines, char* out) noexcept;

std::size_t decode_base64_portable(const char* text, std::size_t size, unsigned char* out) noexcept;
std::size_t decode_base64_ssse3(const char* text, std::size_t size, unsigned char* out) noexcept;
std::size_t decode_base64_avx2(const char* text, std::size_t size, unsigned char* out) noexcept;
std::size_t decode_base64_avx512(const char* text, std::size_t size, unsigned char* out) noexcept;

std::size_t decode_base64_lines_portable(const char* text, std::size_t size,
                                         unsigned char* out) noexcept;
std::size_t decode_base64_lines_ssse3(const char* text, std::size_t size,
                                      unsigned char* out) noexcept;
std::size_t decode_base64_lines_avx2(const char* text, std::size_t size,
                                     unsigned char* out) noexcept;
std::size_t decode_base64_lines_avx512(const char* text, std::size_t size,
                                       unsigned char* out) noexcept;

void rgb_to_hsv_portable(const std::uint32_t* colors, std::size_t count, std::int32_t* hues,
                         float* saturations, float* values) noexcept;
void rgb_to_hsv_sse2(const std::uint32_t* colors, std::size_t count, std::int32_t* hues,
                     float* saturations, float* values) noexcept;
void rgb_to_hsv_avx2(const std::uint32_t* colors, std::size_t count, std::int32_t* hues,
                     float* saturations, float* values) noexcept;
void rgb_to_hsv_avx512(const std::uint32_t* colors, std::size_t count, std::int32_t* hues,
                       float* saturations, float* values) noexcept;

void hsv_to_rgb_portable(const std::int32_t* hues, const float* saturations, const float* values,
                         std::size_t count, std::uint32_t* colors) noexcept;
void hsv_to_rgb_sse2(const std::int32_t* hues, const float* saturations, const float* values,
                     std::size_t count, std::uint32_t* colors) noexcept;
void hsv_to_rgb_avx2(const std::int32_t* hues, const float* saturations, const float* values,
                     std::size_t count, std::uint32_t* colors) noexcept;

void compress_sha1_portable(std::uint32_t* h, const unsigned char* data,
                            std::size_t blocks) noexcept;
void compress_sha1_sha(std::uint32_t* h, const unsigned char* data, std::size_t blocks) noexcept;

void compress_sha256_portable(std::uint32_t* h, const unsigned char* data,
                              std::size_t blocks) noexcept;
void compress_sha256_sha(std::uint32_t* h, const unsigned char* data, std::size_t blocks) noexcept;

void expand_aes_key_portable(const unsigned char* key, std::uint32_t* keys) noexcept;
void expand_aes_key_aes(const unsigned char* key, std::uint32_t* keys) noexcept;
void invert_aes_keys_portable(const std::uint32_t* keys, std::uint32_t* inverse) noexcept;
void invert_aes_keys_aes(const std::uint32_t* keys, std::uint32_t* inverse) noexcept;
void encrypt_aes_portable(const std::uint32_t* keys, unsigned char* chain, const unsigned char* in,
                          unsigned char* out, std::size_t blocks) noexcept;
void encrypt_aes_aes(const std::uint32_t* keys, unsigned char* chain, const unsigned char* in,
                     unsigned char* out, std::size_t blocks) noexcept;
void decrypt_aes_portable(const std::uint32_t* keys, unsigned char* chain, const unsigned char* in,
                          unsigned char* out, std::size_t blocks) noexcept;
void decrypt_aes_aes(const std::uint32_t* keys, unsigned char* chain, const unsigned char* in,
                     unsigned char* out, std::size_t blocks) noexcept;

} // namespace kr_internal

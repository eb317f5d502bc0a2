#pragma once

/// \file
/// The instruction sets among which the library's special forms choose.
///
/// Threads: no state. Never throws.

#include <KRCommon/platform/Processor.h>

#include <array>
#include <cstddef>
#include <string_view>

namespace kr_internal {

/// Each level has those before it.
enum class Level : unsigned char { portable, sse2, ssse3, avx2, avx512 };

inline constexpr std::array<std::string_view, 5> level_names{"portable", "sse2", "ssse3", "avx2",
                                                             "avx512"};

/// A level, and beside it, from ssse3 on, the instructions for SHA and AES.
struct Instruction_Set {
    Level level = Level::portable;
    bool sha = false;
    bool aes = false;
};

constexpr bool operator==(Instruction_Set a, Instruction_Set b) noexcept
{
    return a.level == b.level && a.sha == b.sha && a.aes == b.aes;
}

/// Whether everything in the set is in the other one too.
constexpr bool is_within(Instruction_Set set, Instruction_Set other) noexcept
{
    return set.level <= other.level && set.sha <= other.sha && set.aes <= other.aes;
}

/// What both sets have.
constexpr Instruction_Set common(Instruction_Set a, Instruction_Set b) noexcept
{
    const Level level = a.level < b.level ? a.level : b.level;
    const bool has_more = level >= Level::ssse3;
    return {level, has_more && a.sha && b.sha, has_more && a.aes && b.aes};
}

/// What a processor has. A level counts only with all those before it.
[[nodiscard]] Instruction_Set instructions_of(const kr_platform::Processor& processor) noexcept;

/// What the text allows, by the rules in Instructions.h; everything when it is empty.
[[nodiscard]] Instruction_Set instructions_named(std::string_view text) noexcept;

} // namespace kr_internal

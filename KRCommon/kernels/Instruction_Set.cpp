#include <KRCommon/kernels/Instruction_Set.h>

#include <algorithm>

namespace kr_internal {

namespace {

constexpr Instruction_Set everything{Level::avx512, true, true};
constexpr std::string_view separators = " ,";

// False for a word that is no name.
bool add(std::string_view word, Instruction_Set& set) noexcept
{
    if (word == "sha")
        return set.sha = true;
    if (word == "aes")
        return set.aes = true;
    const auto* const name = std::find(level_names.begin(), level_names.end(), word);
    if (name == level_names.end())
        return false;
    set.level = std::max(set.level, static_cast<Level>(name - level_names.begin()));
    return true;
}

} // namespace

Instruction_Set instructions_of(const kr_platform::Processor& processor) noexcept
{
    Instruction_Set set;
    for (const bool has_next :
         {processor.sse2, processor.ssse3, processor.avx2, processor.avx512}) {
        if (!has_next)
            break;
        set.level = static_cast<Level>(static_cast<unsigned char>(set.level) + 1);
    }
    set.sha = processor.sha;
    set.aes = processor.aes;
    return common(set, everything);
}

Instruction_Set instructions_named(std::string_view text) noexcept
{
    if (text.empty())
        return everything;
    Instruction_Set set;
    for (;;) {
        text.remove_prefix(std::min(text.find_first_not_of(separators), text.size()));
        if (text.empty())
            return common(set, everything);
        const std::size_t size = std::min(text.find_first_of(separators), text.size());
        if (!add(text.substr(0, size), set))
            return {};
        text.remove_prefix(size);
    }
}

} // namespace kr_internal

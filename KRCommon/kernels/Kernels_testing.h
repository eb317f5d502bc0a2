#pragma once

/// \file
/// For tests, benchmarks and fuzz targets: all tables of kernels in turn. Not part of the library.

#include <KRCommon/kernels/Kernels.h>

#include <string>
#include <vector>

namespace kr_internal {

/// While it lives, the whole process uses the table of these instructions, which the processor must
/// have.
class Forced_Kernels {
public:
    explicit Forced_Kernels(Instruction_Set set)
        : before_(kernels_in_use.exchange(&kernels_for(set)))
    {
    }
    ~Forced_Kernels() { kernels_in_use.store(before_); }
    Forced_Kernels(const Forced_Kernels&) = delete;
    Forced_Kernels& operator=(const Forced_Kernels&) = delete;

private:
    const Kernels* before_;
};

/// What the processor has.
inline Instruction_Set present_instructions()
{
    return instructions_of(kr_platform::processor());
}

/// Sets in which every form is used by one: each level, from ssse3 on with everything beside it, and
/// the first level of these without. In a build with KR_PORTABLE the one that there is.
inline std::vector<Instruction_Set> all_instruction_sets()
{
#ifdef KR_PORTABLE
    return {{}};
#else
    return {{Level::portable, false, false}, {Level::sse2, false, false},
            {Level::ssse3, false, false},    {Level::ssse3, true, true},
            {Level::avx2, true, true},       {Level::avx512, true, true}};
#endif
}

/// Those of them that the processor can run.
inline std::vector<Instruction_Set> present_instruction_sets()
{
    std::vector<Instruction_Set> sets;
    for (const Instruction_Set set : all_instruction_sets())
        if (is_within(set, present_instructions()))
            sets.push_back(set);
    return sets;
}

inline std::string name_of(Instruction_Set set)
{
    return kernels_for(set).name.data();
}

} // namespace kr_internal

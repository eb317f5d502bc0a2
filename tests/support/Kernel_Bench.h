#pragma once

#include <KRCommon/kernels/Kernels_testing.h>

#include <benchmark/benchmark.h>

#include <string>

/// Registers a benchmark once for each level of instructions that the processor has, as "Name:avx2",
/// beside the one that takes what is chosen. To be called before main:
///
///     const bool is_registered = register_for_each_level("Encode", Encode, sizes);
template <typename Run, typename Arguments>
bool register_for_each_level(const std::string& name, Run run, Arguments arguments)
{
    const kr_internal::Instruction_Set present = kr_internal::present_instructions();
    for (std::size_t level = 0; level <= static_cast<std::size_t>(present.level); ++level) {
        const kr_internal::Instruction_Set set{static_cast<kr_internal::Level>(level), false,
                                               false};
        const auto run_forced = [set, run](benchmark::State& state) {
            const kr_internal::Forced_Kernels forced(set);
            run(state);
        };
        const std::string level_name(kr_internal::level_names[level]);
        arguments(benchmark::RegisterBenchmark((name + ':' + level_name).c_str(), run_forced));
    }
    return true;
}

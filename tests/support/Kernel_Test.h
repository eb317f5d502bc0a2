#pragma once

#include <KRCommon/kernels/Kernels_testing.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

/// A test that runs once with each set of instructions, the whole process using its kernels:
///
///     using Base64_Kernels = Kernel_Test;
///     TEST_P(Base64_Kernels, ...) { ... }
///     INSTANTIATE_TEST_SUITE_P(Each, Base64_Kernels, each_instruction_set(), name_of_set);
class Kernel_Test : public testing::TestWithParam<kr_internal::Instruction_Set> {
protected:
    void SetUp() override
    {
        if (!kr_internal::is_within(GetParam(), kr_internal::present_instructions()))
            GTEST_SKIP() << "the processor has not all of: " << kr_internal::name_of(GetParam());
        forced_.emplace(GetParam());
    }

private:
    std::optional<kr_internal::Forced_Kernels> forced_;
};

inline auto each_instruction_set()
{
    return testing::ValuesIn(kr_internal::all_instruction_sets());
}

/// Only those that bring another form of one of the kernels:
///
///     each_form(&kr_internal::Kernels::encode_base64, &kr_internal::Kernels::decode_base64)
template <typename... Form>
auto each_form(Form kr_internal::Kernels::*... kernel)
{
    std::vector<kr_internal::Instruction_Set> sets;
    std::vector<std::tuple<Form...>> forms;
    for (const kr_internal::Instruction_Set set : kr_internal::all_instruction_sets()) {
        const std::tuple<Form...> its(kr_internal::kernels_for(set).*kernel...);
        if (std::find(forms.begin(), forms.end(), its) != forms.end())
            continue;
        sets.push_back(set);
        forms.push_back(its);
    }
    return testing::ValuesIn(sets);
}

inline std::string name_of_set(const testing::TestParamInfo<kr_internal::Instruction_Set>& info)
{
    std::string name = kr_internal::name_of(info.param);
    for (char& c : name)
        c = c == ' ' ? '_' : c;
    return name;
}

namespace kr_internal {

/// How a failed test writes a set.
inline void PrintTo(Instruction_Set set, std::ostream* out)
{
    *out << name_of(set);
}

} // namespace kr_internal

#pragma once

/// \file
/// How well a file agrees with what people call colours; docs/colour.md tells what the figures mean.

#include <KRCommon/colors/Configuration_Check.h>

#include <array>
#include <cstdint>
#include <string>
#include <vector>

namespace krtool {

/// Of the answers, the share for which the answered colour is among those reported, and for which it
/// is the only one. 0 to 1.
struct Agreement {
    double hit = 0.0;
    double exact = 0.0;
};

class Survey {
public:
    /// Reads config/survey/c3_data.json. Throws Failure.
    explicit Survey(const std::string& path);

    /// Over the half of the colours that no range was tuned by.
    [[nodiscard]] Agreement agreement_of(const KR_Colors& colors) const;

private:
    struct Color {
        ns__HsvColor hsv;
        std::array<std::uint64_t, 14> answers{}; ///< by preset
    };

    std::vector<Color> colors_;
};

} // namespace krtool

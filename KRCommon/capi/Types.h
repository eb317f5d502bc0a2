#pragma once

/// \file
/// What the handles that more than one family knows stand for.

#include <KRCommon/capi/Handles.h>
#include <KRCommon/colors/Colors.h>

#include <memory>
#include <optional>

namespace kr_internal::c {

using Shared_Colors = std::shared_ptr<const KR_Colors>;

/// The classifier of a call: the library's own for null.
class Colors_Use {
public:
    explicit Colors_Use(const kr_c_colors* colors)
    {
        if (colors == nullptr)
            return;
        handle_.emplace(colors);
        if (handle_->error() == KR_C_OK)
            colors_ = (*handle_)->get();
    }

    [[nodiscard]] kr_c_error error() const noexcept { return handle_ ? handle_->error() : KR_C_OK; }
    [[nodiscard]] const KR_Colors& operator*() const noexcept { return *colors_; }
    [[nodiscard]] const KR_Colors* operator->() const noexcept { return colors_; }

private:
    std::optional<Use<kr_c_colors, Shared_Colors, Sharing::by_all>> handle_;
    const KR_Colors* colors_ = KR_Colors::instance();
};

} // namespace kr_internal::c

#include "Assets.h"

#include <algorithm>

namespace video_search {

const Asset* find_asset(std::string_view path)
{
    const auto found = std::find_if(assets().begin(), assets().end(),
                                    [&](const Asset& asset) { return asset.path == path; });
    return found != assets().end() ? &*found : nullptr;
}

} // namespace video_search

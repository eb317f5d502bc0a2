#pragma once

/// \file
/// Answers as elements of the namespace urn:krsearch (krsearch.wsdl). Threads: no state.

#include "Search_Api.h"
#include "Swatches.h"

#include <string>
#include <vector>

namespace video_search {

/// <object>
[[nodiscard]] std::string xml_of(const Hit& hit);
/// <recording>; its name is that of the file without folders
[[nodiscard]] std::string xml_of(const Counted_Recording& counted, const std::string& name);
/// <preset>s and <group>s
[[nodiscard]] std::string xml_of_presets(const std::vector<Swatch>& swatches);

} // namespace video_search

#pragma once

/// \file
/// Reads KRCommon.xml: the validating layer above Xml_Parser. It knows the elements and attributes
/// of the configuration, their order, counts and types, and stops at the first error.
///
/// Threads: independent calls may run at the same time. Nothing is logged.

#include <KRCommon/colors/Configuration.h>
#include <KRCommon/colors/Xml_Error.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace kr_internal {

constexpr std::size_t max_presets = 1'000;
constexpr std::size_t max_configuration_size = 16 * 1'024 * 1'024; ///< bytes of the file

/// Reads a document into an empty configuration. After an error the configuration holds what was
/// read before it, and must not be used. Throws std::bad_alloc only.
[[nodiscard]] Xml_Error read_configuration(std::string_view document,
                                           KRCMN::XML_configuration& configuration);

/// The same with a file. A missing, unreadable or overlong file is an error at line 0.
[[nodiscard]] Xml_Error read_configuration_file(const std::string& path,
                                                KRCMN::XML_configuration& configuration);

} // namespace kr_internal

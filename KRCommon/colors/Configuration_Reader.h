#pragma once

/// \file
/// Reads KRCommon.xml: the validating layer above Xml_Parser. It knows the elements and attributes
/// of the configuration, their order, counts and types, and stops at the first error.
///
/// Threads: independent calls may run at the same time. Nothing is logged.

#include <KRCommon/colors/Configuration.h>
#include <KRCommon/xml/Xml_Error.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace kr_internal {

constexpr std::size_t max_presets = 1'000;
constexpr std::size_t max_configuration_size = 16'777'216; ///< bytes of the file (16 MiB)

/// Reads a document into an empty configuration. After an error the configuration holds what was
/// read before it, and must not be used. Throws std::bad_alloc only.
///
/// The error names the attribute or element at fault, or the element that is missing. Its line is
/// that of the attribute's name, of the wrong element's tag, of the first character of a wrong text
/// that is no white space, or of the end tag before which an element is missing; for a preset within
/// a preset it is that of the outer one's tag, which lacks its "/". Errors of the markup are those
/// of Xml_Parser.
[[nodiscard]] Xml_Error read_configuration(std::string_view document,
                                           KRCMN::XML_configuration& configuration);

/// The same with a file. A missing, unreadable or overlong file is an error at line 0 without a
/// name, and so is what is no regular file (platform/Regular_File.h). The path is in the system's own narrow encoding (platform/Platform.h).
[[nodiscard]] Xml_Error read_configuration_file(const std::string& path,
                                                KRCMN::XML_configuration& configuration);

} // namespace kr_internal

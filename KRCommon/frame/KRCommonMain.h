#pragma once

/// \file
/// What happens when the library is loaded into a process and when a thread starts. The entry
/// routine of platform/ calls it; nothing else does, tests apart.

#include <KRCommon/frame/Configuration_Status.h>

#include <string>

class KR_Colors;

namespace kr_internal {

class Start_Up {
public:
    /// Initialises ACE, builds the log manager, gives the calling thread its log settings and
    /// fills the colour classifier from KRCommon.xml beside the library, which
    /// kr_configuration_status() then tells of.
    static void attach_process() noexcept;

    /// Builds the log manager if it is still missing and gives the calling thread its log settings.
    static void attach_thread() noexcept;

    /// KRCommon.xml in the folder of a module: everything before the last separator of its path, or
    /// the whole text where there is none, and the file's name after a separator.
    static std::string configuration_path(const std::string& module_path);

    /// Reads the file into the classifier, whose presets are replaced, and tells whether. When the file cannot be read
    /// the classifier stays as it is and one line tells why, at LM_EMERGENCY:
    /// "%T T%04t*EMR Failed to read '%s' file: %s\n", from "KRCommonMain.cpp", line 32.
    static KR_Configuration_Status load_configuration(const std::string& path, KR_Colors& colors);
};

} // namespace kr_internal

#pragma once

/// \file
/// Tables that the library writes; the log has Append_File.h. No child process inherits them, and none takes a descriptor below
/// 3, where others write whatever becomes of it: what a daemon says on its closed stderr is not for
/// the log.

#include <fstream>
#include <string>

namespace kr_platform {

enum class Write_Mode {
    append, ///< each flush goes after what the file holds by then, whoever wrote it
    replace ///< an existing file is emptied
};

/// Opens a file for writing, in text mode, making it if need be, and puts it behind `file`, whose
/// previous file is closed. False when it cannot be opened, and std::bad_alloc when memory is short:
/// then `file` is as it was. The position in a file that is appended to is its size from the
/// beginning.
///
/// Others may read and write the file meanwhile; on Windows nobody can delete it.
bool open_for_writing(std::filebuf& file, const std::string& path, Write_Mode mode);

} // namespace kr_platform

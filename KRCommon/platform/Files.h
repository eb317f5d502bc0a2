#pragma once

/// \file
/// Files that the library writes. No child process inherits them, and none takes a descriptor below
/// 3, where others write whatever becomes of it: what a daemon says on its closed stderr is not for
/// the log.

#include <fstream>
#include <memory>
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

/// A buffer, still closed, for a file that several processes append to: a text that is flushed at
/// once stays whole, and none is lost. It throws as `new` does. Windows: code of this library stands
/// behind it, which must stay loaded.
std::unique_ptr<std::filebuf> make_shared_buffer();

} // namespace kr_platform

#pragma once

/// \file
/// What the entry routine of the shared library calls: DllMain on Windows, a load-time function on
/// Linux. The entry routines lie in windows/Entry.cpp and linux/Entry.cpp, which are part of the
/// shared library alone; the library above defines these functions.

namespace kr_platform {

/// The library has been loaded into the process. Windows: the loader's lock is held. Linux: static
/// objects of the library may not have been constructed yet.
void on_process_attach() noexcept;

/// A thread has started: the calling one. Windows: the loader's lock is held, and threads from
/// before the library was loaded are not reported. Linux: never called.
void on_thread_attach() noexcept;

} // namespace kr_platform

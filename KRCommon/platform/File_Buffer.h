#pragma once

/// \file
/// What both systems' Files.cpp share: a descriptor becomes a file buffer.

#include <KRCommon/platform/Files.h>

#include <cerrno>
#include <ext/stdio_filebuf.h>
#include <new>
#include <utility>

namespace kr_platform {

/// Puts an open descriptor behind `file`, at the end of its file. The descriptor is closed in every
/// case, sooner or later; `close` does so here. The outcome is that of open_for_writing().
inline bool put_behind(std::filebuf& file, int descriptor, Write_Mode mode, int (*close)(int))
{
    const std::ios::openmode out =
        mode == Write_Mode::append ? std::ios::out | std::ios::app : std::ios::out;
    __gnu_cxx::stdio_filebuf<char> opened(descriptor, out); // closes it when memory is short
    if (!opened.is_open()) {
        const bool is_short_of_memory = errno == ENOMEM;
        close(descriptor);
        if (is_short_of_memory)
            throw std::bad_alloc();
        return false;
    }
    opened.pubseekoff(0, std::ios::end, std::ios::out);
    file = std::move(static_cast<std::filebuf&>(opened)); // the standard library's class alone
    return true;
}

} // namespace kr_platform

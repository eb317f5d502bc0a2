#pragma once

/// \file
/// The version of a program or library file, as text.
///
///     const KR_Version_Retriever camera_driver("C:\\Drivers\\camera.dll");
///     camera_driver.GetVersionInfo(); // "6.3.2.15"
///
/// Threads: one thread at a time per object, but constant ones may be read by all.
/// Failure: none is reported but by the text; std::bad_alloc may be thrown.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h.

#include <KRCommon/KRCommon_Export.h>

#include <string>

/// Reads the file version (not the product version) from the version resource of a file, 16-, 32- or
/// 64-bit, and keeps it: four numbers from 0 to 65535 with dots between them. Every failure gives
/// "Version not supported": no such file, no version resource, a damaged one.
///
/// Paths are in the ANSI code page on Windows and bytes on Linux. Windows looks for a bare name
/// along the search path of libraries too, Linux in the working folder only. Reading is done at
/// once, by the constructor or function that is given the path; it opens the file and blocks for as
/// long as that takes.
class KRCOMMON_EXPORT KR_Version_Retriever {
public:
    /// Stores the path and reads the version. With null both stay empty.
    explicit KR_Version_Retriever(const char* path);
    virtual ~KR_Version_Retriever();

    /// Copies path and text; the file is not read again.
    KR_Version_Retriever(const KR_Version_Retriever&) = default;
    KR_Version_Retriever& operator=(const KR_Version_Retriever&) = default;

    /// As get().
    KR_Version_Retriever& operator=(const char* path);

    /// Replaces path and text by those of another file. Null empties the text and leaves the path.
    void get(const char* path);

    /// The version text; empty when there was no path. Never null. Valid as long as the object, and
    /// it changes with it.
    [[nodiscard]] const char* GetVersionInfo() const noexcept { return version_text_; }

    /// The path that was last given; empty when there was none.
    [[nodiscard]] const std::string& path() const noexcept { return path_; }

private:
    bool Init(const char* path); // stores the path without reading; false for null
    void GetVersion();           // of the stored path

    std::string path_;
    char version_text_[256] = {};
};

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
#include <KRCommon/util/Parse_Result.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

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
    /// As the copy constructor.
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

/// A version as numbers, major first: {6, 3, 2, 15}. Versions are compared with < and ==.
using KR_Version = std::array<std::uint16_t, 4>;

/// The checked reader of a version text: one to four numbers from 0 to 65535 with dots between them and
/// nothing around them. Zeros may stand in front of a number; numbers that are left out are 0, so that
/// "1.0" is as "1.0.0.0". "Version not supported" is none.
///
/// returns  cut, character, surplus (behind four numbers), or range with the number's place
[[nodiscard]] KRCOMMON_EXPORT KR_Parse_Result kr_try_to_version(std::string_view text,
                                                                KR_Version& out) noexcept;

/// All four numbers: "6.3.2.15".
[[nodiscard]] KRCOMMON_EXPORT std::string kr_to_string(const KR_Version& version);

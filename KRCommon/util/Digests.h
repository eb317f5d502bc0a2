#pragma once

/// \file
/// What goes with cSHA1 and cSHA256: the usual text of a digest, and the hash of a file.
///
///     cSHA256 hash;
///     const auto show = [](std::uint64_t done, std::uint64_t size) {
///         return draw_bar(done, size); // false: somebody pressed "cancel"
///     };
///     std::string text;
///     if (kr_hash_file("clip.avi", hash, show) == KR_Hash_File_Result::whole)
///         kr_digest_text(hash, text);
///
/// Threads: a hash belongs to one thread at a time. Same on Windows and Linux.
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h, and what a progress function throws.

#include <KRCommon/KRCommon_Export.h>
#include <KRCommon/util/SHA1.h>
#include <KRCommon/util/SHA256.h>

#include <cstdint>
#include <functional>
#include <string>

/// The digest in the order of FIPS 180-4, as other programs show it: 40 upper-case hexadecimal digits,
/// the highest byte of each word first, which replace the text. "abc" gives A9993E36..., where
/// computeHash() gives 363E99A9....
///
/// returns  what computeHash() answers: false after wrong feeding, with the text left alone
KRCOMMON_EXPORT bool kr_digest_text(cSHA1& hash, std::string& text);

/// The same of SHA-256, 64 digits: cSHA256::computeHash() itself.
KRCOMMON_EXPORT bool kr_digest_text(cSHA256& hash, std::string& text);

/// How kr_hash_file() came to its end.
enum class KR_Hash_File_Result {
    whole,   ///< the file was fed to its end
    stopped, ///< the progress function wanted no more
    cannot_open, ///< no such file, no regular one (a folder, a pipe, a device), or not allowed to read it
    cannot_read, ///< the system failed to read on
};

/// Called before the first byte is read and after each piece of 256 KiB or, at the end, less: how many
/// bytes are done and how many the file had when it was opened. Files that grow meanwhile are fed to
/// their new end, so done may become more than size, and of files that shrink it stays less. Answers
/// false to stop. An exception leaves kr_hash_file(), which closes the file first.
using KR_Hash_Progress = std::function<bool(std::uint64_t done, std::uint64_t size)>;

/// Feeds a file of any size to a hash, with 256 KiB of memory. The hash is not reset before and not
/// finished after: what was fed before counts too.
///
/// path      in the ANSI code page on Windows, bytes on Linux; links are followed. Other processes may
///           read, write and, on Windows too, delete the file meanwhile
/// hash      after anything but "whole" fed with a part of the file: reset() it
/// progress  may be empty
KRCOMMON_EXPORT KR_Hash_File_Result kr_hash_file(const std::string& path, cSHA1& hash,
                                                 const KR_Hash_Progress& progress = {});
/// The same with SHA-256.
KRCOMMON_EXPORT KR_Hash_File_Result kr_hash_file(const std::string& path, cSHA256& hash,
                                                 const KR_Hash_Progress& progress = {});

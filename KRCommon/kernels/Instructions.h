#pragma once

/// \file
/// Which of the processor's special instructions the library uses.
///
/// At the first use of what has a form with special instructions (Base64, hexadecimal digits, SHA-1,
/// SHA-256, AES, colours by the batch) the library asks the processor and the system once and takes the
/// fastest form that both can run. All forms give the same results.
///
/// The environment variable KR_INSTRUCTIONS sets a limit, for support and for tests. Its value is
/// written as kr_instructions() writes it, "avx2 sha aes": what it does not name is not used, and
/// what the processor lacks is not used either. "portable" turns everything off. Words may stand in
/// any order with blanks or commas between them; of several levels the highest counts. A value with
/// a word that is none of these counts as "portable", and an empty one as none at all. It is
/// read once, at first use: changes while the process runs have no effect, and on Windows only what
/// the C runtime's environment holds counts, as a process gets it when it is started.
///
/// Exceptions: std::bad_alloc alone, see KRCommon_Export.h, and not even that from here.
/// Threads: any thread at any time, without a lock. Same on Windows and Linux.

#include <KRCommon/KRCommon_Export.h>

/// What the library uses in this process, for a host's start-up line: "avx2 sha aes".
///
/// The first word is the level, each of which has those before it: "portable" (no special
/// instructions at all), "sse2", "ssse3", "avx2", "avx512" (F, BW, VL and VBMI). "sha" and "aes"
/// follow where the processor's instructions for SHA and AES are used, from "ssse3" on. A build with
/// KR_PORTABLE says "portable". Level and words are those of the processor and the limit: not every
/// subject has a form for each of them.
///
/// returns a text that lives as long as the library. Never throws.
[[nodiscard]] KRCOMMON_EXPORT const char* kr_instructions() noexcept;

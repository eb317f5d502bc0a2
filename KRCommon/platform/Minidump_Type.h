#pragma once

/// \file
/// The type _MINIDUMP_TYPE: what a crash dump is to hold. Windows declares it; elsewhere it is
/// declared here, with the same values.

#ifdef _WIN32

#include <windows.h>
// After windows.h, whose types it uses.
#include <dbghelp.h>

#else

/// What a crash dump is to hold, bits that are joined with OR; what each does, the declaration of
/// the system tells.
enum _MINIDUMP_TYPE : unsigned {
    MiniDumpNormal = 0x00000000,
    MiniDumpWithDataSegs = 0x00000001,
    MiniDumpWithFullMemory = 0x00000002,
    MiniDumpWithHandleData = 0x00000004,
    MiniDumpFilterMemory = 0x00000008,
    MiniDumpScanMemory = 0x00000010,
    MiniDumpWithUnloadedModules = 0x00000020,
    MiniDumpWithIndirectlyReferencedMemory = 0x00000040,
    MiniDumpFilterModulePaths = 0x00000080,
    MiniDumpWithProcessThreadData = 0x00000100,
    MiniDumpWithPrivateReadWriteMemory = 0x00000200,
    MiniDumpWithoutOptionalData = 0x00000400,
    MiniDumpWithFullMemoryInfo = 0x00000800,
    MiniDumpWithThreadInfo = 0x00001000,
    MiniDumpWithCodeSegs = 0x00002000,
};

#endif

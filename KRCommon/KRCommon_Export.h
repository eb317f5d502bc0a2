#pragma once

// KRCOMMON_EXPORT marks what the library offers to its hosts. KRCOMMON_BUILDING is defined
// while the library itself (or a unit test made of its objects) is compiled.
#if defined(_WIN32)
#if defined(KRCOMMON_BUILDING)
#define KRCOMMON_EXPORT __declspec(dllexport)
#else
#define KRCOMMON_EXPORT __declspec(dllimport)
#endif
#else
#define KRCOMMON_EXPORT __attribute__((visibility("default")))
#endif

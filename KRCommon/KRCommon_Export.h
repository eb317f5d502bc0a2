#pragma once

// Exceptions, for every header of the library: std::bad_alloc, when memory runs out or a text would
// be longer than any can be, is the one exception of the library's own. What a reactor, the loader, a
// destructor or kr_log() calls throws nothing at all, and does without what it had no memory for.
// A function that promises never to throw keeps it. Where another exception can leave, its function
// says so: kr_is_prefix_match() passes the regular expression's on, and a component the exceptions
// of the host's own hooks.
//
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

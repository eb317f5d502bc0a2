#pragma once

/// True in a build under ThreadSanitizer, which reports some misuse of a lock by itself and does not
/// know every way to acquire one.
#if defined(__SANITIZE_THREAD__)
constexpr bool is_under_thread_sanitizer = true;
#else
constexpr bool is_under_thread_sanitizer = false;
#endif

/// False under the sanitizers that keep books on threads and stumble over one that ends unseen.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool may_kill_threads = false;
#else
constexpr bool may_kill_threads = !is_under_thread_sanitizer;
#endif

/// False under AddressSanitizer: a lock of its allocator that another thread held in the moment of a
/// fork stays locked in the child.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool may_fork_while_others_allocate = false;
#else
constexpr bool may_fork_while_others_allocate = true;
#endif

/// False under the sanitizers that keep what was freed, or books on it, for a while: the process's
/// memory says nothing of the program then.
constexpr bool gives_memory_back = may_kill_threads;

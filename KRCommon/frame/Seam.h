#pragma once

/// \file
/// The one shape of a place in the library where a test puts something of its own.

#include <atomic>

namespace kr_internal {

/// Holds what stands in for the real thing, which is an interface or a function:
///
///     Seam<Guard_World> guard_world;             // in the source; declared in an internal header
///     guard_world.in_use(real).end_process(1);   // in the library
///     guard_world.replace(&fake);                // in a test; null: the real one again
///
/// Threads: any. What is put in place must live until it is taken away and nobody uses it any more.
template <typename T>
class Seam {
public:
    constexpr Seam() noexcept = default;

    T& in_use(T& real) const noexcept
    {
        T* const replaced = replaced_.load(std::memory_order_acquire);
        return replaced != nullptr ? *replaced : real;
    }

    void replace(T* other) noexcept { replaced_.store(other, std::memory_order_release); }

private:
    std::atomic<T*> replaced_{nullptr};
};

} // namespace kr_internal

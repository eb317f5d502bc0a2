#pragma once

#include <cstddef>

/// While it lives, allocations by `operator new` on the calling thread fail: one of them or, from
/// that one on, all. Windows: those of the program, not those inside the DLLs.
class Failing_New {
public:
    enum Extent { one, rest };

    /// first  how many succeed before
    Failing_New(int first, Extent extent) noexcept;
    ~Failing_New();
    Failing_New(const Failing_New&) = delete;
    Failing_New& operator=(const Failing_New&) = delete;

    /// Whether one has failed.
    bool has_failed() const noexcept;
};

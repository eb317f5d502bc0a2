#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <new>

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

/// Runs the operation again and again, with each of its allocations failing, alone and with all that
/// follow, until none fails. `check` is told whether one has failed.
template <typename Prepare, typename Operation, typename Check>
void fail_each_allocation(Prepare prepare, Operation operation, Check check)
{
    constexpr int most_allocations = 20'000; // of any operation in the tests
    for (const Failing_New::Extent extent : {Failing_New::one, Failing_New::rest}) {
        bool has_failed = true;
        for (int first = 0; has_failed; ++first) {
            SCOPED_TRACE(first);
            ASSERT_LT(first, most_allocations);
            prepare();
            {
                const Failing_New failing(first, extent);
                operation();
                has_failed = failing.has_failed();
            }
            check(has_failed);
            if (testing::Test::HasFatalFailure())
                return;
        }
    }
}

/// As operation of a plain function: whether it has thrown std::bad_alloc.
template <typename Operation>
bool throws_bad_alloc(Operation operation)
{
    try {
        operation();
        return false;
    } catch (const std::bad_alloc&) {
        return true;
    }
}

#pragma once

/// \file
/// Ends of threads, for the tests of locks. Not part of the library.

#include <functional>
#include <memory>

namespace kr_platform_testing {

/// A thread that runs the function and may be killed: it ends where it stands, without any
/// destructor or exit routine of its own.
class Mortal_Thread {
public:
    explicit Mortal_Thread(std::function<void()> function);
    ~Mortal_Thread(); ///< waits for its end
    Mortal_Thread(const Mortal_Thread&) = delete;
    Mortal_Thread& operator=(const Mortal_Thread&) = delete;

    void kill(); ///< and waits for its end

private:
    struct System;
    void join();

    const std::function<void()> function_;
    std::unique_ptr<System> system_;
};

} // namespace kr_platform_testing

#pragma once

/// \file
/// One store for the threads that analyse, one at a time of them.
///
/// Threads: any. A thread that waits longer than 10 seconds for another is told of in the log
/// (KR_GUARD).

#include "../store/Object_Store.h"

#include <KRCommon/frame/Mutex.h>

namespace video_search {

class Shared_Store {
public:
    /// store  must live as long
    explicit Shared_Store(Object_Store& store) : store_(store) {}

    /// Calls the function with the store, and gives what it gives.
    template <class Function>
    auto use(Function function)
    {
        KR_GUARD(mutex_);
        return function(store_);
    }

private:
    KR_Mutex_Ex<ACE_Process_Mutex> mutex_;
    Object_Store& store_;
};

} // namespace video_search

#pragma once

/// \file
/// Stores to read from, each lent to one thread at a time. As many searches run at once as there are
/// stores; the others wait for their turn, in the order in which they came.
///
/// Threads: all functions may be called from any.

#include "store/Object_Store.h"

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace video_search {

class Store_Pool {
public:
    /// Opens the first store: Failure where that is not possible. The others are opened when needed.
    Store_Pool(std::string path, std::size_t most);

    /// A store for as long as this lives.
    class Lease {
    public:
        Lease(Store_Pool& pool, std::unique_ptr<Object_Store> store)
            : pool_(pool), store_(std::move(store))
        {
        }
        ~Lease() { pool_.give_back(std::move(store_)); }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        Object_Store& operator*() const noexcept { return *store_; }
        Object_Store* operator->() const noexcept { return store_.get(); }

    private:
        Store_Pool& pool_;
        std::unique_ptr<Object_Store> store_;
    };

    /// Throws Api_Error with status 503 when no store is free until the deadline, and Failure.
    [[nodiscard]] Lease lend(std::chrono::steady_clock::time_point deadline);

private:
    struct Waiter {
        std::condition_variable may_be_turn;
    };

    void wait_for_turn(std::unique_lock<std::mutex>& lock,
                       std::chrono::steady_clock::time_point deadline);
    void tell_next();
    void give_back(std::unique_ptr<Object_Store> store);

    const std::string path_;
    std::mutex mutex_;          // guards the next three
    std::list<Waiter> waiting_; // in the order of their turns
    std::vector<std::unique_ptr<Object_Store>> free_;
    std::size_t unopened_;
};

} // namespace video_search

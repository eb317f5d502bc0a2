#pragma once

/// \file
/// Stores to read from, each lent to one thread at a time. As many searches run at once as there are
/// stores; the others wait for their turn, in the order in which they came. Where another file has taken
/// the place of the store's, that one is opened.
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
    struct Opened {
        std::unique_ptr<Object_Store> store;
        std::size_t edition = 0;
    };

public:
    /// Opens the first store: Failure where that is not possible. The others are opened when needed.
    Store_Pool(std::string path, std::size_t most);

    /// A store for as long as this lives.
    class Lease {
    public:
        Lease(Store_Pool& pool, Opened opened) : pool_(pool), opened_(std::move(opened)) {}
        ~Lease() { pool_.give_back(std::move(opened_)); }
        Lease(const Lease&) = delete;
        Lease& operator=(const Lease&) = delete;
        Object_Store& operator*() const noexcept { return *opened_.store; }
        Object_Store* operator->() const noexcept { return opened_.store.get(); }
        /// Another number after another file has taken the place of the store's.
        [[nodiscard]] std::size_t edition() const noexcept { return opened_.edition; }

    private:
        Store_Pool& pool_;
        Opened opened_;
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
    Opened take_free();
    Lease open(Opened last);
    std::size_t edition_after(std::size_t edition);
    void give_back(Opened opened) noexcept;

    const std::string path_;
    std::mutex mutex_;          // guards the next four
    std::list<Waiter> waiting_; // in the order of their turns
    std::vector<Opened> free_;  // all of the edition
    std::size_t unopened_;
    std::size_t edition_ = 0;
};

} // namespace video_search

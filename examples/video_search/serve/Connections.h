#pragma once

/// \file
/// The connections that are open, and which of them wait for their clients. A client that stalls holds
/// its place only until another one needs it.
///
/// Threads: all functions may be called from any at once; a Place belongs to one thread.

#include <ace/config-macros.h>

#include <chrono>
#include <cstddef>
#include <list>
#include <mutex>

namespace video_search {

class Connections {
    struct Entry;

public:
    using Clock = std::chrono::steady_clock;

    Connections() = default;
    Connections(const Connections&) = delete;
    Connections& operator=(const Connections&) = delete;

    /// What a connection waits for, the least patience first.
    enum class Wait {
        none,    ///< for nothing of its client's: a request is being answered
        request, ///< for the first byte of the next request
        client,  ///< for the rest of a request, or for the client to take its response
    };

    /// A connection as long as this lives. The handle is closed later.
    class Place {
    public:
        Place(Connections& all, ACE_HANDLE handle);
        ~Place();
        Place(const Place&) = delete;
        Place& operator=(const Place&) = delete;

        void set(Wait wait);
        /// Whether it was ended by one of the functions below.
        [[nodiscard]] bool is_ended() const;

    private:
        Connections& all_;
        std::list<Entry>::iterator entry_;
    };

    /// Ends the connection that has waited longest for a request, else the one that has waited longest
    /// for its client, for a second at least. False when there is none.
    bool end_one();

    /// Ends all that there are, and from now on each that comes.
    void end_all();

    [[nodiscard]] std::size_t count() const;
    /// How many end_one() has ended.
    [[nodiscard]] std::size_t ended() const;

private:
    struct Entry {
        ACE_HANDLE handle;
        Wait wait = Wait::request;
        Clock::time_point since = Clock::now();
        bool is_ended = false;
    };

    static void end(Entry& entry);

    mutable std::mutex mutex_; // guards all below
    std::list<Entry> entries_;
    std::size_t ended_ = 0;
    bool is_over_ = false;
};

} // namespace video_search

#pragma once

/// \file
/// The lines of many log files in the order of time. Threads: one at a time.

#include "Log_Set.h"
#include "Part_Reader.h"

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace krtool {

/// One file that is being read.
struct Log_Stream {
    Log_Part part;
    std::string chain;
    std::size_t order = 0; // of its begin: decides between lines of the same time
    std::unique_ptr<Part_Reader> reader;
    bool awaits_overlap = false; // the next part begins before this one ends
    bool is_finished = false;    // at its end there is nothing to wait for
    bool has_taken = false;      ///< the user's notes: whether there was a line with a head,
    bool was_shown = false;      ///< and whether the record before was shown
};

/// Of each chain one part is open at a time, two where they overlap or may grow, so memory does not
/// grow with the files.
class Log_Merge {
public:
    struct Options {
        bool is_growing = false; ///< run() may be called again, and then gives what came meanwhile
        bool gives_runs = false; ///< a record may be several lines, of which the first is told
        bool is_at_end =
            false; ///< the last part of each chain from its end on, the others not at all
        std::optional<Local_Time> since; ///< parts that end long before are not opened
        std::optional<Local_Time> until; ///< nor those that begin after it
    };

    /// What goes wrong without ending the work, one sentence each.
    using Warn = std::function<void(const std::string&)>;
    using Take = std::function<void(const Log_Record&, Log_Stream&)>;

    Log_Merge(Options options, Warn warn) : options_(options), warn_(std::move(warn)) {}

    /// Takes up what there is new: chains, and parts behind the last known one of a chain.
    void update(const std::vector<Log_Chain>& found);

    /// Looks which files stand no more under their names, gives what is left of them at the next run(),
    /// and begins anew with what stands there now.
    void find_replaced();

    /// Gives all there is. Throws Failure.
    void run(const Take& take);

private:
    using Stream = std::unique_ptr<Log_Stream>;

    struct Chain {
        std::vector<Log_Part> waiting; // the next one last
        std::optional<Log_Part> last;
        std::optional<Log_Part> lost; // the last one, while no file has its name
        Line_Clock clock;
        std::size_t newest = 0; // the order of the part that was opened last
        bool is_newest_in_heap = false;
    };

    // A stream with a record, and where that belongs: what nearly always decides is at hand.
    struct Waiting {
        Local_Time place = 0;
        Stream stream;
    };

    void add_parts(Chain& chain, std::vector<Log_Part> parts) const;
    void drop_parts_out_of_time(std::vector<Log_Part>& parts) const;
    bool open_next(const std::string& key);
    Stream open(const std::string& key, const Log_Part& part, bool is_at_end);
    void queue(Stream stream);
    void wake_idle();
    void look_for_replacement(Stream stream);
    void end(Stream stream);
    void open_overlapping(Log_Stream& stream);
    void put_first_in_place() noexcept;
    Stream remove_first();
    [[nodiscard]] Local_Time place_of_second() const noexcept;
    static bool comes_later(const Waiting& a, const Waiting& b) noexcept;

    Options options_;
    Warn warn_;
    std::map<std::string, Chain> chains_;
    std::vector<Waiting> heap_; // the earliest first
    std::vector<Stream> idle_;  // at their end, for now
    std::size_t opened_ = 0;
    bool is_first_update_ = true;
};

} // namespace krtool

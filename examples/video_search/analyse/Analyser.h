#pragma once

/// \file
/// The component that analyses recordings and cameras: each on a thread of its own, all into one
/// store; the reactor's thread shows the progress.
///
///     Video video(path);                    // first, so that bad input leaves no store behind
///     Store store(path, Store::Access::write); // or another Object_Store
///     Analyser analyser(host, store, {{&video, settings}});
///     const bool has_run = host.run(analyser);
///     const Analysis analysis = analyser.result(0); // throws what went wrong
///
/// It ends the host's run when all have come to their end.
///
/// Threads: construct and destroy on one thread; status() may be called from any; result() when
/// host.run() has returned. Sources and store belong to the component's threads while it runs.

#include "../host/Host.h"
#include "../store/Object_Store.h"
#include "Progress.h"
#include "Shared_Store.h"
#include "Worker.h"

#include <KRCommon/frame/Component_Base.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <thread>
#include <vector>

namespace video_search {

/// One source, and how it is analysed.
struct Job {
    Source* source = nullptr;
    Analysis_Settings settings;
};

class Analyser final : public KR_Component_Base {
public:
    /// jobs  at least one; the run of the first is the host's. Their sources must live as long as
    ///       the component, and so must host and store
    Analyser(Host& host, Object_Store& store, const std::vector<Job>& jobs);
    ~Analyser() override;

    /// How far all of them are together.
    Status status();

    /// How many there are.
    std::size_t count() const noexcept { return workers_.size(); }

    /// What came out of one, see Worker::result().
    Analysis result(std::size_t job) const { return workers_.at(job)->result(); }

private:
    State do_component_start(ACE_Reactor* reactor) override;
    State do_component_stop() override;
    void start_threads();
    void end_threads();

    Host& host_;
    Shared_Store store_;
    const std::vector<Job> jobs_;
    std::vector<std::unique_ptr<Worker>> workers_; // one each job
    Progress progress_;
    std::vector<std::thread> threads_;
    std::atomic<std::size_t> running_{0};
};

} // namespace video_search

#pragma once

/// \file
/// The search as a component: it searches on a thread of its own, writes what is to be written and
/// ends the host. When it is stopped before, nothing is written. A store without index, of an earlier
/// version say, gets one first, with a progress bar on stderr; where that is not possible the search
/// goes through the records.
///
/// Threads: construct, start, stop, take() and destroy on one thread, that of the host.

#include "../host/Host.h"
#include "Options.h"
#include "Page.h"
#include "Query.h"

#include <KRCommon/frame/Component_Base.h>
#include <KRCommon/frame/Mutex.h>

#include <atomic>
#include <exception>
#include <optional>
#include <thread>

namespace video_search {

class Search_Service final : public KR_Component_Base {
public:
    /// The host must live longer.
    Search_Service(Host& host, const Options& options);
    ~Search_Service() override;

    /// What was found, once and after Host::run(). Nothing when the search was stopped before its
    /// end. Throws what made it fail.
    [[nodiscard]] std::optional<Result> take();

private:
    State do_component_start(ACE_Reactor* reactor) override;
    State do_component_stop() override;

    void work() noexcept;
    std::optional<Page> find();
    std::vector<Scene> scenes(Object_Store& store, const Result& result);
    void write(const Page& page);
    void share(std::optional<Result> result, std::exception_ptr failure);
    bool is_stopped() const noexcept;

    Host& host_;
    const Options options_;
    std::atomic<bool> is_stopping_{false};
    std::thread worker_;
    KR_Mutex_Ex<ACE_Process_Mutex> outcome_mutex_; // guards the outcome, the next two
    std::optional<Result> result_;
    std::exception_ptr failure_;
};

} // namespace video_search

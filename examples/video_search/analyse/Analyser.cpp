#include "Analyser.h"

#include <opencv2/core/utility.hpp>

#include <system_error>

namespace video_search {

Analyser::Analyser(Host& host, Object_Store& store, const std::vector<Job>& jobs)
    : KR_Component_Base("analyser"), host_(host), store_(store), jobs_(jobs),
      progress_([this] { return status(); })
{
    for (const Job& job : jobs_)
        workers_.push_back(std::make_unique<Worker>(
            *job.source, store_, job.settings, workers_.empty() ? host.run_id() : make_run_id(),
            host.profile()));
}

Analyser::~Analyser()
{
    if (get_state() != STATE_STOPPED)
        component_stop();
}

KR_Component_Base::State Analyser::do_component_start(ACE_Reactor* reactor)
{
    cv::setNumThreads(1); // the same order of sums each time, and one thread a source
    if (!progress_.start(reactor))
        return STATE_STOPPED;
    try {
        start_threads();
    } catch (const std::system_error&) { // no thread to be had
        end_threads();
        progress_.stop();
        return STATE_STOPPED;
    }
    return STATE_STARTED;
}

// The threads never ask for the state, so that waiting for them under the lock is safe.
KR_Component_Base::State Analyser::do_component_stop()
{
    end_threads();
    progress_.stop();
    return STATE_STOPPED;
}

void Analyser::start_threads()
{
    running_ = workers_.size();
    for (const std::unique_ptr<Worker>& worker : workers_)
        threads_.emplace_back([this, &worker] {
            worker->run();
            if (--running_ == 0)
                host_.end();
        });
}

void Analyser::end_threads()
{
    for (const Job& job : jobs_)
        job.source->stop();
    for (std::thread& thread : threads_)
        thread.join();
    threads_.clear();
}

Status Analyser::status()
{
    Status all;
    all.total = 0;
    for (const std::unique_ptr<Worker>& worker : workers_) {
        const Status one = worker->status();
        all.frames += one.frames;
        all.objects += one.objects;
        all.away += one.away;
        all.total = all.total && one.total ? std::optional(*all.total + *one.total) : std::nullopt;
    }
    return all;
}

} // namespace video_search

#pragma once

/// \file
/// The service as a component: it listens from its start to its stop.
///
/// Threads: construct, start, stop and destroy on one thread, that of the host.

#include "Http_Server.h"
#include "Serve_Options.h"
#include "Web_Api.h"
#include "host/Host.h"

#include <KRCommon/frame/Component_Base.h>

#include <string>
#include <thread>

namespace video_search {

class Serve_Component final : public KR_Component_Base {
public:
    /// Opens the store and takes the port. The host must live longer. Failure where that is not
    /// possible.
    Serve_Component(Host& host, const Serve_Options& options);
    ~Serve_Component() override;

    /// "http://127.0.0.1:8080/"
    [[nodiscard]] std::string address() const;

private:
    State do_component_start(ACE_Reactor* reactor) override;
    State do_component_stop() override;
    void serve() noexcept;
    [[nodiscard]] std::string metrics() const;

    Host& host_;
    const Serve_Options options_;
    Web_Api api_;
    Http_Server server_;
    const int port_;
    std::thread listener_;
};

} // namespace video_search

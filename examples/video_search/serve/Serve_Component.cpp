#include "Serve_Component.h"

#include <KRCommon/frame/Log.h>

#include <system_error>

namespace video_search {

namespace {

std::string token_of(const Serve_Options& options)
{
    return options.token_file.empty() ? std::string() : read_token(options.token_file);
}

int take_port(Http_Server& server, const Serve_Options& options)
{
    const int port = server.bind(options.address, options.port);
    if (port == 0)
        throw Failure("cannot listen on " + options.address + ", port " +
                      std::to_string(options.port));
    return port;
}

} // namespace

Serve_Component::Serve_Component(Host& host, const Serve_Options& options)
    : KR_Component_Base("serve"), host_(host), options_(options),
      api_(options, token_of(options), host.profile()),
      server_(options.limits, Web_Api::soap_path,
              [this](const httplib::Request& request, httplib::Response& response) {
                  api_.answer(request, response);
              }),
      port_(take_port(server_, options))
{
    api_.set_server_metrics([this] { return metrics(); });
}

Serve_Component::~Serve_Component()
{
    if (get_state() != STATE_STOPPED)
        component_stop();
}

std::string Serve_Component::address() const
{
    const bool is_v6 = options_.address.find(':') != std::string::npos;
    return "http://" + (is_v6 ? '[' + options_.address + ']' : options_.address) + ':' +
           std::to_string(port_) + '/';
}

KR_Component_Base::State Serve_Component::do_component_start(ACE_Reactor*)
{
    try {
        listener_ = std::thread([this] { serve(); });
    } catch (const std::system_error& error) {
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR serve: no thread: %s\n", error.what());
        return STATE_STOPPED;
    }
    kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF serve: listens on %s\n", address());
    return STATE_STARTED;
}

KR_Component_Base::State Serve_Component::do_component_stop()
{
    api_.stop();
    server_.stop();
    listener_.join();
    return STATE_STOPPED;
}

void Serve_Component::serve() noexcept
{
    if (server_.serve())
        return;
    kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR serve: cannot take connections any more\n");
    host_.end();
}

std::string Serve_Component::metrics() const
{
    return metric("kr_serve_connections", "Connections that are open.", "gauge",
                  server_.connections().count()) +
           metric("kr_serve_connections_ended_total", "Ended in favour of another one.", "counter",
                  server_.connections().ended()) +
           metric("kr_serve_connections_refused_total", "Refused, since there was no place.",
                  "counter", server_.refused());
}

} // namespace video_search

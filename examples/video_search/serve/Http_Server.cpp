#include "Http_Server.h"

#include <ace/ACE.h>
#include <ace/OS_NS_sys_socket.h>
#include <ace/OS_NS_unistd.h>
#include <ace/Time_Value.h>

#include <algorithm>
#include <chrono>
#include <string_view>
#include <thread>
#include <utility>

namespace video_search {

namespace {

// What a thread is busy with.
struct Exchange {
    Client_Stream* stream = nullptr;
    bool is_request = false;   // what came could be read as one
    bool is_ambiguous = false; // others might read it as another one
    bool has_unread_body = false;
};

thread_local Exchange exchange;

ACE_HANDLE handle_of(socket_t socket)
{
    return reinterpret_cast<ACE_HANDLE>(socket);
}

// A new server may take the port while connections of the last one are still being forgotten, but no
// server may take it beside another one.
void own_port(socket_t socket)
{
    const int yes = 1;
#ifdef SO_EXCLUSIVEADDRUSE
    constexpr int option = SO_EXCLUSIVEADDRUSE;
#else
    constexpr int option = SO_REUSEADDR;
#endif
    ACE_OS::setsockopt(handle_of(socket), SOL_SOCKET, option, reinterpret_cast<const char*>(&yes),
                       sizeof yes);
}

std::string json_of_error(const std::string& code, const std::string& message)
{
    return R"({"schema_version": 1, "error": {"code": ")" + code + R"(", "message": ")" + message +
           "\", \"parameter\": null}}\n";
}

std::string error_text(int status)
{
    if (status == 413)
        return json_of_error("too_large", "the body is too large");
    return json_of_error("bad_request", "the request cannot be read");
}

// For clients with whom httplib does not get as far as a response.
std::string bare_response(int status, const std::string& reason, const std::string& code,
                          const std::string& message)
{
    const std::string body = json_of_error(code, message);
    return "HTTP/1.1 " + std::to_string(status) + ' ' + reason +
           "\r\nContent-Type: application/json\r\nConnection: close\r\nRetry-After: 1\r\n"
           "Content-Length: " +
           std::to_string(body.size()) + "\r\n\r\n" + body;
}

} // namespace

Http_Server::Http_Server(const Limits& limits, std::string soap_path, Answer answer)
    : limits_(limits), soap_path_(std::move(soap_path)), answer_(std::move(answer))
{
    new_task_queue = [this] { return new Client_Threads(limits_.clients, connections_); };
    set_tcp_nodelay(true); // else a call on a kept connection waits for the one before
    set_socket_options(own_port);
    set_payload_max_length(limits_.body_bytes);
    set_keep_alive_max_count(limits_.requests_per_connection); // told to clients, as the next one
    set_keep_alive_timeout(std::chrono::duration_cast<std::chrono::seconds>(limits_.idle).count());
    set_error_handler([](const httplib::Request&, httplib::Response& response) {
        if (response.body.empty()) // httplib's own
            response.set_content(error_text(response.status), "application/json");
    });
    set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
        return route(request, response);
    });
    Post(soap_path_, [this](const httplib::Request& request, httplib::Response& response) {
        exchange.has_unread_body = false;
        exchange.stream->begin_response();
        answer_(request, response);
    });
}

Http_Server::~Http_Server() = default;

Client_Stream& Http_Server::stream()
{
    return *exchange.stream;
}

int Http_Server::bind(const std::string& address, int port)
{
    const int bound =
        port != 0 ? (bind_to_port(address, port) ? port : 0) : bind_to_any_port(address);
    if (bound <= 0)
        return 0;
    constexpr int backlog = 128; // httplib's 5 makes clients who come together wait for seconds
    ::listen(svr_sock_, backlog);
    return bound;
}

bool Http_Server::serve()
{
    const bool is_good = is_stopping_ || listen_after_bind();
    has_ended_ = true;
    return is_good || is_stopping_;
}

void Http_Server::stop()
{
    is_stopping_ = true;
    connections_.end_all();
    while (!has_ended_) { // it may be about to begin
        Server::stop();
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

bool Http_Server::process_and_close_socket(socket_t socket)
{
    if (Client_Threads::refuses()) {
        ++refused_;
        const std::string text =
            bare_response(503, "Service Unavailable", "busy", "there are too many clients");
        const ACE_Time_Value at_once(0, 1000);
        ACE::send_n(handle_of(socket), text.data(), text.size(), &at_once);
        ACE_OS::shutdown(handle_of(socket), ACE_SHUTDOWN_WRITE);
    } else {
        serve_connection(socket);
    }
    ACE_OS::closesocket(handle_of(socket));
    return true;
}

void Http_Server::serve_connection(socket_t socket)
{
    Connections::Place place(connections_, handle_of(socket));
    Client_Stream stream(socket, limits_, place);
    bool goes_on = true;
    for (std::size_t k = 1; goes_on && !is_stopping_ && stream.await_request(); ++k) {
        exchange = {&stream, false, false, false};
        goes_on = serve_request(stream, k == limits_.requests_per_connection);
        exchange = {};
    }
}

// Whether the connection is good for another one.
bool Http_Server::serve_request(Client_Stream& stream, bool is_last)
{
    bool is_closed = false;
    const bool is_done = process_request(stream, is_last, is_closed,
                                         [&](httplib::Request& each) { prepare(each, stream); });
    if (!is_done && stream.is_refused()) {
        stream.begin_response();
        const std::string text = bare_response(431, "Request Header Fields Too Large", "too_large",
                                               "the request is too large");
        stream.write(text.data(), text.size());
    }
    const bool is_whole = exchange.is_request && !exchange.has_unread_body && !stream.is_refused();
    if (!is_whole)
        stream.drain();
    return is_done && !is_closed && !is_last && is_whole;
}

namespace {

bool is_token(const std::string& name)
{
    constexpr std::string_view marks = "!#$%&'*+-.^_`|~";
    return std::all_of(name.begin(), name.end(), [&](char c) {
        const bool is_letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        return is_letter || (c >= '0' && c <= '9') || marks.find(c) != std::string_view::npos;
    });
}

// Where a proxy reads another end of the request than this service, what is left of it would be taken
// for the request of another client.
bool is_ambiguous(const httplib::Request& request, const Client_Stream& stream)
{
    const std::size_t lengths = request.get_header_value_count("Content-Length");
    const std::size_t codings = request.get_header_value_count("Transfer-Encoding");
    const std::string length = request.get_header_value("Content-Length");
    const bool has_clear_length =
        lengths == 0 || (!length.empty() && length.find_first_not_of("0123456789") == length.npos);
    return stream.has_bare_line_feed() || lengths + codings > 1 || !has_clear_length ||
           !std::all_of(request.headers.begin(), request.headers.end(),
                        [](const auto& header) { return is_token(header.first); });
}

} // namespace

// Ranges of ranges and compressed answers cost more than they are worth here.
void Http_Server::prepare(httplib::Request& request, Client_Stream& stream) const
{
    request.ranges.clear();
    request.headers.erase("Range");
    request.headers.erase("Accept-Encoding");
    const bool is_soap = request.method == "POST" && request.path == soap_path_;
    exchange.is_ambiguous = is_ambiguous(request, stream);
    const std::string length = request.get_header_value("Content-Length");
    exchange.is_request = true;
    exchange.has_unread_body = request.method == "POST" || exchange.is_ambiguous ||
                               request.has_header("Transfer-Encoding") ||
                               !(length.empty() || length == "0");
    if (is_soap)
        stream.allow(limits_.body_bytes);
}

namespace {

bool has_end(const httplib::Request& request)
{
    return request.has_header("Content-Length") ||
           request.get_header_value("Transfer-Encoding") == "chunked";
}

} // namespace

bool Http_Server::takes_body(const httplib::Request& request) const
{
    return request.method == "POST" && request.target == soap_path_ && has_end(request) &&
           request.get_header_value("Content-Type").rfind("text/xml", 0) == 0 &&
           !request.has_header("Content-Encoding");
}

// A body goes through httplib, which reads it; the rest is answered here, without the regular
// expressions of its routes.
httplib::Server::HandlerResponse Http_Server::route(const httplib::Request& request,
                                                    httplib::Response& response)
{
    if (takes_body(request) && !exchange.is_ambiguous)
        return HandlerResponse::Unhandled;
    exchange.stream->begin_response();
    if (exchange.is_ambiguous) {
        response.status = 400;
        return HandlerResponse::Handled; // the error handler fills it
    }
    answer_(request, response);
    return HandlerResponse::Handled;
}

} // namespace video_search

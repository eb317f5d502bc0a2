#include "Client_Stream.h"

#include <ace/ACE.h>
#include <ace/INET_Addr.h>
#include <ace/OS_NS_errno.h>
#include <ace/OS_NS_sys_socket.h>
#include <ace/SOCK_Stream.h>
#include <ace/Time_Value.h>

#include <algorithm>
#include <cstring>

namespace video_search {

namespace {

// A part of the time that is left.
ACE_Time_Value until(std::chrono::steady_clock::time_point end)
{
    using std::chrono::milliseconds;
    constexpr milliseconds least(1);
    constexpr milliseconds most(250);
    const auto left =
        std::chrono::duration_cast<milliseconds>(end - std::chrono::steady_clock::now());
    ACE_Time_Value time;
    time.msec(static_cast<long>(std::clamp(left, least, most).count()));
    return time;
}

// Into a text of the caller's: without one ACE writes into an array that all threads share.
void tell(const ACE_INET_Addr& address, std::string& ip, int& port)
{
    char text[64];
    const char* const host = address.get_host_addr(text, sizeof text);
    ip = host != nullptr ? host : "";
    port = address.get_port_number();
}

} // namespace

Client_Stream::Client_Stream(socket_t socket, const Limits& limits, Connections::Place& place)
    : socket_(socket), limits_(limits), place_(place)
{
}

ACE_HANDLE Client_Stream::handle() const noexcept
{
    return reinterpret_cast<ACE_HANDLE>(socket_);
}

// What was read too much belongs to the next request.
bool Client_Stream::await_request()
{
    place_.set(Connections::Wait::request);
    if (begin_ == end_ && !fill(Clock::now() + limits_.idle))
        return false;
    place_.set(Connections::Wait::client);
    allowed_ = limits_.head_bytes;
    is_refused_ = false;
    has_bare_line_feed_ = false;
    deadline_ = Clock::now() + limits_.request;
    return true;
}

// Whoever waits looks now and then whether the connection was ended: not every system wakes it then.
bool Client_Stream::may_wait(Clock::time_point end) const
{
    return !is_broken_ && Clock::now() < end && !place_.is_ended();
}

bool Client_Stream::fill(Clock::time_point end)
{
    ssize_t count = -1;
    bool is_late = true;
    while (is_late && may_wait(end)) {
        const ACE_Time_Value wait = until(end);
        count = ACE::recv(handle(), buffer_.data(), buffer_.size(), &wait);
        is_late = count < 0 && ACE_OS::last_error() == ETIME;
    }
    begin_ = 0;
    end_ = count > 0 ? static_cast<std::size_t>(count) : 0;
    is_broken_ = count <= 0;
    return count > 0;
}

ssize_t Client_Stream::read(char* data, size_t size)
{
    if (allowed_ == 0) {
        is_refused_ = true;
        return -1;
    }
    if (begin_ == end_ && !fill(deadline_))
        return -1;
    const std::size_t count = std::min({size, end_ - begin_, allowed_});
    std::memcpy(data, buffer_.data() + begin_, count);
    begin_ += count;
    allowed_ -= count;
    for (std::size_t k = 0; k < count; ++k) {
        has_bare_line_feed_ = has_bare_line_feed_ || (data[k] == '\n' && last_read_ != '\r');
        last_read_ = data[k];
    }
    return static_cast<ssize_t>(count);
}

void Client_Stream::begin_response()
{
    place_.set(Connections::Wait::none);
    is_first_write_ = true;
    has_end_ = true;
}

void Client_Stream::begin_events()
{
    place_.set(Connections::Wait::none);
    has_end_ = false;
}

bool Client_Stream::is_writable() const
{
    return !is_broken_;
}

// The whole of it, or an error. In pieces, so that the time is looked at between them.
ssize_t Client_Stream::write(const char* data, size_t size)
{
    if (has_end_)
        place_.set(Connections::Wait::client);
    if (is_first_write_)
        deadline_ = Clock::now() + limits_.response;
    is_first_write_ = false;
    constexpr std::size_t piece = 65'536;
    for (std::size_t done = 0; done < size && !is_broken_;)
        done += send(data + done, std::min(piece, size - done));
    return is_broken_ ? -1 : static_cast<ssize_t>(size);
}

std::size_t Client_Stream::send(const char* data, std::size_t size)
{
    const Clock::time_point end = has_end_ ? deadline_ : Clock::now() + limits_.response;
    std::size_t done = 0;
    while (done < size && may_wait(end)) {
        const ACE_Time_Value wait = until(end);
        std::size_t sent = 0;
        const ssize_t count = ACE::send_n(handle(), data + done, size - done, &wait, &sent);
        done += sent;
        is_broken_ = count <= 0 && ACE_OS::last_error() != ETIME;
    }
    is_broken_ = is_broken_ || done < size;
    return done;
}

// Looks at what has come, and leaves it there.
bool Client_Stream::is_gone() const
{
    char byte = 0;
    const ssize_t count = ACE::recv(handle(), &byte, 1, MSG_PEEK, &ACE_Time_Value::zero);
    return is_broken_ || place_.is_ended() || count == 0 ||
           (count < 0 && ACE_OS::last_error() != ETIME);
}

// Whoever closes with bytes unread may take back what was sent last.
void Client_Stream::drain()
{
    ACE_OS::shutdown(handle(), ACE_SHUTDOWN_WRITE);
    deadline_ = Clock::now() + std::chrono::seconds(1);
    allowed_ = limits_.body_bytes;
    begin_ = end_ = 0;
    while (allowed_ > 0 && fill(deadline_))
        allowed_ -= std::min(allowed_, end_);
}

void Client_Stream::get_remote_ip_and_port(std::string& ip, int& port) const
{
    ACE_INET_Addr address;
    const ACE_SOCK_Stream stream(handle());
    if (stream.get_remote_addr(address) != 0)
        return;
    tell(address, ip, port);
}

void Client_Stream::get_local_ip_and_port(std::string& ip, int& port) const
{
    ACE_INET_Addr address;
    const ACE_SOCK_Stream stream(handle());
    if (stream.get_local_addr(address) != 0)
        return;
    tell(address, ip, port);
}

} // namespace video_search

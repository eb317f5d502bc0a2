#include <KRCommon/platform/linux/Syslog.h>

#include <KRCommon/platform/linux/Descriptor.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>

namespace kr_platform {

namespace {

class Deadline {
public:
    explicit Deadline(int milliseconds) noexcept
        : end_(Clock::now() + std::chrono::milliseconds(milliseconds))
    {
    }

    // Milliseconds, rounded up; 0 when it has passed.
    int left() const noexcept
    {
        using std::chrono::milliseconds;
        const auto left = std::chrono::ceil<milliseconds>(end_ - Clock::now());
        return static_cast<int>(std::max<milliseconds::rep>(left.count(), 0));
    }

private:
    using Clock = std::chrono::steady_clock;
    const Clock::time_point end_;
};

// "Mmm dd hh:mm:ss" whatever the locale.
std::string stamp()
{
    constexpr const char* months[] = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                      "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
    const std::time_t now = std::time(nullptr);
    std::tm time{};
    localtime_r(&now, &time);
    char text[64];
    std::snprintf(text, sizeof text, "%s %2d %02d:%02d:%02d", months[time.tm_mon], time.tm_mday,
                  time.tm_hour, time.tm_min, time.tm_sec);
    return text;
}

// Waits until the socket takes more, or its peer has gone. False when the time is over.
bool wait_for_room(const Descriptor& socket, const Deadline& deadline) noexcept
{
    pollfd waiting{socket.number(), POLLOUT, 0};
    while (const int left = deadline.left()) {
        const int ready = poll(&waiting, 1, left);
        if (ready != -1 || errno != EINTR)
            return ready > 0;
    }
    return false;
}

int connect_to(const char* path, const Descriptor& socket, const Deadline& deadline) noexcept
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::size_t length = std::strlen(path);
    if (length >= sizeof address.sun_path)
        return ENAMETOOLONG;
    std::memcpy(address.sun_path, path, length);
    while (connect(socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address) !=
           0) {
        if (errno == EINTR)
            continue;
        if (errno != EAGAIN)
            return errno;
        // A stream whose daemon does not accept; there is nothing to poll for.
        if (deadline.left() == 0)
            return ETIMEDOUT;
        poll(nullptr, 0, std::min(deadline.left(), 10));
    }
    return 0;
}

int send_all(const Descriptor& socket, std::string_view bytes, const Deadline& deadline) noexcept
{
    while (!bytes.empty()) {
        const ssize_t sent =
            ::send(socket.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0)
            bytes.remove_prefix(static_cast<std::size_t>(sent)); // of a datagram it is all
        else if (errno == EAGAIN && !wait_for_room(socket, deadline))
            return ETIMEDOUT;
        else if (errno != EAGAIN && errno != EINTR)
            return errno;
    }
    return 0;
}

// EPROTOTYPE: the daemon's socket is of the other type.
int send_by(int type, const char* path, std::string_view bytes, const Deadline& deadline) noexcept
{
    const Descriptor socket(::socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!socket.is_open())
        return errno;
    if (const int error = connect_to(path, socket, deadline))
        return error;
    return send_all(socket, bytes, deadline);
}

} // namespace

int Syslog::send(int priority, const std::string& text)
{
    const std::string record = '<' + std::to_string(priority) + '>' + stamp() + ' ' +
                               program_invocation_short_name + ": " + text;
    const Deadline deadline(is_stuck_ ? 0 : patience_);
    int error = send_by(SOCK_DGRAM, path_, record, deadline);
    if (error == EPROTOTYPE) // records of a stream end in a zero
        error = send_by(SOCK_STREAM, path_, {record.c_str(), record.size() + 1}, deadline);
    if (error == 0)
        is_stuck_ = false;
    else if (error == ETIMEDOUT)
        is_stuck_ = true;
    return error;
}

} // namespace kr_platform

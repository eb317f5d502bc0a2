#include <KRCommon/platform/Event_Source_testing.h>

#include <cerrno>
#include <cstring>
#include <ctime>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

namespace kr_platform_testing {

bool has_registry()
{
    return false;
}

bool key_exists(const std::string&)
{
    return false;
}

std::vector<std::string> value_names(const std::string&)
{
    return {};
}

std::vector<std::string> subkey_names(const std::string&)
{
    return {};
}

std::optional<Registry_Value> read_value(const std::string&, const std::string&)
{
    return std::nullopt;
}

void delete_key(const std::string&) {}

bool enter_folder(const std::string& path)
{
    return chdir(path.c_str()) == 0;
}

namespace {

// Where the C library sends to. Never takes the place of a socket that is there. Senders are told
// apart, since other programs may find the socket as well.
class Log_Socket final : public System_Log {
public:
    Log_Socket() : socket_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        const int on = 1;
        setsockopt(socket_, SOL_SOCKET, SO_PASSCRED, &on, sizeof on);
    }

    ~Log_Socket() override
    {
        if (is_bound_)
            unlink(path);
        close(socket_);
    }

    bool bind()
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strcpy(address.sun_path, path);
        is_bound_ =
            ::bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
        return is_bound_;
    }

    std::string receive() override
    {
        pollfd waiting{socket_, POLLIN, 0};
        while (poll(&waiting, 1, 5000) == 1) {
            char record[16'384];
            iovec part{record, sizeof record};
            alignas(cmsghdr) char control[CMSG_SPACE(sizeof(ucred))];
            msghdr message{};
            message.msg_iov = &part;
            message.msg_iovlen = 1;
            message.msg_control = control;
            message.msg_controllen = sizeof control;
            const ssize_t size = recvmsg(socket_, &message, 0);
            if (size > 0 && sender_of(message) == getpid())
                return {record, static_cast<std::size_t>(size)};
        }
        return {};
    }

    void send_by_runtime(int level, const std::string& text) override
    {
        syslog(level, "%s", text.c_str());
        closelog();
    }

private:
    static pid_t sender_of(const msghdr& message)
    {
        const cmsghdr* const header = CMSG_FIRSTHDR(&message);
        if (header == nullptr || header->cmsg_type != SCM_CREDENTIALS)
            return -1;
        ucred sender{};
        std::memcpy(&sender, CMSG_DATA(header), sizeof sender);
        return sender.pid;
    }

    static constexpr const char* path = "/dev/log";

    int socket_;
    bool is_bound_ = false;
};

} // namespace

std::unique_ptr<System_Log> System_Log::open()
{
    auto log = std::make_unique<Log_Socket>();
    const timespec pause{0, 100'000'000};
    for (int i = 0; i < 20; ++i) {
        if (log->bind())
            return log;
        if (errno != EADDRINUSE)
            return nullptr;
        nanosleep(&pause, nullptr);
    }
    return nullptr;
}

} // namespace kr_platform_testing

#include <KRCommon/platform/linux/Syslog.h>

#include <KRCommon/platform/Platform_testing.h>
#include <tests/support/Log_Text_Matching.h>
#include <tests/support/Temp_Folder.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <poll.h>
#include <set>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using kr_platform::Syslog;

constexpr int patience = 300; // milliseconds

std::int64_t milliseconds_of(const std::chrono::steady_clock::duration& duration)
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(duration).count();
}

// A daemon that reads only when it is told to.
class Daemon {
public:
    Daemon(const std::string& path, int type) : socket_(::socket(AF_UNIX, type | SOCK_CLOEXEC, 0))
    {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        EXPECT_LT(path.size(), sizeof address.sun_path);
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        EXPECT_EQ(0, bind(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address));
        if (type == SOCK_STREAM) {
            EXPECT_EQ(0, listen(socket_, 1));
        }
    }
    ~Daemon() { close(socket_); }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    // The next datagram; empty when none comes within 5 seconds.
    std::string receive() const
    {
        pollfd waiting{socket_, POLLIN, 0};
        if (poll(&waiting, 1, 5000) != 1)
            return {};
        std::string record(300'000, '\0');
        const ssize_t size = recv(socket_, record.data(), record.size(), 0);
        record.resize(size < 0 ? 0 : static_cast<std::size_t>(size));
        return record;
    }

    // All that the next connection sends until it ends.
    std::string accept_and_receive() const
    {
        const int connection = accept(socket_, nullptr, nullptr);
        std::string all;
        char piece[65'536];
        ssize_t size = 0;
        while ((size = recv(connection, piece, sizeof piece, 0)) > 0)
            all.append(piece, static_cast<std::size_t>(size));
        close(connection);
        return all;
    }

private:
    int socket_;
};

class SyslogTest : public testing::Test {
protected:
    // Until the daemon's queue takes no more.
    int fill(Syslog& log)
    {
        for (int sent = 0; sent < 100'000; ++sent)
            if (const int error = log.send(14, "filler")) {
                EXPECT_EQ(ETIMEDOUT, error);
                return sent;
            }
        ADD_FAILURE() << "the queue has no end";
        return 0;
    }

    const Temp_Folder folder_;
    const std::string path_ = folder_.path("log");
};

constexpr const char* stamp = "[A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2}";

TEST_F(SyslogTest, SendsARecordUnderTheProgramsName)
{
    const Daemon daemon(path_, SOCK_DGRAM);
    Syslog log(path_.c_str(), patience);
    EXPECT_EQ(0, log.send(11, "text: %s%n\nand more"));
    EXPECT_THAT(daemon.receive(),
                FullyMatches(std::string("<11>") + stamp + " " + program_invocation_short_name +
                             ": text: %s%n\nand more"));
    EXPECT_EQ(0, log.send(191, ""));
    EXPECT_THAT(daemon.receive(), FullyMatches(std::string("<191>") + stamp + " " +
                                               program_invocation_short_name + ": "));
}

TEST_F(SyslogTest, ReachesADaemonOfStreamsWithAZeroBehindTheRecord)
{
    const Daemon daemon(path_, SOCK_STREAM);
    Syslog log(path_.c_str(), patience);
    EXPECT_EQ(0, log.send(11, "text"));
    const std::string record = daemon.accept_and_receive();
    ASSERT_FALSE(record.empty());
    EXPECT_EQ('\0', record.back());
    EXPECT_THAT(
        record.substr(0, record.size() - 1),
        FullyMatches(std::string("<11>") + stamp + " " + program_invocation_short_name + ": text"));
}

TEST_F(SyslogTest, TellsThatNoDaemonIsThere)
{
    Syslog log(path_.c_str(), patience);
    EXPECT_EQ(ENOENT, log.send(14, "text"));
    {
        const Daemon daemon(path_, SOCK_DGRAM);
    }
    EXPECT_EQ(ECONNREFUSED, log.send(14, "text")) << "it has ended";
    std::filesystem::remove(path_);
    const Daemon daemon(path_, SOCK_DGRAM);
    EXPECT_EQ(0, log.send(14, "text")) << "it has begun again";
    const std::string long_path(200, 'x');
    EXPECT_EQ(ENAMETOOLONG, Syslog(long_path.c_str(), patience).send(14, "text"));
}

TEST_F(SyslogTest, RefusesWhatNoDatagramHolds)
{
    const Daemon daemon(path_, SOCK_DGRAM);
    Syslog log(path_.c_str(), patience);
    EXPECT_EQ(0, log.send(14, std::string(200'000, 'x')));
    EXPECT_LT(200'000U, daemon.receive().size());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(EMSGSIZE, log.send(14, std::string(10'000'000, 'x')));
    EXPECT_LT(milliseconds_of(std::chrono::steady_clock::now() - start), 10'000);
    EXPECT_EQ(0, log.send(14, "text"));
}

TEST_F(SyslogTest, SendsAnySizeToADaemonOfStreams)
{
    const Daemon daemon(path_, SOCK_STREAM);
    Syslog log(path_.c_str(), 60'000);
    std::string record;
    std::thread reader([&] { record = daemon.accept_and_receive(); });
    const std::string text(3'000'000, 'x');
    EXPECT_EQ(0, log.send(14, text));
    reader.join();
    EXPECT_EQ(record.size(), record.find(text) + text.size() + 1);
}

TEST_F(SyslogTest, GivesUpOnADaemonThatDoesNotReadAndThenDoesNotWait)
{
    const Daemon daemon(path_, SOCK_DGRAM);
    Syslog log(path_.c_str(), patience);
    auto start = std::chrono::steady_clock::now();
    const int sent = fill(log);
    EXPECT_GE(milliseconds_of(std::chrono::steady_clock::now() - start), patience - 10);
    EXPECT_LT(milliseconds_of(std::chrono::steady_clock::now() - start), 60'000);

    start = std::chrono::steady_clock::now();
    for (int i = 0; i < 100; ++i)
        EXPECT_EQ(ETIMEDOUT, log.send(14, "text"));
    EXPECT_LT(milliseconds_of(std::chrono::steady_clock::now() - start), 100 * patience / 2);

    for (int i = 0; i < sent; ++i)
        EXPECT_NE("", daemon.receive());
    EXPECT_EQ(0, log.send(14, "text")) << "it reads again";
    fill(log);
    start = std::chrono::steady_clock::now();
    EXPECT_EQ(ETIMEDOUT, Syslog(path_.c_str(), patience).send(14, "text"));
    EXPECT_GE(milliseconds_of(std::chrono::steady_clock::now() - start), patience - 10);
}

TEST_F(SyslogTest, WaitsForADaemonThatReadsLate)
{
    const Daemon daemon(path_, SOCK_DGRAM);
    Syslog filler(path_.c_str(), 1);
    fill(filler);
    std::thread reader([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        daemon.receive();
    });
    EXPECT_EQ(0, Syslog(path_.c_str(), 60'000).send(14, "text"));
    reader.join();
}

TEST_F(SyslogTest, GivesUpOnADaemonOfStreamsThatDoesNotAcceptOrRead)
{
    const Daemon daemon(path_, SOCK_STREAM);
    EXPECT_EQ(ETIMEDOUT, Syslog(path_.c_str(), patience).send(14, std::string(10'000'000, 'x')));
    Syslog log(path_.c_str(), patience);
    fill(log); // by connections that wait to be accepted
}

TEST_F(SyslogTest, LosesNoRecordOfManyThreads)
{
    constexpr int threads = 8;
    constexpr int records = 200;
    const Daemon daemon(path_, SOCK_DGRAM);
    Syslog log(path_.c_str(), 60'000);
    std::atomic<int> failures{0};
    std::vector<std::thread> senders;
    for (int t = 0; t < threads; ++t)
        senders.emplace_back([&, t] {
            for (int i = 0; i < records; ++i)
                if (log.send(14, std::to_string(t) + " " + std::to_string(i)) != 0)
                    ++failures;
        });
    std::set<std::string> texts;
    for (int i = 0; i < threads * records; ++i) {
        const std::string record = daemon.receive();
        texts.insert(record.substr(record.rfind(": ")));
    }
    for (std::thread& sender : senders)
        sender.join();
    EXPECT_EQ(0, failures);
    EXPECT_EQ(std::size_t{threads * records}, texts.size());
}

std::set<int> open_descriptors()
{
    std::set<int> numbers;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd"))
        numbers.insert(std::stoi(entry.path().filename().string()));
    return numbers;
}

// With standard input closed, whose number the next descriptor gets.
TEST_F(SyslogTest, TakesNoDescriptorBelow3AndNoneThatAChildInherits)
{
    const Daemon daemon(path_, SOCK_DGRAM);
    Syslog filler(path_.c_str(), 1);
    fill(filler);
    const int standard_input = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    close(STDIN_FILENO);
    std::atomic<bool> is_done{false};
    std::atomic<int> result{0};
    const std::set<int> before = open_descriptors(); // with the listing's own
    std::thread sender([&] {
        result = Syslog(path_.c_str(), 500).send(14, "text");
        is_done = true;
    });
    int seen = 0;
    while (!is_done) {
        EXPECT_EQ(-1, fcntl(STDIN_FILENO, F_GETFD));
        for (int number = 3; number < 100; ++number) {
            const int flags = fcntl(number, F_GETFD);
            if (flags == -1 || before.count(number) != 0)
                continue;
            EXPECT_NE(0, flags & FD_CLOEXEC) << number;
            ++seen;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    sender.join();
    EXPECT_EQ(ETIMEDOUT, result);
    EXPECT_GT(seen, 0);
    EXPECT_EQ(before, open_descriptors());
    if (standard_input >= 0) {
        dup2(standard_input, STDIN_FILENO);
        close(standard_input);
    }
}

} // namespace

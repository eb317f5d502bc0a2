// serve_load ADDRESS CLIENTS SECONDS TARGET...: so many clients ask a service for these targets in turn,
// each on one connection and the next one as soon as it has the answer. A target that has {} gets
// another number from 0 to 99 each time. Tells requests a second, and how long they took.

#include <httplib.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <random>
#include <string>
#include <thread>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Client {
    std::vector<double> milliseconds;
    std::size_t errors = 0;
    std::size_t bytes = 0;
};

std::string filled(std::string target, std::mt19937& random)
{
    const std::size_t place = target.find("{}");
    if (place != std::string::npos)
        target.replace(place, 2, std::to_string(100 + random() % 100).substr(1));
    return target;
}

void run(Client& client, unsigned number, const std::string& address,
         const std::vector<std::string>& targets, const std::atomic<bool>& is_over)
{
    httplib::Client http(address);
    http.set_keep_alive(true);
    http.set_tcp_nodelay(true);
    http.set_read_timeout(60);
    std::mt19937 random(number);
    for (std::size_t k = number; !is_over; ++k) {
        const Clock::time_point begin = Clock::now();
        const httplib::Result result = http.Get(filled(targets[k % targets.size()], random));
        const std::chrono::duration<double, std::milli> duration = Clock::now() - begin;
        client.milliseconds.push_back(duration.count());
        client.errors += result && result->status == 200 ? 0 : 1;
        client.bytes += result ? result->body.size() : 0;
    }
}

double quantile(const std::vector<double>& sorted, double part)
{
    return sorted[static_cast<std::size_t>(part * static_cast<double>(sorted.size() - 1))];
}

void report(const std::vector<Client>& clients, int seconds)
{
    std::vector<double> all;
    std::size_t errors = 0;
    std::size_t bytes = 0;
    for (const Client& client : clients) {
        all.insert(all.end(), client.milliseconds.begin(), client.milliseconds.end());
        errors += client.errors;
        bytes += client.bytes;
    }
    if (all.empty())
        return;
    std::sort(all.begin(), all.end());
    std::printf("%zu clients: %zu requests, %zu errors, %.1f a second, %.0f bytes each; "
                "p50 %.1f ms, p99 %.1f ms, most %.1f ms\n",
                clients.size(), all.size(), errors, static_cast<double>(all.size()) / seconds,
                static_cast<double>(bytes) / static_cast<double>(all.size()), quantile(all, 0.5),
                quantile(all, 0.99), all.back());
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 5) {
        std::fprintf(stderr, "usage: serve_load ADDRESS CLIENTS SECONDS TARGET...\n");
        return 2;
    }
    const int count = std::atoi(argv[2]);
    const int seconds = std::atoi(argv[3]);
    const std::vector<std::string> targets(argv + 4, argv + argc);
    std::vector<Client> clients(static_cast<std::size_t>(std::max(count, 1)));
    std::vector<std::thread> threads;
    std::atomic<bool> is_over{false};
    for (std::size_t k = 0; k < clients.size(); ++k)
        threads.emplace_back(
            [&, k] { run(clients[k], static_cast<unsigned>(k), argv[1], targets, is_over); });
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    is_over = true;
    for (std::thread& thread : threads)
        thread.join();
    report(clients, seconds);
    return 0;
}

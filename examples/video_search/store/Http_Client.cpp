#include "Http_Client.h"

#include "../host/Host.h"

#include <curl/curl.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

namespace video_search {

namespace {

constexpr std::size_t largest_answer = std::size_t{1} << 30U;

// Once in a process, before the first handle.
void start_curl()
{
    static const CURLcode code = curl_global_init(CURL_GLOBAL_DEFAULT);
    if (code != CURLE_OK)
        throw Failure(std::string("libcurl does not start: ") + curl_easy_strerror(code));
}

// Anything but `size` ends the transfer, as curl wants it: no exception may pass through it.
std::size_t take_bytes(const char* bytes, std::size_t, std::size_t size, void* to) noexcept
{
    auto& body = *static_cast<std::string*>(to);
    try {
        if (size > largest_answer - body.size())
            return 0;
        body.append(bytes, size);
        return size;
    } catch (const std::bad_alloc&) {
        return 0;
    }
}

struct Easy_Closer {
    void operator()(CURL* easy) const noexcept { curl_easy_cleanup(easy); }
};
using Easy = std::unique_ptr<CURL, Easy_Closer>;

struct Multi_Closer {
    void operator()(CURLM* multi) const noexcept { curl_multi_cleanup(multi); }
};

struct List_Closer {
    void operator()(curl_slist* list) const noexcept { curl_slist_free_all(list); }
};

template <class Value>
void set(CURL* easy, CURLoption option, Value value)
{
    if (const CURLcode code = curl_easy_setopt(easy, option, value); code != CURLE_OK)
        throw Failure(std::string("a request cannot be made: ") + curl_easy_strerror(code));
}

// One request under way.
struct Transfer {
    Easy easy;
    Http_Answer answer;
    std::array<char, CURL_ERROR_SIZE> error{};
};

void finish(Transfer& transfer, CURLcode code)
{
    if (code == CURLE_OK) {
        curl_easy_getinfo(transfer.easy.get(), CURLINFO_RESPONSE_CODE, &transfer.answer.status);
        return;
    }
    const bool is_late = code == CURLE_OPERATION_TIMEDOUT;
    transfer.answer.failure = is_late                  ? "timed out"
                              : transfer.error[0] != 0 ? transfer.error.data()
                                                       : curl_easy_strerror(code);
}

} // namespace

struct Http_Client::Handles {
    std::unique_ptr<CURLM, Multi_Closer> multi;
    std::unique_ptr<curl_slist, List_Closer> headers;
    std::vector<Easy> free;

    Easy take()
    {
        if (free.empty()) {
            Easy easy(curl_easy_init());
            if (!easy)
                throw Failure("a request cannot be made: out of memory");
            return easy;
        }
        Easy easy = std::move(free.back());
        free.pop_back();
        return easy;
    }
};

Http_Client::Http_Client(std::string user, std::string password)
    : user_(std::move(user)), password_(std::move(password)),
      handles_((start_curl(), std::make_unique<Handles>()))
{
    handles_->multi.reset(curl_multi_init());
    handles_->headers.reset(curl_slist_append(nullptr, "Expect:")); // no question before a body
    if (!handles_->multi || !handles_->headers)
        throw Failure("libcurl does not start: out of memory");
}

Http_Client::~Http_Client() = default;

namespace {

// The multi handle forgets a transfer before its handle goes.
class Under_Way {
public:
    explicit Under_Way(CURLM* multi) : multi_(multi) {}
    ~Under_Way()
    {
        for (CURL* const easy : easies_)
            curl_multi_remove_handle(multi_, easy);
    }
    Under_Way(const Under_Way&) = delete;
    Under_Way& operator=(const Under_Way&) = delete;

    void add(CURL* easy)
    {
        easies_.reserve(easies_.size() + 1);
        if (curl_multi_add_handle(multi_, easy) != CURLM_OK)
            throw Failure("a request cannot be made");
        easies_.push_back(easy);
    }

    void run()
    {
        constexpr int pause = 1000; // milliseconds; the transfers' own time-outs end it earlier
        int running = 1;
        while (running > 0) {
            if (curl_multi_perform(multi_, &running) != CURLM_OK ||
                (running > 0 && curl_multi_poll(multi_, nullptr, 0, pause, nullptr) != CURLM_OK))
                throw Failure("the requests to the servers broke off");
        }
    }

private:
    CURLM* const multi_;
    std::vector<CURL*> easies_;
};

} // namespace

std::vector<Http_Answer> Http_Client::post(const std::vector<Http_Request>& requests,
                                           std::chrono::milliseconds limit)
{
    constexpr std::chrono::milliseconds longest_connect(3000);
    std::vector<Transfer> transfers(requests.size()); // stays where it is: curl keeps pointers
    {
        Under_Way under_way(handles_->multi.get());
        for (std::size_t k = 0; k < requests.size(); ++k) {
            Transfer& transfer = transfers[k];
            transfer.easy = handles_->take();
            CURL* const easy = transfer.easy.get();
            curl_easy_reset(easy); // keeps connections
            set(easy, CURLOPT_URL, requests[k].url.c_str());
            set(easy, CURLOPT_POSTFIELDS, requests[k].body.data());
            set(easy, CURLOPT_POSTFIELDSIZE_LARGE,
                static_cast<curl_off_t>(requests[k].body.size()));
            set(easy, CURLOPT_HTTPHEADER, handles_->headers.get());
            set(easy, CURLOPT_WRITEFUNCTION, take_bytes);
            set(easy, CURLOPT_WRITEDATA, static_cast<void*>(&transfer.answer.body));
            set(easy, CURLOPT_HEADERFUNCTION, take_bytes);
            set(easy, CURLOPT_HEADERDATA, static_cast<void*>(&transfer.answer.headers));
            set(easy, CURLOPT_ERRORBUFFER, transfer.error.data());
            set(easy, CURLOPT_PRIVATE, static_cast<void*>(&transfer));
            set(easy, CURLOPT_TIMEOUT_MS, static_cast<long>(limit.count()));
            set(easy, CURLOPT_CONNECTTIMEOUT_MS,
                static_cast<long>(std::min(limit, longest_connect).count()));
            set(easy, CURLOPT_FRESH_CONNECT, requests[k].is_sent_once ? 1L : 0L);
            set(easy, CURLOPT_NOSIGNAL, 1L);
            set(easy, CURLOPT_PROXY, "");
            if (!user_.empty()) {
                set(easy, CURLOPT_HTTPAUTH, static_cast<long>(CURLAUTH_BASIC));
                set(easy, CURLOPT_USERNAME, user_.c_str());
                set(easy, CURLOPT_PASSWORD, password_.c_str());
            }
            under_way.add(easy);
        }
        under_way.run();
        int left = 0;
        while (const CURLMsg* const message = curl_multi_info_read(handles_->multi.get(), &left)) {
            void* transfer = nullptr;
            curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
            if (message->msg == CURLMSG_DONE)
                finish(*static_cast<Transfer*>(transfer), message->data.result);
        }
    }
    std::vector<Http_Answer> answers;
    answers.reserve(transfers.size());
    for (Transfer& transfer : transfers) {
        answers.push_back(std::move(transfer.answer));
        handles_->free.push_back(std::move(transfer.easy));
    }
    return answers;
}

} // namespace video_search

#include "Events.h"

#include "Api_Error.h"
#include "Http_Server.h"
#include "Json_Answers.h"
#include "search/Json_Text.h"

#include <KRCommon/frame/Log.h>

#include <chrono>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace video_search {

// One client. It counts while it lives.
class Events::Follower {
public:
    Follower(Events& events, std::int64_t row) : events_(events), row_(row)
    {
        if (events_.clients_++ >= events_.limits_.event_clients) {
            --events_.clients_;
            throw Api_Error(503, "busy", "too many clients follow events");
        }
    }
    ~Follower() { --events_.clients_; }
    Follower(const Follower&) = delete;
    Follower& operator=(const Follower&) = delete;

    // Sends what is new, or waits for it. False when the client is gone.
    bool go_on(httplib::DataSink& sink)
    {
        constexpr std::chrono::milliseconds pause(250);
        constexpr int pauses_of_silence = 8;
        const std::string text = next();
        if (!text.empty())
            return send(sink, text);
        std::this_thread::sleep_for(pause);
        if (events_.is_stopping_ || Http_Server::stream().is_gone())
            return false;
        if (++pauses_ % pauses_of_silence == 0) // fails where the client vanished without a word
            return send(sink, ": \n\n");
        return true;
    }

private:
    static bool send(httplib::DataSink& sink, const std::string& text)
    {
        return sink.write(text.data(), text.size());
    }

    std::string next()
    {
        constexpr std::size_t most = 50;
        Stored_Rows stored = events_.api_.stored_after(row_, most);
        const bool is_other_store = edition_.value_or(stored.edition) != stored.edition;
        edition_ = stored.edition;
        if (is_other_store) {
            row_ = events_.api_.last_row();
            stored.rows.clear();
        }
        // The number also when nothing is stored for long: else a break would lose what comes in it.
        std::string text = is_first_ || is_other_store
                               ? "retry: 2000\nid: " + std::to_string(row_) + "\n\n"
                               : std::string();
        is_first_ = false;
        if (stored.unanswered != unanswered_) {
            unanswered_ = std::move(stored.unanswered);
            text += "event: unanswered\ndata: " + array_of(unanswered_, quoted) + "\n\n";
        }
        for (const Stored_Rows::Row& row : stored.rows) {
            row_ = row.number;
            if (row.hit)
                text += "event: object\nid: " + std::to_string(row.number) +
                        "\ndata: " + json_of(*row.hit, events_.limits_.path_points) + "\n\n";
        }
        return text;
    }

    Events& events_;
    std::int64_t row_;
    std::optional<std::size_t> edition_;
    std::vector<std::string> unanswered_; // as the client was told last
    int pauses_ = 0;
    bool is_first_ = true;
};

namespace {

std::int64_t resume_row(const httplib::Request& request, Search_Api& api)
{
    const std::string id = request.get_header_value("Last-Event-ID");
    return id.empty() ? api.last_row()
                      : api.resumed_at(read_whole("Last-Event-ID", id, 0,
                                                  std::numeric_limits<std::int64_t>::max()));
}

} // namespace

void Events::answer(const httplib::Request& request, httplib::Response& response)
{
    const auto follower = std::make_shared<Follower>(*this, resume_row(request, api_));
    response.set_chunked_content_provider(
        "text/event-stream", [follower](std::size_t, httplib::DataSink& sink) {
            Http_Server::stream().begin_events();
            try {
                return follower->go_on(sink);
            } catch (const std::exception& error) {
                kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR events: %s\n", error.what());
                return false;
            }
        });
}

} // namespace video_search

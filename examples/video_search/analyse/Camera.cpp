#include "Camera.h"

#include "../host/Host.h"

#include <KRCommon/frame/Log.h>
#include <KRCommon/util/Url.h>

#include <opencv2/imgproc.hpp>

#include <ace/OS_NS_sys_time.h>

#include <algorithm>
#include <thread>

namespace video_search {

namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto shortest_pause = 500ms;
constexpr auto longest_pause = 30'000ms;

ACE_Time_Value to_time_value(Microseconds time)
{
    return ACE_Time_Value(static_cast<time_t>(time / 1s),
                          static_cast<suseconds_t>(time % 1s / 1us));
}

} // namespace

Camera::Camera(const std::string& address, Milliseconds stall, Milliseconds learn)
    : Source(kr_url_log_text(address)), address_(address), stall_(stall), learn_(learn)
{
    const std::string kind = address.substr(0, address.find(':'));
    if (kind == "file")
        throw Failure(name() + " is no camera; give the path of the file alone");
    if (!Decoder::knows(kind))
        throw Failure(name() + " is no address that can be read: '" + kind + "' is not known");
}

// The first picture is grabbed to know its size, and given as the first one of the scene.
bool Camera::open()
{
    if (!advance())
        return false;
    size_ = decoder_->picture().size();
    fps_ = decoder_->fps();
    start_ = time_;
    return true;
}

std::vector<cv::Mat> Camera::sample_scene(cv::Size size)
{
    const ACE_Time_Value step(0, 250'000);
    std::vector<cv::Mat> samples;
    const int first_position = position_;
    ACE_Time_Value due = time_;
    const ACE_Time_Value first = time_;
    const ACE_Time_Value last = first + to_time_value(learn_);
    do {
        if (time_ < due)
            continue;
        cv::resize(picture(), samples.emplace_back(), size, 0, 0, cv::INTER_AREA);
        due += step;
    } while (time_ < last && advance());
    if (is_stopped())
        return {};
    const ACE_Time_Value took = time_ - first;
    const double seconds = static_cast<double>(took.sec()) + static_cast<double>(took.usec()) / 1e6;
    if (seconds > 0.5 && position_ > first_position)
        fps_ = (position_ - first_position) / seconds;
    return samples;
}

Frame Camera::next()
{
    if (!advance())
        return {};
    return {picture(), time_};
}

bool Camera::skip()
{
    return advance();
}

ACE_Time_Value Camera::end() const
{
    return decoder_ ? time_ + to_time_value(decoder_->interval()) : time_;
}

// A camera that was set up anew may send pictures of another size.
cv::Mat Camera::picture()
{
    cv::Mat picture = decoder_->picture();
    if (picture.size() == size_)
        return picture;
    cv::resize(picture, resized_, size_, 0, 0, cv::INTER_AREA);
    return resized_;
}

bool Camera::advance()
{
    while (connect()) {
        if (!decoder_->grab()) {
            disconnect();
            continue;
        }
        ++position_;
        is_away_ = false;
        if (is_in_time())
            return true;
    }
    return false;
}

bool Camera::connect()
{
    for (Milliseconds pause = shortest_pause; !decoder_ && !is_stopped();
         pause = std::min(2 * pause, longest_pause))
        if (!try_to_connect())
            wait(pause);
    return !is_stopped();
}

bool Camera::try_to_connect()
{
    Decoder_Settings settings;
    settings.is_file = false;
    settings.patience = stall_;
    settings.shown = name();
    settings.is_to_end = [this] { return is_stopped(); };
    try {
        decoder_ = std::make_unique<Decoder>(address_, settings);
    } catch (const Failure& failure) {
        if (!is_stopped())
            kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR camera: %s\n", failure.what());
        return false;
    }
    has_anchor_ = false;
    kr_log(KR_LOG_SITE(LM_INFO), "%T T%04t INF camera: %s is connected\n", name());
    return true;
}

// A connection that gives no picture is followed by a pause, lest it be made without end.
void Camera::disconnect()
{
    is_away_ = true;
    if (!is_stopped()) {
        const std::string& reason = decoder_->end_reason();
        kr_log(KR_LOG_SITE(LM_ERROR), "%T T%04t*ERR camera: %s is lost: %s\n", name(),
               reason.empty() ? "it ended" : reason);
    }
    decoder_.reset();
    wait(shortest_pause);
}

// False when it was stopped meanwhile.
bool Camera::wait(Milliseconds time) const
{
    constexpr auto step = 20ms;
    const Clock::time_point end = Clock::now() + time;
    while (!is_stopped() && Clock::now() < end)
        std::this_thread::sleep_for(step);
    return !is_stopped();
}

// False for a picture that is to be passed over: one that was held back until the connection stood,
// or that is late because those before it took too long. Where the decoder had to wait for it, it
// is the stream that is late.
bool Camera::is_in_time()
{
    constexpr Microseconds longest_held_back = 5s;
    const ACE_Time_Value most(2);
    const ACE_Time_Value now = ACE_OS::gettimeofday();
    const ACE_Time_Value since = to_time_value(decoder_->time());
    const bool has_waited = decoder_->waited() > decoder_->interval() / 2;
    if (!has_anchor_ && !has_waited && decoder_->time() < longest_held_back)
        return false;
    const bool is_late = has_anchor_ && now > anchor_ + since + most;
    if (is_late && !has_waited) {
        ++late_;
        return false;
    }
    tell_late();
    const bool is_early = anchor_ + since > now + most;
    if (!has_anchor_ || is_late || (is_early && has_waited))
        anchor_ = now - since;
    has_anchor_ = true;
    const ACE_Time_Value least = time_ + ACE_Time_Value(0, 1);
    time_ = std::max(anchor_ + since, least); // after the one before, whatever the clock does
    return true;
}

void Camera::tell_late()
{
    if (late_ > 0)
        kr_log_limited(
            KR_LOG_SITE(LM_ERROR),
            "%T T%04t*ERR camera: %s is faster than the analysis, %d frames passed over\n", name(),
            late_);
    late_ = 0;
}

} // namespace video_search

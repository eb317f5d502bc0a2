#include "Video.h"

#include "../host/Host.h"

#include <KRCommon/util/Time_Text.h>

#include <opencv2/imgproc.hpp>

#include <ace/OS_NS_sys_stat.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>

namespace video_search {

namespace {

using namespace std::chrono_literals;

ACE_Time_Value to_time_value(Microseconds time)
{
    return ACE_Time_Value(static_cast<time_t>(time / 1s),
                          static_cast<suseconds_t>(time % 1s / 1us));
}

Decoder_Settings settings_for_file(const std::string& path)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(to_path(path), error);
    if (!std::filesystem::exists(status))
        throw Failure("no such file: " + path);
    if (!std::filesystem::is_regular_file(status))
        throw Failure(path + " is no video that can be read");
    return {};
}

std::optional<Microseconds> length_of(const Decoder& decoder)
{
    if (decoder.duration() || !decoder.count())
        return decoder.duration();
    return Microseconds(std::llround(1e6 * *decoder.count() / decoder.fps()));
}

ACE_Time_Value time_of_file(const std::string& path)
{
    ACE_stat status = {};
    if (ACE_OS::stat(path.c_str(), &status) != 0)
        return {};
    return ACE_Time_Value(status.st_mtime);
}

} // namespace

Video::Video(const std::string& path)
    : Source(path), decoder_(path, settings_for_file(path)), start_(find_start())
{
    if (!decoder_.grab())
        throw Failure(path + " is no video that can be read");
    size_ = decoder_.picture().size();
}

ACE_Time_Value Video::find_start() const
{
    if (decoder_.creation_time())
        return *decoder_.creation_time();
    const ACE_Time_Value last = kr_to_ace_time_value("2037/12/31 23:59:59.999999");
    const ACE_Time_Value time =
        time_of_file(name()) - to_time_value(length_of(decoder_).value_or(0us));
    return time >= ACE_Time_Value::zero && time <= last ? time : ACE_Time_Value();
}

std::optional<int> Video::count() const
{
    if (decoder_.count() || !decoder_.duration())
        return decoder_.count();
    const double seconds = static_cast<double>(decoder_.duration()->count()) / 1e6;
    return std::max(1, static_cast<int>(std::lround(std::min(1e9, seconds * fps()))));
}

// The constructor has grabbed the first picture.
bool Video::advance()
{
    is_at_end_ = is_at_end_ || (position_ > 0 && !decoder_.grab());
    if (is_at_end_ || is_stopped())
        return false;
    ++position_;
    length_ = decoder_.time() + decoder_.interval();
    return true;
}

Frame Video::next()
{
    if (!advance())
        return {};
    return {decoder_.picture(), start_ + to_time_value(decoder_.time())};
}

bool Video::skip()
{
    return advance();
}

ACE_Time_Value Video::end() const
{
    return start_ + to_time_value(length_);
}

std::optional<std::string> Video::shortfall() const
{
    if (!is_at_end_)
        return std::nullopt;
    if (decoder_.count())
        return missing_frames(*decoder_.count());
    if (decoder_.duration())
        return missing_seconds(*decoder_.duration());
    return std::nullopt;
}

std::optional<std::string> Video::missing_frames(int said) const
{
    const int missing = said - position_;
    if (missing <= 3 || missing <= said / 50)
        return std::nullopt;
    return std::to_string(position_) + " of " + std::to_string(said) + " frames";
}

// Where there is sound too, the duration may be that of the sound, which goes on somewhat longer.
std::optional<std::string> Video::missing_seconds(Microseconds said) const
{
    const Microseconds sound = decoder_.has_other_streams() ? 2s : 0s;
    if (said - length_ <= std::max({said / 50, 3 * decoder_.interval(), sound}))
        return std::nullopt;
    char text[80];
    std::snprintf(text, sizeof text, "%.1f of %.1f s", static_cast<double>(length_.count()) / 1e6,
                  static_cast<double>(said.count()) / 1e6);
    return text;
}

// With a decoder of its own, so that the analysis begins at the first picture.
std::vector<cv::Mat> Video::sample_scene(cv::Size size)
{
    constexpr int most = 60;
    Decoder decoder(name(), settings_for_file(name()));
    const Microseconds step =
        std::min<Microseconds>(length_of(decoder).value_or(1min), 1min) / most;
    const Microseconds early = decoder.interval() / 2;
    std::vector<cv::Mat> samples;
    while (samples.size() < most && !is_stopped() && decoder.grab())
        if (decoder.time() + early >= step * samples.size())
            cv::resize(decoder.picture(), samples.emplace_back(), size, 0, 0, cv::INTER_AREA);
    return samples;
}

} // namespace video_search

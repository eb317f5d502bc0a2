#include "Tracker.h"

#include <algorithm>
#include <cmath>

namespace video_search {

namespace {

// A track is confirmed, and ends, by time, but not after fewer pictures than these.
constexpr double seconds_to_confirm = 0.4;
constexpr int hits_to_confirm = 3;
constexpr double seconds_to_end = 1.5;
constexpr int missed_to_end = 3;
constexpr double tentative_seconds_to_end = 0.2;
constexpr int tentative_missed_to_end = 2;
constexpr double longest_gap = 5.0; // seconds without a picture, over which no track goes on

cv::Point2f centre(const cv::Rect2f& box)
{
    return {box.x + box.width / 2, box.y + box.height / 2};
}

cv::Rect2f around(cv::Point2f centre, cv::Size2f size)
{
    return {centre.x - size.width / 2, centre.y - size.height / 2, size.width, size.height};
}

cv::Rect2f grown(const cv::Rect2f& box, float share)
{
    return around(centre(box), {box.width * (1 + share), box.height * (1 + share)});
}

// The share of a box that lies within another.
float share_within(const cv::Rect2f& box, const cv::Rect2f& other)
{
    return box.area() > 0 ? (box & other).area() / box.area() : 0;
}

float diagonal(cv::Size2f size)
{
    return std::hypot(size.width, size.height);
}

// How badly a blob fits to what a track expects, 0 at best.
struct Misfit {
    float distance = 0; // of the centres, in diagonals of the track
    float overlap = 0;  // 0 to 1
    float growth = 0;   // logarithm of the ratio of the areas

    float total() const { return distance + (1 - overlap) + 0.3F * growth; }
};

Misfit misfit(const cv::Rect2f& expected, const cv::Rect2f& blob)
{
    const cv::Point2f way = centre(blob) - centre(expected);
    const float common = (expected & blob).area();
    Misfit fit;
    fit.distance = std::hypot(way.x, way.y) / std::max(1.0F, diagonal(expected.size()));
    fit.overlap = common / std::max(1.0F, expected.area() + blob.area() - common);
    fit.growth = std::abs(std::log(std::max(1.0F, blob.area()) / std::max(1.0F, expected.area())));
    return fit;
}

// Where pictures are far between, things get far: a track whose way is not known yet is found again
// when it makes no more than 1.2 of its diagonals in a second.
bool is_possible(const Misfit& fit, float seconds)
{
    constexpr float usual_reach = 0.6F;    // diagonals
    constexpr float usual_seconds = 0.2F;  // in which it gets no farther than that
    constexpr float speed = 1.2F;          // diagonals per second
    constexpr float largest_growth = 1.4F; // four times the area
    const float reach = usual_reach + speed * std::max(0.0F, seconds - usual_seconds);
    return fit.distance < reach && fit.growth < largest_growth;
}

struct Pair {
    float misfit = 0;
    std::size_t track = 0;
    std::size_t blob = 0;
};

float clamped(float from, float length, float limit_from, float limit_length)
{
    const float last = limit_from + std::max(0.0F, limit_length - length);
    return std::clamp(from, limit_from, last);
}

} // namespace

Tracker::Tracker(double fps) : usual_seconds_(1 / fps) {}

std::vector<Sighting> Tracker::update(const std::vector<cv::Rect2f>& given,
                                      const std::vector<Look>& looks, double seconds)
{
    if (seconds > longest_gap)
        finish();
    seconds_ = static_cast<float>(seconds > 0 ? seconds : usual_seconds_);
    std::vector<cv::Rect2f> blobs = given;
    is_taken_.assign(blobs.size(), 0);
    predict();
    assign(blobs, looks);
    absorb_pieces(blobs);
    find_sharers(blobs);
    follow_blobs(blobs);
    end_lost();
    begin_new(blobs);
    remember_looks(looks);

    std::vector<Sighting> sightings;
    for (const Track& track : tracks_)
        if (track.blob >= 0)
            sightings.push_back({track.id, track.box, track.blob, track.sharers});
    return sightings;
}

// How far a smoothed value goes toward a new one, said for a tenth of a second.
float Tracker::gain(float of_tenth) const
{
    return 1 - std::pow(1 - of_tenth, 10 * seconds_);
}

std::vector<Ended_Track> Tracker::take_ended()
{
    std::vector<Ended_Track> ended;
    ended.swap(ended_);
    return ended;
}

void Tracker::finish()
{
    for (const Track& track : tracks_)
        end(track);
    tracks_.clear();
}

// How different a blob looks from the track: 0 to 0.8.
float Tracker::strangeness(std::size_t track, std::size_t blob,
                           const std::vector<Look>& looks) const
{
    constexpr float weight = 0.8F;
    constexpr double quite_different = 80.0; // of 255, over all six numbers
    if (blob >= looks.size() || !tracks_[track].has_look)
        return 0;
    const double difference = cv::norm(tracks_[track].look - looks[blob]);
    return weight * static_cast<float>(std::min(1.0, difference / quite_different));
}

void Tracker::remember_looks(const std::vector<Look>& looks)
{
    const float step = gain(0.15F);
    for (Track& track : tracks_) {
        if (track.blob < 0 || track.sharers > 1 || looks.empty())
            continue;
        const Look& now = looks[static_cast<std::size_t>(track.blob)];
        track.look = track.has_look ? track.look + (now - track.look) * step : now;
        track.has_look = true;
    }
}

float Tracker::handicap(const Track& track)
{
    if (!track.is_confirmed)
        return 0.6F;
    return 0.3F * static_cast<float>(track.unseen);
}

void Tracker::predict()
{
    const float slowing = 1 - gain(0.05F); // of a track that is not seen
    for (Track& track : tracks_) {
        if (track.missed > 0)
            track.velocity *= slowing;
        track.box = around(centre(track.box) + track.velocity * seconds_, track.size);
        track.blob = -1;
        track.sharers = 1;
    }
}

// Greedy: the best fit of all first. A track that goes on unseen may be anywhere, so that it stands
// behind one that has just begun where the blob is; a confirmed one that was seen just now comes
// before both.
void Tracker::assign(const std::vector<cv::Rect2f>& blobs, const std::vector<Look>& looks)
{
    std::vector<Pair> pairs;
    for (std::size_t t = 0; t < tracks_.size(); ++t)
        for (std::size_t b = 0; b < blobs.size(); ++b) {
            const Misfit fit = misfit(tracks_[t].box, blobs[b]);
            if (is_possible(fit, seconds_))
                pairs.push_back(
                    {fit.total() + handicap(tracks_[t]) + strangeness(t, b, looks), t, b});
        }
    std::stable_sort(pairs.begin(), pairs.end(),
                     [](const Pair& a, const Pair& b) { return a.misfit < b.misfit; });
    for (const Pair& pair : pairs) {
        Track& track = tracks_[pair.track];
        if (track.blob >= 0 || is_taken_[pair.blob] != 0)
            continue;
        track.blob = static_cast<int>(pair.blob);
        is_taken_[pair.blob] = 1;
    }
}

// A body that falls into pieces: blobs within the box of a track that has taken another blob belong
// to that blob, when the track does not outgrow its box by it.
void Tracker::absorb_pieces(std::vector<cv::Rect2f>& blobs)
{
    for (std::size_t b = 0; b < blobs.size(); ++b)
        for (const Track& track : tracks_) {
            if (is_taken_[b] != 0 || !track.is_confirmed || track.blob < 0)
                continue;
            const cv::Rect2f room = grown(track.box, 0.3F);
            cv::Rect2f& main = blobs[static_cast<std::size_t>(track.blob)];
            if (share_within(blobs[b], room) < 0.8F || share_within(main, room) < 0.8F)
                continue;
            main |= blobs[b];
            is_taken_[b] = 1;
        }
}

// A confirmed track without a blob, seen just before, that lies within the blob of another shares
// it.
void Tracker::find_sharers(const std::vector<cv::Rect2f>& blobs)
{
    constexpr int longest_missed = 2; // afterwards it may be anywhere
    constexpr double longest_unseen = 0.25;
    for (Track& track : tracks_)
        if (track.is_confirmed && track.blob < 0 &&
            (track.missed <= longest_missed || track.unseen < longest_unseen))
            track.blob = taken_blob_around(track.box, blobs);
    for (Track& track : tracks_)
        track.sharers =
            static_cast<int>(std::count_if(tracks_.begin(), tracks_.end(), [&](const Track& other) {
                return track.blob >= 0 && other.blob == track.blob;
            }));
}

int Tracker::taken_blob_around(const cv::Rect2f& box, const std::vector<cv::Rect2f>& blobs) const
{
    float best = 0.5F; // least share within the blob
    int found = -1;
    for (std::size_t b = 0; b < blobs.size(); ++b) {
        const float share = share_within(box, grown(blobs[b], 0.1F));
        if (is_taken_[b] == 0 || share <= best)
            continue;
        best = share;
        found = static_cast<int>(b);
    }
    return found;
}

void Tracker::follow_blobs(const std::vector<cv::Rect2f>& blobs)
{
    for (std::size_t b = 0; b < blobs.size(); ++b) {
        std::vector<Track*> inside;
        for (Track& track : tracks_)
            if (track.blob == static_cast<int>(b))
                inside.push_back(&track);
        hide_covered(inside, blobs[b]);
        if (inside.size() == 1)
            follow_alone(*inside.front(), blobs[b]);
        else if (inside.size() > 1)
            follow_shared(inside, blobs[b]);
    }
}

// When a blob is hardly larger than one of its objects, the others are behind that one: not seen.
void Tracker::hide_covered(std::vector<Track*>& inside, const cv::Rect2f& blob)
{
    constexpr float least_growth = 1.2F;
    if (inside.size() < 2)
        return;
    Track* const front =
        *std::min_element(inside.begin(), inside.end(), [&](const Track* a, const Track* b) {
            return misfit(a->box, blob).total() < misfit(b->box, blob).total();
        });
    if (blob.area() > least_growth * front->size.area())
        return;
    for (Track* track : inside)
        if (track != front)
            track->blob = -1;
    front->sharers = 1;
    inside.assign(1, front);
}

void Tracker::follow_alone(Track& track, const cv::Rect2f& blob) const
{
    const float step = gain(0.3F);
    const bool is_first_step = track.hits == 1;
    track.velocity +=
        (centre(blob) - centre(track.box)) * ((is_first_step ? 1.0F : step) / seconds_);
    track.size += (blob.size() - track.size) * step;
    track.box = blob;
}

// Each stays within the blob, and the outermost ones lean on its edges.
void Tracker::follow_shared(const std::vector<Track*>& inside, const cv::Rect2f& blob) const
{
    const float lean = gain(0.3F);
    const float step = gain(0.1F);
    const auto by = [&](auto value) {
        return std::minmax_element(
            inside.begin(), inside.end(),
            [&](const Track* a, const Track* b) { return value(a->box) < value(b->box); });
    };
    const auto [left, right] = by([](const cv::Rect2f& box) { return centre(box).x; });
    const auto [top, ignored1] = by([](const cv::Rect2f& box) { return box.y; });
    const auto [ignored2, bottom] = by([](const cv::Rect2f& box) { return box.br().y; });
    for (Track* track : inside) {
        cv::Rect2f& box = track->box;
        const cv::Point2f expected = centre(box);
        if (track == *left)
            box.x += lean * (blob.x - box.x);
        if (track == *right)
            box.x += lean * (blob.br().x - box.br().x);
        if (track == *top)
            box.y += lean * (blob.y - box.y);
        if (track == *bottom)
            box.y += lean * (blob.br().y - box.br().y);
        box.x = clamped(box.x, box.width, blob.x, blob.width);
        box.y = clamped(box.y, box.height, blob.y, blob.height);
        track->velocity += (centre(box) - expected) * (step / seconds_);
    }
}

bool Tracker::is_lost(const Track& track) const
{
    const double half = seconds_ / 2; // no picture comes exactly in time
    if (track.is_confirmed)
        return track.missed > missed_to_end && track.unseen > seconds_to_end + half;
    return track.missed > tentative_missed_to_end && track.unseen > tentative_seconds_to_end + half;
}

void Tracker::end_lost()
{
    for (Track& track : tracks_) {
        const bool is_seen = track.blob >= 0;
        track.hits += is_seen ? 1 : 0;
        track.seen += is_seen ? seconds_ : 0;
        track.missed = is_seen ? 0 : track.missed + 1;
        track.unseen = is_seen ? 0 : track.unseen + seconds_;
        track.is_confirmed = track.is_confirmed || (track.hits >= hits_to_confirm &&
                                                    track.seen + seconds_ / 2 > seconds_to_confirm);
    }
    const auto lost = [this](const Track& track) { return is_lost(track); };
    for (const Track& track : tracks_)
        if (is_lost(track))
            end(track);
    tracks_.erase(std::remove_if(tracks_.begin(), tracks_.end(), lost), tracks_.end());
}

void Tracker::begin_new(const std::vector<cv::Rect2f>& blobs)
{
    for (std::size_t b = 0; b < blobs.size(); ++b) {
        if (is_taken_[b] != 0)
            continue;
        Track track;
        track.id = next_id_++;
        track.box = blobs[b];
        track.size = blobs[b].size();
        track.hits = 1;
        track.seen = seconds_;
        track.blob = static_cast<int>(b);
        tracks_.push_back(track);
    }
}

void Tracker::end(const Track& track)
{
    ended_.push_back({track.id, track.is_confirmed});
}

} // namespace video_search

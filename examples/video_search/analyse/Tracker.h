#pragma once

/// \file
/// Follows objects from picture to picture by the boxes of the blobs and their looks.
///
/// A track is where an object was, how large it is and how it moves. In each picture the blobs are
/// given to the tracks that expect them nearest. A blob that nobody expects begins a track, which
/// is tentative until it has been seen often enough. A track that is not seen goes on along its way
/// for a while, then it ends. Where several objects melt into one blob, each keeps its own size and
/// its way within the blob, so that they come out of it as what they went in.
///
/// Pure arithmetic: the same boxes and looks give the same tracks.
/// Threads: one at a time.

#include <opencv2/core/matx.hpp>
#include <opencv2/core/types.hpp>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace video_search {

/// What a blob looks like, roughly: the mean colour of its upper and of its lower half, three
/// numbers from 0 to 255 each.
using Look = cv::Vec6f;

/// An object in one picture.
struct Sighting {
    std::uint64_t track = 0;
    cv::Rect2f box;  ///< pixels
    int blob = -1;   ///< index of the blob it is in
    int sharers = 1; ///< how many tracks are in that blob
};

/// A track that came to its end. One that was never confirmed was a flicker.
struct Ended_Track {
    std::uint64_t track = 0;
    bool is_confirmed = false;
};

class Tracker {
public:
    /// fps  pictures per second that update() will be given, on the average
    explicit Tracker(double fps);

    /// Takes the boxes of the next picture's blobs. A gap of more than five seconds ends all tracks.
    ///
    /// looks    of the same blobs; of two that fit by their places the one that looks like the
    ///          track is taken. Without looks the places decide alone
    /// seconds  since the picture before; 0 or less for what the average rate says
    /// returns  one sighting for each track that was seen, tentative ones too, in the order in
    ///          which the tracks began
    std::vector<Sighting> update(const std::vector<cv::Rect2f>& blobs,
                                 const std::vector<Look>& looks = {}, double seconds = 0);

    /// The tracks that ended since the last call, and forgets them.
    std::vector<Ended_Track> take_ended();

    /// Ends all tracks, for take_ended().
    void finish();

private:
    struct Track {
        std::uint64_t id = 0;
        cv::Rect2f box;       // where it was, or where it is thought to be
        cv::Point2f velocity; // of the centre, pixels per second
        cv::Size2f size;      // smoothed, of the object alone
        Look look;            // smoothed, while it is alone in its blob
        bool has_look = false;
        int hits = 0;
        double seen = 0;   // seconds
        int missed = 0;    // pictures in a row
        double unseen = 0; // seconds in a row
        bool is_confirmed = false;
        int blob = -1; // in the present picture
        int sharers = 1;
    };

    void predict();
    float strangeness(std::size_t track, std::size_t blob, const std::vector<Look>& looks) const;
    static float handicap(const Track& track);
    float gain(float of_tenth) const;
    bool is_lost(const Track& track) const;
    void assign(const std::vector<cv::Rect2f>& blobs, const std::vector<Look>& looks);
    void remember_looks(const std::vector<Look>& looks);
    void absorb_pieces(std::vector<cv::Rect2f>& blobs);
    void find_sharers(const std::vector<cv::Rect2f>& blobs);
    void follow_blobs(const std::vector<cv::Rect2f>& blobs);
    int taken_blob_around(const cv::Rect2f& box, const std::vector<cv::Rect2f>& blobs) const;
    static void hide_covered(std::vector<Track*>& inside, const cv::Rect2f& blob);
    void follow_alone(Track& track, const cv::Rect2f& blob) const;
    void follow_shared(const std::vector<Track*>& inside, const cv::Rect2f& blob) const;
    void end_lost();
    void begin_new(const std::vector<cv::Rect2f>& blobs);
    void end(const Track& track);

    const double usual_seconds_; // between two pictures
    float seconds_ = 0;          // since the picture before
    std::uint64_t next_id_ = 1;
    std::vector<Track> tracks_;  // in the order in which they began
    std::vector<char> is_taken_; // per blob of the present picture
    std::vector<Ended_Track> ended_;
};

} // namespace video_search

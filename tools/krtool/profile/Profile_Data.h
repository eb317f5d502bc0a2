#pragma once

/// \file
/// What the CSV files of a ProfileHelper tell (KRCommon/frame/ProfileHelper.h), by tags. Threads: one at
/// a time.

#include <array>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace krtool {

/// A row: the tag, which may hold commas, and the five numbers behind it.
struct Profile_Row {
    std::string_view tag;
    std::int64_t time = 0; ///< ms since 1970-01-01 UTC
    std::array<double, 4> values{};
};

/// A line without its end. Nothing for a text that is no row.
[[nodiscard]] std::optional<Profile_Row> parse_profile_row(std::string_view line);

/// Of one report, or of some that follow each other.
struct Profile_Point {
    std::int64_t time = 0;
    double calls = 0;    ///< since the report before
    double total_ms = 0; ///< of these calls
    double high_ms = 0;  ///< since the last reset
};

struct Profile_Percentiles {
    std::int64_t time = 0;
    double p50_ms = 0;
    double p90_ms = 0;
    double p99_ms = 0;
};

void join(Profile_Point& into, const Profile_Point& later);
void join(Profile_Percentiles& into, const Profile_Percentiles& later);

/// Points in the order of time, at most so many: where there are more, neighbours become one.
template <typename Point>
class Point_Series {
public:
    static constexpr std::size_t limit = 1024;

    void add(const Point& point)
    {
        if (in_last_ < per_point_ && !points_.empty()) {
            join(points_.back(), point);
            ++in_last_;
            return;
        }
        if (points_.size() == limit) {
            for (std::size_t i = 0; i < limit / 2; ++i) {
                points_[i] = points_[2 * i];
                join(points_[i], points_[2 * i + 1]);
            }
            points_.resize(limit / 2);
            per_point_ *= 2;
        }
        points_.push_back(point);
        in_last_ = 1;
    }

    [[nodiscard]] const std::vector<Point>& points() const noexcept { return points_; }

private:
    std::vector<Point> points_;
    std::size_t per_point_ = 1;
    std::size_t in_last_ = 0;
};

struct Profile_Tag {
    std::uint64_t reports = 0;
    std::uint64_t resets = 0; ///< how often the figures began anew
    double calls = 0;
    double total_ms = 0;
    double high_ms = 0;
    std::int64_t first = 0; ///< report
    std::int64_t last = 0;
    Point_Series<Profile_Point> points;
    Point_Series<Profile_Percentiles> percentiles;
};

/// Memory grows with the tags, not with the rows.
class Profile_Data {
public:
    static constexpr std::size_t most_tags = 100'000;

    using Warn = std::function<void(const std::string&)>;
    using Tag_Name =
        std::pair<std::string, std::string>; ///< of the host, as the file's name tells; of the tag

    /// Reads a CSV file of either kind. What is no row is counted, and told at the end as one warning.
    /// Throws Failure when the file cannot be read, or there are too many tags.
    void read(const std::string& path, const Warn& warn);

    [[nodiscard]] const std::map<Tag_Name, Profile_Tag>& tags() const noexcept { return tags_; }

private:
    struct Sums {
        double total = 0;
        double count = 0;
        double high = 0;
    };
    using Last_Sums = std::map<std::string, Sums, std::less<>>;

    void add_row(Profile_Tag& tag, const Profile_Row& row, Sums& before);
    Profile_Tag& tag_of(const std::string& host, std::string_view tag);

    std::map<Tag_Name, Profile_Tag> tags_;
};

/// "camera" of "logs/camera_1394020800000.csv" and of "camera_1394020800000_percentiles.csv".
[[nodiscard]] std::string profile_host(const std::string& path);

} // namespace krtool

#pragma once

/// \file
/// What stands behind the log stream: it collects a text until it is flushed, which ACE does after
/// each line, and appends it to the file in use as a whole.

#include <KRCommon/frame/Log_Health.h>
#include <KRCommon/frame/Log_Ring.h>
#include <KRCommon/frame/Seam.h>
#include <KRCommon/platform/Append_File.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <ios>
#include <streambuf>
#include <string>
#include <string_view>
#include <utility>

namespace kr_internal {

/// The disk, for tests one that is full or has no descriptor left.
class Log_Disk {
public:
    virtual ~Log_Disk() = default;
    virtual bool open(kr_platform::Append_File& file, const std::string& path,
                      kr_platform::Append_File::Sharing sharing) noexcept;
    virtual std::size_t write(kr_platform::Append_File& file, std::string_view text) noexcept;
    virtual int error(const kr_platform::Append_File& file) noexcept;
};

extern Seam<Log_Disk> log_disk;

/// What the buffer does beyond writing; see KR_Log_Options.
struct Log_Policy {
    bool retries = false;    ///< a failure does not reach the stream
    bool reports = false;    ///< a failure, and its end
    bool gives_name = false; ///< others may delete and rename the file
    std::string header;      ///< names of host and program for the first line; empty: no such line
};

/// Threads: ACE's log lock is held around every call.
class Log_Buffer final : public std::streambuf {
public:
    /// When a file cannot be opened.
    enum class Old_File {
        goes,  ///< lines are lost from now on
        stays, ///< the one in use goes on, if it is good and the policy is to try again
    };

    Log_Buffer() noexcept { empty(); }

    /// Opens the file in place of the previous one, which is closed once it has got what a failure
    /// kept from it. False when the old one stays.
    bool open(std::string path, Old_File old_file) noexcept;

    void set_policy(Log_Policy policy) noexcept { policy_ = std::move(policy); }

    /// Keeps so many bytes of lines until there is a file. Throws std::bad_alloc.
    void keep_early_lines(std::size_t bytes);

    /// Writes a whole line, after what the stream may hold. False: the stream is to fail.
    bool write(std::string_view line) noexcept { return write_out() && hand_on(line); }

    /// Writes the ring's lines between two marker lines, and forgets them. Nothing without a file.
    void write_kept_lines(Log_Ring& ring) noexcept;

    /// Whether the stream may give its lines here: else it is to be in the failed state.
    bool accepts() const noexcept { return is_good_ || early_room_ > 0 || policy_.retries; }
    /// Whether lines go into a file.
    bool is_good() const noexcept { return is_good_; }
    /// Whether the path leads to the file in use.
    bool is_at(const std::string& path) const noexcept { return file_.is_at(path); }

protected:
    int_type overflow(int_type c) override;
    int sync() override;
    /// The position that is asked for by tellp() alone: the file's size.
    pos_type seekoff(off_type offset, std::ios::seekdir from, std::ios::openmode which) override;

private:
    struct Failure {
        std::int64_t began = 0; ///< steady_milliseconds()
        std::int64_t lost = 0;  ///< lines lost before
    };

    void empty() noexcept { setp(text_.data(), text_.data() + text_.size()); }
    bool write_out() noexcept;
    bool hand_on(std::string_view text) noexcept;
    bool finish_rest() noexcept;
    std::size_t put(std::string_view text, bool is_counted) noexcept;
    void put_first_lines() noexcept;
    void put_header() noexcept;
    void put_early_lines() noexcept;
    void put_end_of_failure() noexcept;
    void begin_failure(const std::string& path, int error) noexcept;

    Log_Policy policy_;
    kr_platform::Append_File file_;
    std::string path_;
    bool is_good_ = false;
    bool is_failure_open_ = false; // reported, and its end is not yet
    Failure failure_;
    std::string early_;
    std::size_t early_room_ = 0;
    std::array<char, 8192> text_; // ACE's longest line has some 4,500 characters
    std::array<char, 8192> rest_; // the end of a line of which the file has the begin
    std::size_t rest_size_ = 0;
    bool is_rest_counted_ = false; // as lost
};

} // namespace kr_internal

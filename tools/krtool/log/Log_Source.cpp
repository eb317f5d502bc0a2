#include "Log_Source.h"

#include "../host/Input.h"
#include "../host/Program.h"

#include <zlib.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <vector>

namespace krtool {

std::string error_text(int error)
{
    return std::strerror(error);
}

// Inflates gzip members, one after the other.
class Log_Source::Unpacker {
public:
    // begin: the file's first bytes, which were read to see what they are
    Unpacker(const char* begin, std::size_t size) : in_(begin, begin + size)
    {
        if (inflateInit2(&state_, gzip_window) != Z_OK)
            throw std::bad_alloc();
    }
    ~Unpacker() { inflateEnd(&state_); }
    Unpacker(const Unpacker&) = delete;
    Unpacker& operator=(const Unpacker&) = delete;

    template <typename Read>
    std::size_t read(char* out, std::size_t size, Read read_raw)
    {
        std::size_t got = 0;
        while (got == 0 && !is_over_) {
            if (used_ == in_.size() && !refill(read_raw))
                break;
            got = inflate_some(out, size);
        }
        return got;
    }

    std::string flaw(const std::string& path) const
    {
        if (is_damaged_)
            return "the compressed data of '" + path + "' are damaged after " +
                   std::to_string(unpacked_) + " unpacked bytes; what comes before is read";
        if (!is_between_members_)
            return "the compressed data of '" + path + "' are cut off after " +
                   std::to_string(unpacked_) + " unpacked bytes; what comes before is read";
        return {};
    }

private:
    static constexpr int gzip_window = 15 + 16; // the widest, gzip's header
    static constexpr std::size_t step = std::size_t{64} * 1024;

    template <typename Read>
    bool refill(Read read_raw)
    {
        in_.resize(step);
        in_.resize(read_raw(in_.data(), in_.size()));
        used_ = 0;
        is_over_ = in_.empty();
        return !is_over_;
    }

    std::size_t inflate_some(char* out, std::size_t size)
    {
        // Padding behind a member is no member.
        while (is_between_members_ && used_ < in_.size() && in_[used_] == '\0' && unpacked_ > 0)
            ++used_;
        if (used_ == in_.size())
            return 0;
        is_between_members_ = false;
        state_.next_in = reinterpret_cast<Bytef*>(&in_[used_]);
        state_.avail_in = static_cast<uInt>(in_.size() - used_);
        state_.next_out = reinterpret_cast<Bytef*>(out);
        state_.avail_out = static_cast<uInt>(size);
        const int result = inflate(&state_, Z_NO_FLUSH);
        used_ = in_.size() - state_.avail_in;
        const std::size_t got = size - state_.avail_out;
        unpacked_ += got;
        if (result == Z_STREAM_END) {
            is_between_members_ = true;
            inflateReset(&state_);
        } else if (result != Z_OK && result != Z_BUF_ERROR) {
            is_damaged_ = is_over_ = true;
        }
        return got;
    }

    z_stream state_{};
    std::vector<char> in_;
    std::size_t used_ = 0;
    std::uint64_t unpacked_ = 0;
    bool is_between_members_ = false;
    bool is_damaged_ = false;
    bool is_over_ = false;
};

Log_Source::Log_Source(const std::string& path) : path_(path)
{
    if (path == "-") {
        input_ = std::make_unique<Input>(path);
        return;
    }
    std::error_code ignored;
    if (std::filesystem::is_directory(path, ignored))
        throw Failure("'" + path + "' is a folder");
    if (const int error = file_.open(path); error != 0)
        throw Failure("cannot open '" + path + "': " + error_text(error));
}

Log_Source::~Log_Source() = default;

std::size_t Log_Source::read_raw(char* out, std::size_t size)
{
    std::size_t got = 0;
    if (input_) {
        got = input_->read(out, size);
    } else {
        const std::ptrdiff_t result = file_.read(out, size);
        if (result < 0)
            throw Failure("cannot read '" + path_ + "': " + error_text(errno));
        got = static_cast<std::size_t>(result);
    }
    bytes_read_ += got;
    return got;
}

std::size_t Log_Source::read(char* out, std::size_t size)
{
    if (!unpacker_) {
        const bool is_begin = bytes_read_ == 0;
        const std::size_t got = read_raw(out, size);
        const bool is_gzip = got >= 2 && out[0] == '\x1f' && out[1] == '\x8b';
        if (!is_begin || !is_gzip)
            return got;
        unpacker_ = std::make_unique<Unpacker>(out, got);
    }
    return unpacker_->read(out, size,
                           [this](char* to, std::size_t room) { return read_raw(to, room); });
}

std::string Log_Source::flaw() const
{
    return unpacker_ ? unpacker_->flaw(path_) : std::string();
}

std::optional<std::uint64_t> Log_Source::left() const
{
    const std::optional<File_Facts> now = facts();
    if (!now || unpacker_)
        return std::nullopt;
    return now->size > bytes_read_ ? now->size - bytes_read_ : 0;
}

void Log_Source::skip_to_end()
{
    const std::optional<File_Facts> now = facts();
    if (!now)
        return;
    if (const int error = file_.seek(now->size); error != 0)
        throw Failure("cannot read '" + path_ + "': " + error_text(error));
    bytes_read_ = now->size;
}

std::optional<File_Facts> Log_Source::facts() const
{
    File_Facts now;
    if (input_ || file_.facts(now) != 0)
        return std::nullopt;
    return now;
}

std::optional<File_Facts> facts_of(const std::string& path)
{
    Shared_File file;
    File_Facts facts;
    if (file.open(path) != 0 || file.facts(facts) != 0)
        return std::nullopt;
    return facts;
}

} // namespace krtool

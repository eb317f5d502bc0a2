#pragma once

#include <KRCommon/frame/Log_Buffer.h>

#include <algorithm>
#include <cstddef>
#include <limits>
#include <string>
#include <string_view>

/// A disk in place of the log's own while it lives: it gets full, or has no descriptor left.
class Fake_Disk : public kr_internal::Log_Disk {
public:
    static constexpr int full = 28;          // on Linux "No space left on device"
    static constexpr int no_descriptor = 24; // on Linux "Too many open files"

    Fake_Disk() { kr_internal::log_disk.replace(this); }
    ~Fake_Disk() override { kr_internal::log_disk.replace(nullptr); }
    Fake_Disk(const Fake_Disk&) = delete;
    Fake_Disk& operator=(const Fake_Disk&) = delete;

    /// So many characters are written from now on, no more.
    void set_room(std::size_t characters) { room_ = characters; }
    void set_empty() { room_ = std::numeric_limits<std::size_t>::max(); }
    void let_open(bool may_open) { may_open_ = may_open; }

    bool open(kr_platform::Append_File& file, const std::string& path,
              kr_platform::Append_File::Sharing sharing) noexcept override
    {
        error_ = may_open_ ? 0 : no_descriptor;
        return may_open_ && Log_Disk::open(file, path, sharing);
    }

    std::size_t write(kr_platform::Append_File& file, std::string_view text) noexcept override
    {
        const std::size_t written = Log_Disk::write(file, text.substr(0, room_));
        room_ -= std::min(room_, written);
        error_ = written < text.size() ? full : 0;
        return written;
    }

    int error(const kr_platform::Append_File& file) noexcept override
    {
        return error_ != 0 ? error_ : Log_Disk::error(file);
    }

private:
    std::size_t room_ = std::numeric_limits<std::size_t>::max();
    bool may_open_ = true;
    int error_ = 0;
};

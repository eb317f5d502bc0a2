#include <KRCommon/frame/Log_Stream.h>

#include <KRCommon/frame/Log_Gate.h>
#include <KRCommon/frame/Log_Health.h>
#include <KRCommon/frame/Log_Ring.h>
#include <KRCommon/platform/Platform.h>

#include <ace/Atomic_Op.h>
#include <ace/Synch_Traits.h>
#include <ace/Thread_Mutex.h>

#include <atomic>
#include <memory>
#include <ostream>
#include <utility>

namespace kr_internal {

namespace {

// Null until the first file is opened, or lines are kept for it. Never destroyed: threads of the host may log after the
// library's static objects are gone, so the stream is there for good, and open() keeps the code
// behind it loaded.
std::atomic<std::ostream*> log_stream{nullptr};

// What a thread's note says, besides note_of_joined.
constexpr unsigned char note_of_ending = 2; // ACE's object may go and come: each of them joins

// ACE's object of the thread is still there. A thread without its stream stays without.
void on_thread_end() noexcept
{
    const Log_Passage passage;
    if (passage && ACE_Log_Msg::exists() &&
        ACE_Log_Msg::instance()->msg_ostream() == log_stream.load())
        kr_platform::set_thread_note(note_of_ending);
}

void note_joined() noexcept
{
    if (kr_platform::thread_note() != 0)
        return;
    kr_platform::set_thread_note(note_of_joined);
    kr_platform::at_thread_end(&on_thread_end);
}

std::ostream* the_stream = nullptr; // made before threads are to have it; guarded by the log lock

Log_Buffer& buffer_of(std::ostream& stream) noexcept
{
    return static_cast<Log_Buffer&>(*stream.rdbuf());
}

std::ostream& make_stream()
{
    if (the_stream == nullptr) {
        auto buffer = std::make_unique<Log_Buffer>();
        the_stream = new std::ostream(buffer.get());
        static_cast<void>(buffer.release()); // both are there for good
    }
    return *the_stream;
}

void set_state(std::ostream& stream) noexcept
{
    const bool has_failed = !buffer_of(stream).accepts();
    stream.clear(has_failed ? std::ios::failbit : std::ios::goodbit);
    Log_Health::of_process().set_stream_failed(has_failed);
}

void give_stream(ACE_Log_Msg& log, std::ostream* stream) noexcept
{
    log.msg_ostream(stream, false);
    note_joined();
}

} // namespace

bool open_log_file(ACE_Log_Msg& log, const std::string& path, Log_Buffer::Old_File old_file)
{
    std::ostream& stream = make_stream();
    const bool is_changed = buffer_of(stream).open(path, old_file);
    // Nothing is thrown from here on.
    set_state(stream);
    log_stream = &stream;
    give_stream(log, &stream);
    return is_changed;
}

void set_log_policy(ACE_Log_Msg& log, Log_Policy policy, std::size_t early_bytes)
{
    std::ostream& stream = make_stream();
    Log_Buffer& buffer = buffer_of(stream);
    const bool is_early = early_bytes > 0 && log_stream == nullptr;
    if (is_early)
        buffer.keep_early_lines(early_bytes);
    buffer.set_policy(std::move(policy));
    set_state(stream);
    if (is_early) {
        log_stream = &stream;
        give_stream(log, &stream);
    }
}

const Log_Buffer* log_buffer() noexcept
{
    return the_stream != nullptr ? &buffer_of(*the_stream) : nullptr;
}

void join_log_stream(ACE_Log_Msg& log) noexcept
{
    std::ostream* const stream = log_stream;
    if (stream == nullptr)
        return;
    if (log.msg_ostream() == stream)
        note_joined(); // ACE may have handed it on
    else if (log.msg_ostream() == nullptr && kr_platform::thread_note() != note_of_joined)
        give_stream(log, stream);
}

void count_line(ACE_Log_Msg& log) noexcept
{
    const std::ostream* const stream = log_stream;
    Log_Health& health = Log_Health::of_process();
    if (health.has_stream_failed() && stream != nullptr && log.msg_ostream() == stream)
        health.count_lost(1);
}

bool write_line(ACE_Log_Msg& log, std::string_view line) noexcept
{
    std::ostream* const stream = log_stream;
    if (stream == nullptr || log.msg_ostream() != stream)
        return false;
    log.acquire();
    const bool was_good = stream->good();
    if (was_good && !buffer_of(*stream).write(line))
        stream->setstate(std::ios::badbit);
    log.release();
    return was_good;
}

void write_kept_lines(ACE_Log_Msg& log) noexcept
{
    Log_Ring* const ring = log_ring();
    std::ostream* const stream = log_stream;
    if (ring == nullptr || stream == nullptr || ring->is_empty())
        return;
    log.acquire();
    buffer_of(*stream).write_kept_lines(*ring);
    log.release();
}

void Saved_Log_Attributes::capture()
{
    using Counter = ACE_Atomic_Op<ACE_SYNCH_MUTEX, unsigned long>;
    ACE_Log_Msg::init_hook(*this);
    if (auto* const counter = static_cast<Counter*>(ostream_refcount_)) {
        // A stream that ACE counts, of the host's own: give our share back and leave it alone.
        --*counter;
        ostream_refcount_ = nullptr;
        ostream_ = nullptr;
    }
    if (std::ostream* const stream = log_stream)
        ostream_ = stream;
}

void Saved_Log_Attributes::inherit(ACE_Log_Msg& log)
{
    if (ostream_ == nullptr)
        return;
    if (log.msg_ostream() != ostream_)
        log.msg_ostream(nullptr, false); // inherit_hook would forget a counted stream's share
    ACE_Log_Msg::inherit_hook(nullptr, *this);
    note_joined();
}

} // namespace kr_internal

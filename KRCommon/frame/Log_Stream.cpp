#include <KRCommon/frame/Log_Stream.h>

#include <KRCommon/frame/Log_Gate.h>
#include <KRCommon/platform/Files.h>
#include <KRCommon/platform/Platform.h>

#include <ace/Atomic_Op.h>
#include <ace/Synch_Traits.h>
#include <ace/Thread_Mutex.h>

#include <atomic>
#include <fstream>
#include <memory>
#include <ostream>

namespace kr_internal {

namespace {

// Null until the first file is opened. Never destroyed: threads of the host may log after the
// library's static objects are gone, so the stream is there for good, and open() keeps the code
// behind it loaded.
std::atomic<std::ostream*> log_stream{nullptr};

// What a thread's note says.
constexpr unsigned char has_joined = 1;
constexpr unsigned char is_ending = 2; // ACE's object may go and come: each of them joins

// ACE's object of the thread is still there. A thread without its stream stays without.
void on_thread_end() noexcept
{
    const Log_Passage passage;
    if (passage && ACE_Log_Msg::exists() &&
        ACE_Log_Msg::instance()->msg_ostream() == log_stream.load())
        kr_platform::set_thread_note(is_ending);
}

void note_joined() noexcept
{
    if (kr_platform::thread_note() != 0)
        return;
    kr_platform::set_thread_note(has_joined);
    kr_platform::at_thread_end(&on_thread_end);
}

std::filebuf* file_of(std::ostream& stream) noexcept
{
    return static_cast<std::filebuf*>(stream.rdbuf());
}

void give_stream(ACE_Log_Msg& log, std::ostream* stream) noexcept
{
    log.msg_ostream(stream, false);
    note_joined();
}

} // namespace

void open_log_file(ACE_Log_Msg& log, const std::string& path)
{
    std::unique_ptr<std::filebuf> file = kr_platform::make_shared_buffer();
    const bool is_open =
        kr_platform::open_for_writing(*file, path, kr_platform::Write_Mode::append);
    std::ostream* stream = log_stream;
    if (stream == nullptr)
        stream = new std::ostream(nullptr);
    // Nothing is thrown from here on.
    const std::unique_ptr<std::filebuf> previous(file_of(*stream));
    stream->rdbuf(file.release()); // clears the stream's state too
    if (!is_open)
        stream->setstate(std::ios::failbit);
    log_stream = stream;
    give_stream(log, stream);
}

void join_log_stream(ACE_Log_Msg& log) noexcept
{
    std::ostream* const stream = log_stream;
    if (stream == nullptr)
        return;
    if (log.msg_ostream() == stream)
        note_joined(); // ACE may have handed it on
    else if (log.msg_ostream() == nullptr && kr_platform::thread_note() != has_joined)
        give_stream(log, stream);
}

bool has_joined_log() noexcept
{
    return kr_platform::thread_note() == has_joined;
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

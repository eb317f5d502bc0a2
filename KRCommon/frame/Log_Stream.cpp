#include <KRCommon/frame/Log_Stream.h>

#include <KRCommon/platform/Files.h>

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

thread_local bool has_joined = false;

std::filebuf* file_of(std::ostream& stream) noexcept
{
    return static_cast<std::filebuf*>(stream.rdbuf());
}

void give_stream(ACE_Log_Msg& log, std::ostream* stream) noexcept
{
    log.msg_ostream(stream, false);
    has_joined = true;
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
    if (log.msg_ostream() != nullptr || has_joined)
        return;
    if (std::ostream* const stream = log_stream)
        give_stream(log, stream);
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
    has_joined = true;
}

} // namespace kr_internal

// The Windows side of Files.h; its twin is ../linux/Files.cpp.

#include <KRCommon/platform/File_Buffer.h>

#include <fcntl.h>
#include <io.h>
#include <windows.h>

namespace kr_platform {

namespace {

constexpr int first_free_descriptor = 3;

// The right to append alone: the system itself puts each write at the file's end. The C library's
// own append mode seeks first, and another process may write in between.
HANDLE open_handle(const std::string& path, Write_Mode mode) noexcept
{
    const bool appends = mode == Write_Mode::append;
    return CreateFileA(path.c_str(), // reading is for locking
                       appends ? FILE_APPEND_DATA | GENERIC_READ : GENERIC_WRITE,
                       FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, // not inheritable
                       appends ? OPEN_ALWAYS : CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
}

// Fills the standard three, where the host has closed them, until the object goes.
class Standard_Descriptors {
public:
    Standard_Descriptors() noexcept
    {
        for (int& filler : fillers_) {
            const int descriptor = _open("NUL", _O_WRONLY | _O_NOINHERIT);
            if (descriptor >= first_free_descriptor)
                _close(descriptor);
            if (descriptor < 0 || descriptor >= first_free_descriptor)
                return;
            filler = descriptor;
        }
    }
    ~Standard_Descriptors()
    {
        for (const int filler : fillers_)
            if (filler >= 0)
                _close(filler);
    }
    Standard_Descriptors(const Standard_Descriptors&) = delete;
    Standard_Descriptors& operator=(const Standard_Descriptors&) = delete;

private:
    int fillers_[first_free_descriptor] = {-1, -1, -1};
};

// Locks a byte far behind the end of the file, which stands for the whole: no reader is stopped. A
// file that cannot be locked is written all the same.
class File_Lock {
public:
    explicit File_Lock(HANDLE file) noexcept : file_(file)
    {
        place_.OffsetHigh = 0x4000'0000;
        is_locked_ = LockFileEx(file_, LOCKFILE_EXCLUSIVE_LOCK, 0, 1, 0, &place_) != 0;
    }
    ~File_Lock()
    {
        if (is_locked_)
            UnlockFileEx(file_, 0, 1, 0, &place_);
    }
    File_Lock(const File_Lock&) = delete;
    File_Lock& operator=(const File_Lock&) = delete;

private:
    HANDLE file_;
    OVERLAPPED place_{};
    bool is_locked_ = false;
};

// The C library writes a long text in pieces, for it makes carriage returns; and Wine appends in two
// steps. So the file is locked while something is written.
class Shared_Buffer final : public std::filebuf {
private:
    HANDLE handle() noexcept
    {
        return is_open() ? reinterpret_cast<HANDLE>(_get_osfhandle(_M_file.fd()))
                         : INVALID_HANDLE_VALUE;
    }

    int sync() override
    {
        const File_Lock lock(handle());
        return std::filebuf::sync();
    }

    std::streamsize xsputn(const char* text, std::streamsize size) override
    {
        constexpr std::streamsize fits = 500; // less than the standard library's buffer
        if (size < fits && pptr() == pbase())
            return std::filebuf::xsputn(text, size); // nothing is written yet
        const File_Lock lock(handle());
        return std::filebuf::xsputn(text, size);
    }
};

} // namespace

std::unique_ptr<std::filebuf> make_shared_buffer()
{
    return std::make_unique<Shared_Buffer>();
}

bool open_for_writing(std::filebuf& file, const std::string& path, Write_Mode mode)
{
    const HANDLE handle = open_handle(path, mode);
    if (handle == INVALID_HANDLE_VALUE)
        return false;
    const Standard_Descriptors are_taken;
    const int descriptor =
        _open_osfhandle(reinterpret_cast<std::intptr_t>(handle), _O_TEXT | _O_NOINHERIT);
    if (descriptor == -1) {
        CloseHandle(handle);
        return false;
    }
    return put_behind(file, descriptor, mode, &_close);
}

} // namespace kr_platform

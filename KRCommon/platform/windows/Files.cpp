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
    return CreateFileA(path.c_str(), appends ? FILE_APPEND_DATA : GENERIC_WRITE,
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

} // namespace

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

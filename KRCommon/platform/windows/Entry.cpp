#include <KRCommon/platform/Entry.h>
#include <KRCommon/platform/Watchdog.h>

#include <windows.h>

// The library's detach notifications do nothing: the runtime's exit list destroys what is static.
extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID)
{
    if (reason == DLL_PROCESS_ATTACH)
        kr_platform::on_process_attach();
    else if (reason == DLL_THREAD_ATTACH && !kr_platform::is_watchdog())
        kr_platform::on_thread_attach();
    return TRUE;
}

#!/bin/sh
# Runs a 32-bit Windows program under Wine without a display. CMake's emulator for the
# tests; also by hand:
#   setup/wine-run.sh build/windows-x86/bin/x.exe
#   setup/wine-run.sh --stop                        ends the idle server at once
# KR_TEST_LC_ALL sets the locale and with it the ANSI code page (ru_RU.UTF-8: 1251),
# KR_TEST_TZ the time zone in POSIX form (MSK-3).
. "$(dirname "$0")/cache.sh"
export WINEPREFIX="${KRCOMMON_WINEPREFIX:-$CACHE/wine-x86}"
export WINEARCH=win32
export WINEDEBUG="${WINEDEBUG:--all}"
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree=;mshtml=;winemenubuilder.exe=d}"
export LC_ALL="${KR_TEST_LC_ALL:-C.UTF-8}" # ANSI code page 1252
export TZ="${KR_TEST_TZ:-UTC}"
unset DISPLAY WAYLAND_DISPLAY LANG

[ "${1:-}" != --stop ] || exec wineserver -k

# Start the server once, with closed handles and a long idle time. Otherwise the services
# that the first program starts inherit ctest's pipe, for which ctest then waits, and the
# server comes and goes between tests, which costs 0.7 s each time and now and then fails.
# Whoever comes meanwhile waits at the lock until the services run.
mkdir -p "$WINEPREFIX"
(
    flock 9
    wineserver -k0 2>/dev/null && exit 0
    [ -f "$WINEPREFIX/system.reg" ] || { wineboot -i 9>&-; wineserver -w 9>&-; }
    wineserver -p600 9>&-
    wine cmd /c exit 9>&-
) 9>"$WINEPREFIX.lock" </dev/null >/dev/null 2>&1

# A program's own fault ends it with an exit code (a page fault with 5). Signal 11 is Wine's own
# loader, which on a busy machine now and then crashes after the program has ended.
status=0
wine "$@" || status=$?
if [ "$status" -eq 139 ]; then
    echo "wine-run: Wine itself crashed; running the program once more" >&2
    exec wine "$@"
fi
exit "$status"

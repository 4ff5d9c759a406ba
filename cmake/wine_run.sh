#!/bin/sh
# wine_run.sh PREFIX PROGRAM [ARG...]: runs a Windows program with a Wine prefix of its own, without
# a display, without Wine's chatter, and without touching anybody's home.
set -eu
export WINEPREFIX="$1" HOME="$1" WINEDEBUG="${WINEDEBUG:--all}" WINEARCH=win64
export LC_ALL=C.UTF-8  # else Wine has no names for files beyond ASCII
export WINEDLLOVERRIDES="mscoree,mshtml,winemenubuilder.exe="
unset DISPLAY WAYLAND_DISPLAY XDG_CONFIG_HOME XDG_CACHE_HOME XDG_DATA_HOME
shift
# Debian keeps the 64-bit program off the path; its "wine" asks for the 32-bit one.
wine=/usr/lib/wine/wine64
[ -x "$wine" ] || wine=$(command -v wine64)

# Wine's loader lies low, and the kernel puts its heap up to a gigabyte above it: about one start in
# two thousand finds the heap where Windows keeps a page of its own, and ends with status 1.
fixed="setarch -R"
$fixed true 2>/dev/null || fixed=""  # not every container permits it

if [ ! -e "$WINEPREFIX/.ready" ]; then
  mkdir -p "$WINEPREFIX"
  # Several programs may start at once: the first one makes the prefix, the others wait.
  (
    flock 9
    if [ ! -e "$WINEPREFIX/.ready" ]; then
      $fixed "$wine" wineboot --init >"$WINEPREFIX/.log" 2>&1 </dev/null 9>&-
      touch "$WINEPREFIX/.ready"
    fi
  ) 9>"$WINEPREFIX/.lock"
fi
exec $fixed "$wine" "$@"

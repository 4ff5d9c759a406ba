#!/bin/sh
# wine_run.sh PREFIX PROGRAM [ARG...]: runs a Windows program with a Wine prefix of its own, without
# a display and without Wine's chatter.
set -eu
export WINEPREFIX="$1" WINEDEBUG="${WINEDEBUG:--all}" WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY || true
shift
wine=$(command -v wine64 || echo /usr/lib/wine/wine64)
if [ ! -e "$WINEPREFIX/.ready" ]; then
  mkdir -p "$WINEPREFIX"
  # Several programs may start at once; the first one makes the prefix.
  (
    flock 9
    [ -e "$WINEPREFIX/.ready" ] || { "$wine" wineboot -i >/dev/null 2>&1; touch "$WINEPREFIX/.ready"; }
  ) 9>"$WINEPREFIX/.lock"
fi
exec "$wine" "$@"

# Shared by the scripts beside this file; sourced, not run.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build="$root/build"

say() { printf '== %s\n' "$*"; }

fail() {
  printf 'error: %s\n' "$*" >&2
  exit 1
}

# Runs a command quietly; when it fails, shows the end of what it printed and one sentence.
# quietly "what failed, for people" COMMAND...
quietly() {
  local complaint=$1 log
  shift
  mkdir -p "$build/log"
  log=$(mktemp "$build/log/XXXXXX.log")
  if ! "$@" >"$log" 2>&1; then
    tail -n 40 "$log" >&2
    fail "$complaint (whole output: $log)"
  fi
  rm -f "$log"
}

# Wine runs the Windows programs; its prefix is inside the build folder, so that nothing of the
# user's own Wine is touched.
export WINEARCH=win32 WINEPREFIX="$build/wine" WINEDEBUG=-all
# No browser or .NET installer may ask questions when the prefix is made.
export WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY WAYLAND_DISPLAY

startWine() {
  if [ ! -f "$WINEPREFIX/system.reg" ]; then
    say "Making a Wine prefix in ${WINEPREFIX#"$root/"} (once, about ten seconds)"
    mkdir -p "$WINEPREFIX"
    quietly "Wine could not make its prefix in $WINEPREFIX" wineboot --init
    quietly "Wine did not finish making its prefix in $WINEPREFIX" wineserver --wait
  fi
  # A server that stays for a while saves seconds on every program that is started. Its services start with
  # the first program and would keep that one's output open, so the first one is nobody's.
  wineserver --persistent=60 2>/dev/null || true
  wine cmd /c exit >/dev/null 2>&1 </dev/null || true
}

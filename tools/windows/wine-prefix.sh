# Sourced: a fresh Wine prefix for one run, in a temporary folder.
#   wine_prefix_start [null|x11]   make it and keep Wine's services up
#   wine_prefix_stop               end its programs and remove it
# "null" draws nothing (tests need no display); "x11" draws on $DISPLAY, with
# Wine's own window frames (there may be no window manager to draw them).
wine_prefix_start() {
  export WINEPREFIX WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="  # no offers to install Mono or Gecko
  WINEPREFIX=$(mktemp -d /tmp/glintbook-wine-XXXXXX)
  wineboot -i >/dev/null 2>&1
  wineserver -w
  # Tahoma (the dialog font) and Marlett (the frame's buttons) from fonts-wine.
  ln -s /usr/share/wine/fonts/*.ttf "$WINEPREFIX/drive_c/windows/Fonts/"
  if [ "${1:-null}" = null ]; then
    wine reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1
  else
    wine reg add 'HKCU\Software\Wine\X11 Driver' /v Decorated /d N /f >/dev/null 2>&1
  fi
  wineserver -w
  # One long-lived program (cmd reading a pipe we hold open) keeps Wine's
  # services running: each test program then starts in a tenth of a second
  # instead of waiting seconds for them, and none of them holds our output.
  mkfifo "$WINEPREFIX/keep-alive"
  wine cmd <"$WINEPREFIX/keep-alive" >/dev/null 2>&1 &
  exec 9>"$WINEPREFIX/keep-alive"
  wine cmd /c exit >/dev/null 2>&1  # returns once the services are up, none of them started holding a caller's output
}

wine_prefix_stop() {
  [ -n "${WINEPREFIX:-}" ] && [ -d "$WINEPREFIX" ] || return 0
  exec 9>&-
  wineserver -k 2>/dev/null || true  # this prefix's programs only
  rm -rf "$WINEPREFIX"
}

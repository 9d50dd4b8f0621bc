# The open engine (openmw), run headless for tests: sourced by a test script.
#   engine_begin            a temporary HOME, XDG_RUNTIME_DIR and a virtual display (Xvfb, 800x600)
#   engine_start DATA FILE [openmw options...]   (one engine at a time: its window is found by name)
#                           starts a new game with DATA's Morrowind.esm and Glintbook.esp, runs the
#                           console lines of FILE once the game is up; the log goes to $ENGINE_LOG
#   engine_wait_log TEXT SECONDS, engine_wait_file PATH SECONDS
#                           wait for the engine, never longer than SECONDS
#   engine_key KEY          a key press in the engine's window (xdotool's names: F5, F12, ...)
#   engine_console LINE     a console line typed while the game runs
#   engine_picture FILE     a picture of the screen
#   engine_stop, engine_end
# Every wait has a timeout; engine_end is safe to call at any time (trap it).
ENGINE=${ENGINE:-$(command -v openmw || echo /usr/games/openmw)}
ENGINE_PID="" ENGINE_XVFB="" ENGINE_RUN=0

engine_begin() {
  ENGINE_TMP=$(mktemp -d /tmp/glintbook-engine-XXXXXX)
  export HOME=$ENGINE_TMP/home XDG_RUNTIME_DIR=$ENGINE_TMP/runtime LIBGL_ALWAYS_SOFTWARE=1
  unset XDG_CONFIG_HOME XDG_DATA_HOME
  mkdir -p "$HOME" "$XDG_RUNTIME_DIR"; chmod 700 "$XDG_RUNTIME_DIR"
  local n
  for n in $(seq 70 89); do
    [ -e "/tmp/.X11-unix/X$n" ] || [ -e "/tmp/.X$n-lock" ] && continue
    Xvfb ":$n" -screen 0 800x600x24 -nolisten tcp >/dev/null 2>&1 &
    ENGINE_XVFB=$!; export DISPLAY=":$n"; break
  done
  engine_wait_file "/tmp/.X11-unix/X${DISPLAY#:}" 10
}

engine_start() { # DATA CONSOLE_FILE [options...]
  local data=$1 console=$2; shift 2
  ENGINE_RUN=$((ENGINE_RUN + 1))
  ENGINE_LOG=$ENGINE_TMP/run$ENGINE_RUN.log
  # A data folder whose path holds a blank is quoted inside the value.
  "$ENGINE" --data "\"$data\"" --content Morrowind.esm --content Glintbook.esp --no-sound \
    --skip-menu --new-game --script-all --script-warn 2 --script-console --script-run "$console" "$@" \
    >"$ENGINE_LOG" 2>&1 &
  ENGINE_PID=$!
  local i
  for i in $(seq 100); do
    ENGINE_WINDOW=$(xdotool search --onlyvisible --name "^OpenMW" 2>/dev/null | tail -n 1) && [ -n "$ENGINE_WINDOW" ] && return 0
    kill -0 "$ENGINE_PID" 2>/dev/null || break
    sleep 0.2
  done
  echo "the engine did not open its window (log: $ENGINE_LOG)"; return 1
}

engine_wait_log() { # TEXT SECONDS
  local i
  for i in $(seq $(($2 * 5))); do
    grep -qF -- "$1" "$ENGINE_LOG" 2>/dev/null && return 0
    kill -0 "$ENGINE_PID" 2>/dev/null || break
    sleep 0.2
  done
  echo "the engine's log does not say \"$1\" (log: $ENGINE_LOG)"; return 1
}

engine_wait_file() { # PATH SECONDS
  local i
  for i in $(seq $(($2 * 5))); do
    [ -e "$1" ] && return 0
    sleep 0.2
  done
  echo "no $1 after $2 s"; return 1
}

engine_key() { xdotool key --window "$ENGINE_WINDOW" "$1"; }
engine_console() { # LINE: typed into the engine's console, which opens and closes again
  engine_key grave; sleep 0.3
  xdotool type --window "$ENGINE_WINDOW" --delay 10 "$1"; engine_key Return; sleep 0.3
  engine_key grave; sleep 1
}
engine_picture() { import -window root "$1"; }

engine_stop() {
  [ -n "$ENGINE_PID" ] || return 0
  kill "$ENGINE_PID" 2>/dev/null || true
  local i
  for i in $(seq 25); do kill -0 "$ENGINE_PID" 2>/dev/null || break; sleep 0.2; done
  kill -9 "$ENGINE_PID" 2>/dev/null || true
  wait "$ENGINE_PID" 2>/dev/null || true
  ENGINE_PID=""
}

engine_end() {
  engine_stop
  [ -n "$ENGINE_XVFB" ] && kill "$ENGINE_XVFB" 2>/dev/null || true
  ENGINE_XVFB=""
}

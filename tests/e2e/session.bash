# The pieces of a private headless session for the desktop tests, sourced by with-desktop and
# with-audio. Every process started here is stopped on exit, every step waits (bounded) for what
# the next one needs, and a step that does not get there stops the run with what it waited for
# and the logs of the session.

e2e_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
session_name=$(basename "$0")
runtime=$(mktemp -d)
chmod 700 "$runtime"
export XDG_RUNTIME_DIR="$runtime"
# What programs of the session write to their settings (the accessibility switch a test turns on,
# PulseAudio's cookie) stays in the session instead of reaching the user's own.
export GSETTINGS_BACKEND=memory XDG_CONFIG_HOME="$runtime/config"
session_pids=()

session_cleanup() {
    local i
    for ((i = ${#session_pids[@]} - 1; i >= 0; i--)); do kill "${session_pids[i]}" 2>/dev/null || true; done
    if [ -n "${DBUS_SESSION_BUS_PID:-}" ]; then kill "$DBUS_SESSION_BUS_PID" 2>/dev/null || true; fi
    wait 2>/dev/null || true
    rm -rf "$runtime"
}
trap session_cleanup EXIT

session_logs() {
    local log
    for log in "$runtime"/*.log; do
        [ -e "$log" ] || continue
        echo "--- $log" >&2
        tail -n 20 "$log" >&2
    done
}

session_fail() {
    echo "$session_name: $*" >&2
    session_logs
    exit 1
}

session_require() {
    local tool
    for tool in "$@"; do
        command -v "$tool" >/dev/null 2>&1 || session_fail "$tool is missing (make test installs it)"
    done
}

# wait_until SECONDS WHAT COMMAND...: runs COMMAND every 0.1 s until it succeeds.
wait_until() {
    local seconds=$1 what=$2
    shift 2
    local deadline=$((SECONDS + seconds))
    until "$@" >/dev/null 2>&1; do
        [ $SECONDS -lt $deadline ] || session_fail "waited ${seconds} s for $what"
        sleep 0.1
    done
}

start_background() {
    local log=$1
    shift
    "$@" >"$runtime/$log.log" 2>&1 &
    session_pids+=($!)
}

# Asks the bus itself, which never starts a service: a message to org.a11y.Bus before the launcher
# holds the name would make the bus start a second launcher, without --a11y=1, that may win the name.
a11y_bus_owner() {
    dbus-send --session --print-reply --dest=org.freedesktop.DBus /org/freedesktop/DBus \
        org.freedesktop.DBus.GetConnectionUnixProcessID string:org.a11y.Bus 2>/dev/null | awk '/uint32/ { print $2 }'
}

a11y_launcher_owns_its_name() {
    [ "$(a11y_bus_owner)" = "$1" ]
}

accessibility_is_on() {
    dbus-send --session --print-reply --dest=org.a11y.Bus /org/a11y/bus org.freedesktop.DBus.Properties.Get \
        string:org.a11y.Status string:IsEnabled 2>/dev/null | grep -q "boolean true" &&
        dbus-send --session --print-reply --dest=org.a11y.Bus /org/a11y/bus org.a11y.Bus.GetAddress 2>/dev/null |
        grep -q 'string "unix:'
}

target_state_has() {
    [ -s "$SORAWEN_TARGET_STATE" ] && grep -q "$1" "$SORAWEN_TARGET_STATE"
}

# Xvfb, openbox, a session bus with the accessibility bus switched on, and the GTK target windows
# with the text entry of "Sorawen target" focused and visible as such on the accessibility bus.
start_desktop() {
    session_require Xvfb openbox dbus-launch dbus-send xdotool xdpyinfo xprop /usr/libexec/at-spi-bus-launcher
    # Xvfb picks a free display itself and writes its number once it accepts clients: two sessions
    # started at once (other builds share the machine) never end up on one display. Without
    # -noreset the server starts over whenever its last client leaves, and refuses connections
    # meanwhile: the window manager, started right after xdpyinfo left, could not open the display.
    Xvfb -displayfd 3 -noreset -screen 0 1280x800x24 -nolisten tcp 3>"$runtime/display" >"$runtime/xvfb.log" 2>&1 &
    session_pids+=($!)
    wait_until 30 "the X server to give its display number" grep -qx '[0-9][0-9]*' "$runtime/display"
    DISPLAY=":$(cat "$runtime/display")"
    export DISPLAY
    wait_until 30 "the X server on $DISPLAY" xdpyinfo

    start_background openbox openbox
    # xdotool activates windows only once the window manager lists _NET_ACTIVE_WINDOW as supported.
    wait_until 30 "the window manager" bash -c 'xprop -root _NET_SUPPORTED | grep -q _NET_ACTIVE_WINDOW'

    eval "$(dbus-launch --sh-syntax 2>/dev/null)"
    [ -n "${DBUS_SESSION_BUS_ADDRESS:-}" ] || session_fail "dbus-launch started no session bus"
    export DBUS_SESSION_BUS_ADDRESS DBUS_SESSION_BUS_PID
    # Without --a11y=1 the launcher takes its switch from the user's settings, which are off on a
    # fresh account: the first run then found accessibility off until a test switched it on.
    start_background atspi /usr/libexec/at-spi-bus-launcher --launch-immediately --a11y=1
    local launcher=$!
    wait_until 30 "the accessibility bus launcher (process $launcher) to hold org.a11y.Bus" \
        a11y_launcher_owns_its_name "$launcher"
    wait_until 30 "the accessibility bus to run and say it is on" accessibility_is_on

    export GTK_MODULES=gail:atk-bridge NO_AT_BRIDGE=0 QT_QPA_PLATFORM=xcb QT_ACCESSIBILITY=0
    export SORAWEN_TARGET_STATE="$runtime/target-state.json"
    start_background target /usr/bin/python3 "$e2e_dir/target_app.py" "$SORAWEN_TARGET_STATE"
    export SORAWEN_TARGET_PID=$!
    wait_until 30 "the target windows" target_state_has '"texts"'
    wait_until 30 "the target window to become active" \
        timeout 5 xdotool search --name "^Sorawen target$" windowactivate --sync
    wait_until 30 "the target's text entry to take the focus" target_state_has '"focused": "plain"'
    # The tests read the focused entry through the accessibility bus; the target registers there
    # on its own time.
    /usr/bin/python3 "$e2e_dir/atspi_wait.py" "Sorawen target" text 30 2>>"$runtime/atspi-wait.log" ||
        session_fail "the target's focused text entry never showed on the accessibility bus"
}

pulse_has_source() {
    pactl list short sources 2>/dev/null | cut -f2 | grep -qx "$1"
}

# A private PulseAudio server with a null sink "mic_feed" and a source "mic" that hears it, the
# default source: whatever is played into mic_feed (paplay -d mic_feed FILE) is what the
# microphone hears. "mic" is a real source, not a sink's monitor, which the application refuses
# as a microphone. The default sink is another null sink, "speakers", so the application's own
# sounds do not reach the microphone.
start_audio() {
    session_require pulseaudio pactl paplay
    export PULSE_RUNTIME_PATH="$runtime/pulse"
    unset PULSE_SERVER
    start_background pulseaudio pulseaudio -n --daemonize=no --exit-idle-time=-1 --disable-shm=yes \
        -L module-native-protocol-unix -L "module-null-sink sink_name=mic_feed" \
        -L "module-null-sink sink_name=speakers" -L module-always-sink
    wait_until 30 "the PulseAudio server" pactl info
    pactl set-default-sink speakers || session_fail "could not make \"speakers\" the default sink"
    pactl load-module module-remap-source master=mic_feed.monitor source_name=mic >/dev/null ||
        session_fail "could not load the remap source over mic_feed.monitor"
    wait_until 10 "the source \"mic\"" pulse_has_source mic
    pactl set-default-source mic || session_fail "could not make \"mic\" the default source"
    wait_until 10 "\"mic\" to become the default source" bash -c 'pactl info | grep -qx "Default Source: mic"'
}

# Runs the test command; on failure the session's logs follow its own output.
run_in_session() {
    local status
    set +e
    "$@"
    status=$?
    set -e
    # 77: the test skipped itself.
    if [ $status -ne 0 ] && [ $status -ne 77 ]; then session_logs; fi
    return $status
}

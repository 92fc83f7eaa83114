#!/usr/bin/env bash
# Runs one Windows program of the build under Wine with the test platform's
# settings: a private 32-bit prefix inside the build folder, ANSI and OEM code
# page 932 (Japanese locale), no Wine debug noise, a fixed time zone, and an X
# display (a private Xvfb when none is set).
# Usage: wine-run.sh <build-dir> <program.exe> [args...]
set -euo pipefail

build_dir=$(cd "$1" && pwd); shift

export WINEPREFIX="$build_dir/wineprefix"
export WINEARCH=win32
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml=;winemenubuilder.exe=d"
export LANG=ja_JP.UTF-8
export LC_ALL=ja_JP.UTF-8
export TZ=${VSK_TEST_TZ:-Asia/Tokyo}

# Where the kernel cannot run 32-bit programs, qemu runs them (tools/setup.sh)
# with a fix library preloaded and the whole 4 GiB reserved up front.
# VSK_I386_EMULATED tells the tests (through Wine's environment) which
# platform facilities the emulator does not give them.
if [ -r /proc/sys/fs/binfmt_misc/qemu-i386 ] && grep -qx enabled /proc/sys/fs/binfmt_misc/qemu-i386; then
    fix_dir="$build_dir/_deps/i386-emulation"
    if [ ! -f "$fix_dir/lib/i386-linux-gnu/libvsk_qemu_i386_fix.so" ]; then
        echo "wine-run: 32-bit code runs emulated but $fix_dir is not built (run tools/setup.sh)" >&2
        exit 1
    fi
    export LD_PRELOAD="$fix_dir/\$LIB/libvsk_qemu_i386_fix.so"
    export QEMU_RESERVED_VA=0xffff0000
    # A guest base of our choosing, known to the fix library's 64-bit twin
    # in wineserver: qemu takes the lowest mappable address itself but
    # accepts only 64 KiB multiples at or above it when asked.
    min_addr=$(cat /proc/sys/vm/mmap_min_addr 2>/dev/null || echo 65536)
    guest_base=$(( (min_addr + 0xffff) / 0x10000 * 0x10000 ))
    [ "$guest_base" -ge 65536 ] || guest_base=65536
    export QEMU_GUEST_BASE=$(printf '0x%x' "$guest_base")
    export VSK_I386_EMULATED=1
fi

state_dir="$build_dir/wine-run"
mkdir -p "$state_dir"

# Closes every descriptor above stderr: daemons must not keep the caller's
# pipes open (CTest waits for them to close).
close_inherited_fds() {
    local fd
    for fd in /proc/$BASHPID/fd/*; do
        fd=${fd##*/}
        [ "$fd" -gt 2 ] && eval "exec $fd>&-"
    done
    return 0
}

# A private Xvfb, one per build folder, reused by every test of the run.
ensure_display() {
    [ -n "${DISPLAY:-}" ] && return 0
    local num_file="$state_dir/display" num
    if [ -f "$num_file" ]; then
        num=$(cat "$num_file")
        if [ -e "/tmp/.X11-unix/X$num" ] && pgrep -f "^Xvfb :$num " >/dev/null; then
            export DISPLAY=":$num"; return 0
        fi
    fi
    for num in $(seq 90 140); do
        [ -e "/tmp/.X$num-lock" ] && continue
        (
            close_inherited_fds
            exec setsid Xvfb ":$num" -screen 0 1024x768x24 -nolisten tcp </dev/null >/dev/null 2>&1
        ) &
        for _ in $(seq 1 50); do
            [ -e "/tmp/.X11-unix/X$num" ] && break
            sleep 0.1
        done
        if [ -e "/tmp/.X11-unix/X$num" ]; then
            echo "$num" >"$num_file"; export DISPLAY=":$num"; return 0
        fi
    done
    echo "wine-run: could not start Xvfb" >&2
    exit 1
}

# The prefix is made once; a persistent wineserver with its services and the
# desktop process keeps start-up cheap. They are started detached from the
# caller's descriptors.
ensure_wine_running() {
    local pid_file="$state_dir/wineserver.pid"
    if [ -f "$WINEPREFIX/.vsk-ready" ] && [ -f "$pid_file" ] && kill -0 "$(cat "$pid_file")" 2>/dev/null; then
        return 0
    fi
    (
        close_inherited_fds
        exec </dev/null >/dev/null 2>&1
        mkdir -p "$WINEPREFIX"
        wineserver -p || true
        if [ ! -f "$WINEPREFIX/.vsk-ready" ]; then
            wineboot -i || true
            touch "$WINEPREFIX/.vsk-ready"
        fi
        # Starts the services and the desktop process now, detached.
        wine cmd.exe /c exit || true
    )
    own_wineserver_pid >"$pid_file" || true
}

# The persistent wineserver of this prefix: other build folders (worktrees)
# run servers of their own, told apart by the prefix in their environment.
own_wineserver_pid() {
    local pid
    for pid in $(pgrep -f "wineserver" || true); do
        if tr '\0' '\n' <"/proc/$pid/environ" 2>/dev/null | grep -qxF "WINEPREFIX=$WINEPREFIX"; then
            echo "$pid"
            return 0
        fi
    done
    return 1
}

# The desktop process (explorer.exe /desktop) that windows, message boxes and
# consoles need. Started here, detached and for the whole life of the server,
# it is never started by a test program: it would inherit the program's
# output pipes and keep CTest waiting after the program has ended.
ensure_desktop() {
    local pid_file="$state_dir/desktop.pid"
    if [ -f "$pid_file" ] && kill -0 "$(cat "$pid_file")" 2>/dev/null; then
        return 0
    fi
    (
        close_inherited_fds
        exec </dev/null >/dev/null 2>&1
        setsid wine explorer.exe /desktop &
        echo $! >"$pid_file"
    )
}

(
    flock 9
    ensure_display
    echo "${DISPLAY}" >"$state_dir/current-display"
    ensure_wine_running
    ensure_desktop
) 9>"$state_dir/lock"
export DISPLAY=${DISPLAY:-$(cat "$state_dir/current-display")}

close_inherited_fds
exec wine "$@"

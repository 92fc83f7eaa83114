#!/usr/bin/env bash
# Installs what a fresh Debian machine lacks to build and test VoskelLIB:
# the i686 MinGW-w64 compiler, 32-bit Wine, Xvfb, CMake, GoogleTest sources,
# the ja_JP.UTF-8 locale, Python 3 (it writes a test table) and the PCRE2
# source package.
# Idempotent and quiet when everything is present; exits non-zero with a
# clear message when a package cannot be had.
set -euo pipefail

log() { printf 'setup: %s\n' "$*" >&2; }
die() { KEEP_LOGS=1; printf 'setup: error: %s\n' "$*" >&2; exit 1; }

SUDO=""
if [ "$(id -u)" -ne 0 ]; then SUDO="sudo"; fi

# This run's logs, in a folder of its own (kept only when a step fails).
LOG_DIR=$(mktemp -d "${TMPDIR:-/tmp}/voskellib-setup.XXXXXX")
trap '[ "${KEEP_LOGS:-0}" = 1 ] || rm -rf "$LOG_DIR"' EXIT
keep_logs() { KEEP_LOGS=1; }

# wine64 brings a native 64-bit wineserver, which 32-bit programs use as
# well; it matters most when 32-bit code runs emulated (see ensure_i386_exec).
# doxygen builds the API reference, which the test run checks for warnings.
PACKAGES=(wine wine32:i386 wine64 g++-mingw-w64-i686-posix xvfb xauth cmake make
          googletest locales dpkg-dev python3 doxygen)

have_package() {
    dpkg-query -W -f='${Status}' "$1" 2>/dev/null | grep -q '^install ok installed$'
}

missing_packages() {
    local p
    for p in "${PACKAGES[@]}"; do
        have_package "$p" || printf '%s\n' "$p"
    done
}

ensure_i386() {
    if ! dpkg --print-foreign-architectures | grep -qx i386; then
        log "enabling the i386 architecture"
        $SUDO dpkg --add-architecture i386
        NEED_UPDATE=1
    fi
}

# The i386 index of the security suite has been seen to fail to download
# (size mismatch), which leaves wine32's dependencies unresolvable. Pinning
# that suite low lets the main suite provide a consistent set.
ensure_security_pin() {
    local pin=/etc/apt/preferences.d/voskellib-security-pin
    if [ ! -f "$pin" ]; then
        $SUDO tee "$pin" >/dev/null <<'PIN'
Package: *
Pin: release l=Debian-Security
Pin-Priority: 1
PIN
        NEED_UPDATE=1
    fi
}

ensure_deb_src() {
    if ! grep -rqs '^Types:.*deb-src' /etc/apt/sources.list.d/ \
       && ! grep -qs '^deb-src' /etc/apt/sources.list; then
        log "adding a deb-src entry"
        local codename
        codename=$(. /etc/os-release && printf '%s' "${VERSION_CODENAME:-}")
        [ -n "$codename" ] || die "cannot read the Debian release name from /etc/os-release"
        $SUDO tee /etc/apt/sources.list.d/voskellib-src.sources >/dev/null <<SRC
Types: deb-src
URIs: http://deb.debian.org/debian
Suites: $codename
Components: main
Signed-By: /usr/share/keyrings/debian-archive-keyring.gpg
SRC
        NEED_UPDATE=1
    fi
}

apt_update() {
    [ "$UPDATED" = 1 ] && return 0
    UPDATED=1
    local attempt
    for attempt in 1 2 3; do
        log "updating package indexes"
        $SUDO apt-get update -qq >"$LOG_DIR/update.log" 2>&1 && return 0
        # A mirror in the middle of a sync serves index files whose size does
        # not match the release file; that passes within a minute or two. A
        # failure of the security suite alone is not worth the wait.
        grep '^E: Failed to fetch' "$LOG_DIR/update.log" | grep -qv 'debian-security' || break
        [ "$attempt" -lt 3 ] && sleep 30
    done
    # A failing secondary index (see ensure_security_pin) must not stop us;
    # a missing package is reported below by apt-get install itself.
    log "apt-get update reported errors; continuing (log: $LOG_DIR/update.log)"
    keep_logs
    tail -n 5 "$LOG_DIR/update.log" >&2
}

ensure_packages() {
    local missing
    missing=$(missing_packages)
    [ -z "$missing" ] && return 0
    apt_update
    log "installing: $(echo $missing)"
    # shellcheck disable=SC2086
    if ! DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends \
            $missing >"$LOG_DIR/apt.log" 2>&1; then
        tail -n 20 "$LOG_DIR/apt.log" >&2
        die "could not install: $(echo $missing) (see $LOG_DIR/apt.log)"
    fi
    missing=$(missing_packages)
    [ -z "$missing" ] || die "still missing after install: $(echo $missing)"
}

ensure_locale() {
    if ! locale -a 2>/dev/null | grep -qix 'ja_JP.utf8'; then
        log "generating the ja_JP.UTF-8 locale"
        if ! grep -qs '^ja_JP.UTF-8 UTF-8' /etc/locale.gen; then
            echo 'ja_JP.UTF-8 UTF-8' | $SUDO tee -a /etc/locale.gen >/dev/null
        fi
        $SUDO locale-gen >/dev/null 2>&1 || die "locale-gen failed for ja_JP.UTF-8"
        locale -a 2>/dev/null | grep -qix 'ja_JP.utf8' || die "ja_JP.UTF-8 locale not available"
    fi
}

# Some kernels cannot run 32-bit programs (no IA32 emulation): the 32-bit Wine
# loader then fails with "Exec format error". There the loader and every
# 32-bit process it starts run under qemu's user-mode emulator, registered
# with binfmt_misc (with the F flag, so that it works inside any mount
# namespace), and cmake/wine-run.sh preloads the fix library built below
# (tools/i386-emulation) into every emulated process.
can_run_i386() {
    /usr/lib/wine/wine --version >/dev/null 2>&1
}

i386_is_emulated() {
    [ -r /proc/sys/fs/binfmt_misc/qemu-i386 ] && grep -qx enabled /proc/sys/fs/binfmt_misc/qemu-i386
}

# Installs one package that only some machines need.
install_extra() {
    have_package "$1" && return 0
    apt_update
    DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends \
        "$1" >"$LOG_DIR/extra.log" 2>&1 \
        || { tail -n 20 "$LOG_DIR/extra.log" >&2; die "could not install $1"; }
}

ensure_i386_exec() {
    can_run_i386 && return 0
    log "this kernel cannot run 32-bit programs; using qemu user-mode emulation"
    install_extra qemu-user-static
    local misc=/proc/sys/fs/binfmt_misc
    if [ ! -e "$misc/register" ]; then
        $SUDO mount -t binfmt_misc binfmt_misc "$misc" || die "cannot mount $misc"
    fi
    if [ ! -e "$misc/qemu-i386" ]; then
        printf '%s' ':qemu-i386:M::\x7fELF\x01\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\x03\x00:\xff\xff\xff\xff\xff\xfe\xfe\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff:/usr/bin/qemu-i386-static:F' \
            | $SUDO tee "$misc/register" >/dev/null || die "cannot register qemu-i386 with binfmt_misc"
    fi
    can_run_i386 || die "32-bit programs still cannot run"
}

# Builds the library that cmake/wine-run.sh preloads into emulated 32-bit
# processes, in both classes (LD_PRELOAD names them through $LIB), into
# $1/lib/<multiarch>/libvsk_qemu_i386_fix.so.
ensure_i386_emulation_fix() {
    local dest=$1 here
    i386_is_emulated || return 0
    install_extra gcc-multilib
    here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)/i386-emulation
    local lib32="$dest/lib/i386-linux-gnu/libvsk_qemu_i386_fix.so"
    local lib64="$dest/lib/x86_64-linux-gnu/libvsk_qemu_i386_fix.so"
    if [ "$lib32" -nt "$here/qemu_i386_fix.c" ] && [ "$lib64" -nt "$here/guest_memory_fix.c" ]; then return 0; fi
    mkdir -p "$(dirname "$lib32")" "$(dirname "$lib64")"
    gcc -m32 -O2 -Wall -Werror -shared -fPIC "$here/qemu_i386_fix.c" -o "$lib32" -ldl -lpthread \
        || die "could not build the i386 emulation fix"
    gcc -O2 -Wall -Werror -shared -fPIC "$here/guest_memory_fix.c" -o "$lib64" -ldl \
        || die "could not build the i386 emulation fix (64-bit twin)"
    local check="$dest/fix_check"
    gcc -m32 -O1 -Wall -Werror "$here/fix_check.c" -o "$check" -lpthread \
        || die "could not build the i386 emulation fix check"
    LD_PRELOAD="$lib32" "$check" || { rm -f "$lib32"; die "the i386 emulation fix does not work on this machine"; }
}

# Unpacks the pcre2 source package into $1 (once). The build compiles it.
ensure_pcre2_source() {
    local dest=$1
    if compgen -G "$dest/pcre2-*/src/pcre2_compile.c" >/dev/null; then return 0; fi
    mkdir -p "$dest"
    log "fetching the pcre2 source package into $dest"
    if ! (cd "$dest" && apt-get source -qq pcre2 >"$LOG_DIR/src.log" 2>&1); then
        UPDATED=0; apt_update
        (cd "$dest" && apt-get source -qq pcre2 >"$LOG_DIR/src.log" 2>&1) \
            || { tail -n 20 "$LOG_DIR/src.log" >&2; die "could not fetch the pcre2 source package"; }
    fi
    compgen -G "$dest/pcre2-*/src/pcre2_compile.c" >/dev/null || die "pcre2 source not unpacked in $dest"
}

main() {
    local src_dir=${1:-}
    NEED_UPDATE=0
    UPDATED=0
    ensure_i386
    ensure_security_pin
    ensure_deb_src
    if [ "$NEED_UPDATE" = 1 ]; then apt_update; fi
    ensure_packages
    ensure_i386_exec
    ensure_locale
    if [ -n "$src_dir" ]; then
        ensure_pcre2_source "$src_dir"
        ensure_i386_emulation_fix "$src_dir/i386-emulation"
    fi
    return 0
}

main "$@"

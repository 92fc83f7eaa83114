#!/usr/bin/env bash
# Mounts or unmounts the small volume of the full-disk tests: a tmpfs of a
# few hundred KiB under the build folder, mapped as a drive letter of the
# build's Wine prefix. CTest runs "mount" before the suite that needs it and
# "unmount" after it (a fixture), so no mount outlives the run.
#
# The state file tells the tests what they have: "drive X:" when the volume
# is mounted and mapped, or "skip <reason>" when it could not be (not root,
# no permission to mount); the tests then skip and print the reason. Where
# mounting fails, "mount" still succeeds, so that the suite runs.
#
# Usage: small-volume.sh mount <build-dir> <size-in-KiB>
#        small-volume.sh unmount <build-dir>
set -euo pipefail

action=${1:?usage: small-volume.sh mount|unmount <build-dir> [size-in-KiB]}
build_dir=$(cd "${2:?usage: small-volume.sh mount|unmount <build-dir> [size-in-KiB]}" && pwd)
root=$(cd "$(dirname "$0")/../.." && pwd)

volume_dir="$build_dir/small-volume"
mount_point="$volume_dir/mnt"
state="$volume_dir/state.txt"
dosdevices="$build_dir/wineprefix/dosdevices"

is_mounted() { mountpoint -q "$mount_point" 2>/dev/null; }

# Unmounts, lazily when something still holds the volume (the mount is gone
# from the tree at once either way).
release_mount() {
    is_mounted || return 0
    umount "$mount_point" 2>/dev/null || umount -l "$mount_point"
}

# The drive letters of the prefix that point at the mount point.
our_letters() {
    local link
    for link in "$dosdevices"/?:; do
        [ -L "$link" ] && [ "$(readlink "$link")" = "$mount_point" ] && basename "$link"
    done
    return 0
}

remove_letters() {
    local letter
    for letter in $(our_letters); do
        rm -f "$dosdevices/$letter"
    done
}

skip() {
    printf 'skip %s\n' "$*" >"$state"
    echo "small-volume: $*" >&2
    exit 0
}

mount_volume() {
    local size_kib=${1:?usage: small-volume.sh mount <build-dir> <size-in-KiB>}
    mkdir -p "$volume_dir"
    rm -f "$state"
    # What an interrupted run left goes first.
    remove_letters
    release_mount
    mkdir -p "$mount_point"

    local error
    if ! error=$(mount -t tmpfs -o "size=${size_kib}k,mode=0777" vsk-small-volume "$mount_point" 2>&1); then
        skip "no ${size_kib} KiB tmpfs could be mounted on $mount_point: ${error:-mount failed}"
    fi

    # Wine makes the drives C: and Z: only when it creates the prefix's
    # dosdevices folder itself, so the prefix must exist before a letter is
    # added to it.
    if [ ! -d "$dosdevices" ]; then
        bash "$root/cmake/wine-run.sh" "$build_dir" cmd.exe /c exit >/dev/null 2>&1 || true
    fi
    if [ ! -d "$dosdevices" ]; then
        release_mount
        skip "the Wine prefix $build_dir/wineprefix could not be made"
    fi

    local letter
    for letter in v w x y u t s r q p o n m l k; do
        if [ ! -e "$dosdevices/$letter:" ] && [ ! -L "$dosdevices/$letter:" ]; then
            ln -s "$mount_point" "$dosdevices/$letter:"
            printf 'drive %s:\n' "${letter^^}" >"$state"
            echo "small-volume: $mount_point (${size_kib} KiB) is drive ${letter^^}:"
            return 0
        fi
    done
    release_mount
    skip "no free drive letter in $dosdevices"
}

unmount_volume() {
    remove_letters
    release_mount
    rm -f "$state"
    rmdir "$mount_point" 2>/dev/null || true
    if is_mounted; then
        echo "small-volume: $mount_point is still mounted" >&2
        exit 1
    fi
    echo "small-volume: unmounted"
}

case "$action" in
    mount) mount_volume "${3:-}" ;;
    unmount) unmount_volume ;;
    *) echo "small-volume: unknown action $action" >&2; exit 2 ;;
esac

# shellcheck shell=sh
# Mounts slow, which is back from a millisecond's distance, in the working directory; each request is a line of
# the file log. Who sources this has set $programs.

mount_slow() {
    mkdir back slow
    "$programs/slow_mount" back slow 1000 "$PWD/log" &
    slow_mount=$!
    for _ in $(seq 100); do
        ! mountpoint -q slow || return 0
        sleep 0.1
    done
    echo "slow_mount cannot mount here" >&2
    exit 1
}

# Its process ends with it.
unmount_slow() {
    umount -l slow 2>/dev/null || true
    [ -z "${slow_mount:-}" ] || wait "$slow_mount" || true
}

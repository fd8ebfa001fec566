# shellcheck shell=sh
# Two mounts, one and two, of one GlusterFS volume in the directory $place; all that it keeps is in brick. Who
# sources this says with cannot_run why it ends.

daemons=''

require_glusterfs() {
    for program in glusterfsd glusterfs; do
        command -v "$program" >/dev/null ||
            cannot_run "$program is not installed: scripts/bootstrap cluster installs it"
    done
    if ! [ -w /dev/fuse ] || [ "$(id -u)" -ne 0 ]; then
        cannot_run "no file system can be mounted here"
    fi
}

write_volume_files() {
    cat >brick.vol <<END
volume files
  type storage/posix
  option directory $place/brick
end-volume
volume locks
  type features/locks
  subvolumes files
end-volume
volume server
  type protocol/server
  option transport-type socket
  option transport.address-family unix
  option transport.socket.listen-path $place/socket
  option auth.addr.locks.allow *
  subvolumes locks
end-volume
END
    cat >client.vol <<END
volume client
  type protocol/client
  option transport-type socket
  option transport.address-family unix
  option transport.socket.connect-path $place/socket
  option remote-host localhost
  option remote-subvolume locks
end-volume
END
    # What a client puts over that by default, the innermost first.
    below=client
    for cache in write-behind readdir-ahead io-cache open-behind quick-read md-cache; do
        printf 'volume %s\n  type performance/%s\n  subvolumes %s\nend-volume\n' $cache $cache $below
        below=$cache
    done >>client.vol
}

# daemon NAME PROGRAM ARGUMENT...: returns when the program has begun its service.
daemon() {
    name=$1
    shift
    timeout 20 "$@" --pid-file="$place/$name.pid" --log-file="$place/$name.log" ||
        cannot_run "$1 does not start: $(grep ' E ' "$name.log")"
    daemons="$daemons $(cat "$name.pid")"
}

# In the working directory, which is $place.
mount_glusterfs() {
    mkdir brick one two
    write_volume_files
    daemon brick glusterfsd --volfile="$place/brick.vol"
    for mount in one two; do
        daemon "$mount" glusterfs --volfile="$place/client.vol" "$place/$mount"
    done
    [ "$(grep -cE " $place/(one|two) " /proc/mounts)" -eq 2 ] ||
        cannot_run "no file system can be mounted here"
}

unmount_glusterfs() {
    for mount in one two; do
        umount -l "$place/$mount" 2>/dev/null || true
    done
    for process in $daemons; do
        kill -9 "$process" 2>/dev/null || true
    done
}

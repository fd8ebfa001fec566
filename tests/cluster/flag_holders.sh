# shellcheck shell=sh
# What the tests of flags share: programs that hold flags, each driven over two named pipes.

# Says why the test cannot run here, and ends it: as skipped, unless it must run.
cannot_run() {
    echo "$1"
    [ -n "${VESTA2_REQUIRE_CLUSTER:-}" ] && exit 1
    exit 77
}

fail() {
    echo "$1"
    exit 1
}

# start HOLDER COMMAND...: sets $started to the process, which keeps both its pipes open.
# shellcheck disable=SC2034 # is for who asks
start() {
    rm -f "$1.in" "$1.out"
    mkfifo "$1.in" "$1.out"
    holder=$1
    shift
    "$@" <>"$holder.in" 1<>"$holder.out" &
    started=$!
}

# shellcheck disable=SC2016 # is expanded by the shell that is bounded
tell() { timeout 10 sh -c 'echo "$2" >"$1.in"' - "$1" "$2" || fail "$1 does not listen"; }

answer() { timeout 10 head -n 1 "$1.out" || fail "$1 does not answer"; }

ask() {
    tell "$1" "$2"
    answer "$1"
}

# expect HOLDER COMMAND ANSWER
expect() {
    got=$(ask "$1" "$2")
    [ "$got" = "$3" ] || fail "$1 answers \"$2\" with \"$got\" instead of \"$3\""
}

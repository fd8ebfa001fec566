# Sourced by the tests in this folder, which set $cmake and $compiler first. What they make lies in $work.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
project=$(cd "$(dirname "$0")/../.." && pwd)

# Runs a command, and shows what it wrote only when it fails.
quietly() {
    "$@" >"$work/log" 2>&1 || { cat "$work/log"; exit 1; }
}

fail() {
    echo "$*"
    exit 1
}

# Installs a build into a directory: stage_build BUILD DIRECTORY. Its list of files does not take the
# place of that which `uninstall` needs, of an installation that somebody made.
stage_build() {
    quietly "$cmake" --install "$1" --component Unspecified --prefix "$2"
}

# Builds a project as $work/NAME: build_program DIRECTORY NAME CMAKE_OPTION...
build_program() {
    directory=$1 name=$2
    shift 2
    quietly "$cmake" -G Ninja -S "$directory" -B "$work/$name" -DCMAKE_CXX_COMPILER="$compiler" "$@"
    quietly "$cmake" --build "$work/$name"
}

# shellcheck shell=sh
# What one thing more costs: the work is done few times and many times, and what the runs differ by is parted by
# the number. Who sources this has set $programs, and works where files may be written.

few=10 many=30
counted_work=$programs/counted_work

# PROGRAM ARGUMENT...: but for those on its memory and its threads.
calls_of() {
    strace -f -c -U calls,name -o report -e 'trace=!brk,mmap,munmap,mprotect,madvise,futex' "$@" >out
    awk '$2 == "total" { print $1 }' report
}

# Counters, each: WORK COUNT DIRECTORY
calls() { calls_of "$counted_work" "$@"; }
milliseconds() { "$counted_work" "$@" | awk '{ print $1 * 1000 }'; }

# difference COUNTER WORK DIRECTORY_OF_FEW DIRECTORY_OF_MANY
difference() {
    rm -rf ./*.copy
    less=$("$1" "$2" $few "$3")
    more=$("$1" "$2" $many "$4")
    awk "BEGIN { printf \"%.1f\", ($more - $less) / ($many - $few) }"
}

#!/bin/bash
# Start-up to first paint, from outside: runs the program RUNS times with an empty table and with
# FILE, under the display in $DISPLAY, and prints each time and the medians. The program reports
# its own first paints when ORVANE_PAINT_CLOCK is set; the time counts from the process's start.
# usage: bench/startup.sh PROGRAM FILE [RUNS]
set -u
program=$1
file=$2
runs=${3:-5}
work=$(mktemp -d /tmp/orvane-startup-XXXXXX)
trap 'rm -rf "$work"' EXIT
export XDG_CONFIG_HOME=$work/config XDG_DATA_HOME=$work/data ORVANE_PAINT_CLOCK=1
# A first run makes the settings and the tutorial; it isn't counted.
"$program" >"$work/log" 2>&1 &
pid=$!
sleep 3
kill "$pid" 2>/dev/null
wait "$pid" 2>/dev/null

one() { # prints the milliseconds of the first paint of $1 ("window" or "table"), wall/processor
    local what=$1
    shift
    "$program" "$@" >"$work/log" 2>&1 &
    local pid=$!
    for _ in $(seq 1 200); do
        grep -q "first paint of $what" "$work/log" && break
        sleep 0.05
    done
    kill "$pid" 2>/dev/null
    wait "$pid" 2>/dev/null
    sed -n "s/.*first paint of $what[^:]*: \([0-9-]*\) ms after start, \([0-9]*\) ms of processor.*/\1\/\2/p" \
        "$work/log" | head -1
}
median() { # of wall/processor pairs, each on its own
    local pairs
    pairs=$(cat)
    echo "$(echo "$pairs" | cut -d/ -f1 | sort -n | awk '{a[NR]=$1} END {print a[int(NR/2)+1]}') wall, $(echo "$pairs" | cut -d/ -f2 | sort -n | awk '{a[NR]=$1} END {print a[int(NR/2)+1]}') processor"
}

empty=()
withFile=()
for _ in $(seq 1 "$runs"); do
    empty+=("$(one window)")
    withFile+=("$(one table "$file")")
done
echo "empty table, first paint (ms wall/processor): ${empty[*]}; median $(printf '%s\n' "${empty[@]}" | median)"
echo "with $(du -m "$file" | cut -f1) MB file, first paint of its grid (ms wall/processor): ${withFile[*]}; median $(printf '%s\n' "${withFile[@]}" | median)"

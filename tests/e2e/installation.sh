#!/usr/bin/env bash
# Installs the build into a temporary prefix and checks what a desktop needs of it: the files in
# the freedesktop places, the desktop entry and metainfo accepted by their validators (when these
# are installed), the icons at their sizes, and the installed program starting with a file and
# closing cleanly on SIGTERM.
# Usage: installation.sh <cmake> <build dir> <test data dir>
set -uo pipefail
cmake_command=$1
build_dir=$2
data_dir=$3

work=$(mktemp -d)
program_pid=""
cleanup() {
    [ -n "$program_pid" ] && kill -KILL "$program_pid" 2>/dev/null
    rm -rf "$work"
}
trap cleanup EXIT

failures=0
fail() {
    echo "FAIL: $*" >&2
    failures=$((failures + 1))
}

prefix=$work/prefix
if ! "$cmake_command" --install "$build_dir" --prefix "$prefix" >"$work/install.log" 2>&1; then
    cat "$work/install.log" >&2
    echo "FAIL: cmake --install" >&2
    exit 1
fi

app_id=app.orvane.Orvane
desktop_file=$prefix/share/applications/$app_id.desktop
metainfo_file=$prefix/share/metainfo/$app_id.metainfo.xml
[ -x "$prefix/bin/orvane" ] || fail "bin/orvane is missing or not executable"
[ -f "$desktop_file" ] || fail "the desktop entry is missing"
[ -f "$metainfo_file" ] || fail "the metainfo file is missing"
[ -f "$prefix/share/icons/hicolor/scalable/apps/$app_id.svg" ] || fail "the scalable icon is missing"

# A PNG's width and height are the big-endian words at bytes 16 and 20 of its IHDR chunk.
png_size() {
    od -An -tu1 -j16 -N8 "$1" | awk '{ printf "%dx%d", $1*16777216+$2*65536+$3*256+$4, $5*16777216+$6*65536+$7*256+$8 }'
}
for size in 16 24 32 48 64 128 256 512; do
    png=$prefix/share/icons/hicolor/${size}x${size}/apps/$app_id.png
    if [ ! -f "$png" ]; then
        fail "icon ${size}x${size} is missing"
    elif [ "$(png_size "$png")" != "${size}x${size}" ]; then
        fail "icon in ${size}x${size} is $(png_size "$png")"
    fi
done

# The entry must start the installed program and name the icon that was installed.
if [ -f "$desktop_file" ]; then
    for line in "Name=Orvane" "GenericName=Table Editor" "Exec=orvane %F" "Icon=$app_id" \
        "Categories=Office;Spreadsheet;" "MimeType=text/csv;text/tab-separated-values;text/plain;"; do
        grep -qxF "$line" "$desktop_file" || fail "the desktop entry lacks '$line'"
    done
fi
if [ -f "$metainfo_file" ]; then
    grep -qF "<launchable type=\"desktop-id\">$app_id.desktop</launchable>" "$metainfo_file" ||
        fail "the metainfo does not launch the installed desktop entry"
    grep -q '@[A-Z_]*@' "$metainfo_file" && fail "the metainfo has unreplaced variables"
fi

if command -v desktop-file-validate >/dev/null; then
    desktop-file-validate "$desktop_file" || fail "desktop-file-validate"
else
    echo "desktop-file-validate is not installed; skipped"
fi
if command -v appstreamcli >/dev/null; then
    appstreamcli validate --no-net "$metainfo_file" || fail "appstreamcli validate"
else
    echo "appstreamcli is not installed; skipped"
fi

# The installed program, in a home of its own, opens a file and keeps it among the recent files
# that it writes to Orvane.ini when SIGTERM closes it.
home=$work/home
mkdir -p "$home" "$work/tmp"
chmod 700 "$work/tmp"
table=$work/people.csv
cp "$data_dir/shapes/lf.csv" "$table"
HOME=$home XDG_DATA_HOME=$home/.local/share XDG_CONFIG_HOME=$home/.config XDG_CACHE_HOME=$home/.cache \
    XDG_RUNTIME_DIR=$work/tmp TMPDIR=$work/tmp QT_QPA_PLATFORM=offscreen "$prefix/bin/orvane" "$table" >"$work/run.log" 2>&1 &
program_pid=$!
sleep 3
if ! kill -0 "$program_pid" 2>/dev/null; then
    cat "$work/run.log" >&2
    fail "the installed program ended by itself"
else
    kill -TERM "$program_pid"
    status=0
    for _ in $(seq 1 100); do
        kill -0 "$program_pid" 2>/dev/null || break
        sleep 0.1
    done
    if kill -0 "$program_pid" 2>/dev/null; then
        fail "the installed program did not end within 10 s of SIGTERM"
    else
        wait "$program_pid"
        status=$?
        [ "$status" -eq 0 ] || fail "the installed program ended with status $status after SIGTERM"
    fi
    program_pid=""
    ini=$(find "$home" -name Orvane.ini | head -n 1)
    if [ -z "$ini" ]; then
        fail "no Orvane.ini was written on closing"
    elif ! grep -qF "$table" "$ini"; then
        cat "$ini" >&2
        fail "the opened file is not among the recent files"
    fi
fi

[ "$failures" -eq 0 ] || exit 1
echo "installation checks passed"

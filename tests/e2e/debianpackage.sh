#!/usr/bin/env bash
# Builds the Debian package from the build and checks its contents and computed dependencies.
# Usage: debianpackage.sh <cpack> <build dir>
set -uo pipefail
cpack_command=$1
build_dir=$2

if ! command -v dpkg-shlibdeps >/dev/null || ! command -v dpkg-deb >/dev/null; then
    echo "dpkg-dev is not installed; skipped"
    exit 0
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

if ! "$cpack_command" -G DEB --config "$build_dir/CPackConfig.cmake" -B "$work" >"$work/cpack.log" 2>&1; then
    cat "$work/cpack.log" >&2
    echo "FAIL: cpack -G DEB" >&2
    exit 1
fi
packages=("$work"/*.deb)
[ ${#packages[@]} -eq 1 ] && [ -f "${packages[0]}" ] || { echo "FAIL: expected one .deb in $work" >&2; exit 1; }
deb=${packages[0]}

failures=0
contents=$(dpkg-deb -c "$deb" | awk '{ print $6 }')
for path in ./usr/bin/orvane ./usr/share/applications/app.orvane.Orvane.desktop \
    ./usr/share/metainfo/app.orvane.Orvane.metainfo.xml \
    ./usr/share/icons/hicolor/scalable/apps/app.orvane.Orvane.svg \
    ./usr/share/icons/hicolor/48x48/apps/app.orvane.Orvane.png; do
    grep -qxF "$path" <<<"$contents" || { echo "FAIL: the package lacks $path" >&2; failures=$((failures + 1)); }
done
# Nothing but the program's own files: no tests, benchmark or build leftovers.
unexpected=$(grep -v -e '/$' -e '^./usr/bin/orvane$' -e '^./usr/share/applications/' -e '^./usr/share/metainfo/' \
    -e '^./usr/share/icons/hicolor/' <<<"$contents")
[ -z "$unexpected" ] || { echo "FAIL: unexpected files in the package: $unexpected" >&2; failures=$((failures + 1)); }

depends=$(dpkg-deb -f "$deb" Depends)
for library in libqt6widgets6 libqt6gui6 libqt6core6 libc6; do
    grep -qE "(^|, )$library( |,|$)" <<<"$depends" ||
        { echo "FAIL: Depends lacks $library: $depends" >&2; failures=$((failures + 1)); }
done
[ "$(dpkg-deb -f "$deb" Package)" = orvane ] || { echo "FAIL: package name" >&2; failures=$((failures + 1)); }

[ "$failures" -eq 0 ] || exit 1
echo "Debian package checks passed: Depends: $depends"

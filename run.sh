#!/usr/bin/env bash
# Builds Orvane (release) and starts it with the given files.
set -euo pipefail
here="$(cd "$(dirname "$0")" && pwd)"
cd "$here"
source scripts/setup.sh
orvane_install_missing
orvane_ccache_env
cmake --preset release >/dev/null
cmake --build --preset release --target orvane
cd "$OLDPWD"
exec "$here/build/release/src/orvane" "$@"

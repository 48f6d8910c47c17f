#!/usr/bin/env bash
# Installs what the build needs, builds everything with warnings as errors, and runs the tests.
set -euo pipefail
cd "$(dirname "$0")"
source scripts/setup.sh
orvane_install_missing
orvane_ccache_env
orvane_check_format

preset="${ORVANE_PRESET:-release}"
cmake --preset "$preset" -DORVANE_WERROR=ON >/dev/null
cmake --build --preset "$preset"
QT_QPA_PLATFORM=offscreen ctest --preset "$preset"

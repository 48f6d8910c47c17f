#!/usr/bin/env bash
# Renders the program icon's PNG sizes from its SVG (package librsvg2-bin). Run after changing
# dist/linux/icons/app.orvane.Orvane.svg and commit the PNGs.
set -euo pipefail
cd "$(dirname "$0")/../dist/linux/icons"
for size in 16 24 32 48 64 128 256 512; do
    mkdir -p "${size}x${size}"
    rsvg-convert -w "$size" -h "$size" app.orvane.Orvane.svg -o "${size}x${size}/app.orvane.Orvane.png"
done

#!/usr/bin/env bash
# Redraws the program's PNG icons from data/kvx5130.svg (needs rsvg-convert, package librsvg2-bin).
# The PNGs are kept in the repository so that the build needs no SVG renderer.
set -euo pipefail
cd "$(dirname "$0")/.."
for size in 16 22 24 32 48 64 128 256; do
  mkdir -p "data/icons/${size}x${size}"
  rsvg-convert -w "$size" -h "$size" data/kvx5130.svg -o "data/icons/${size}x${size}/kvx5130.png"
done

#!/usr/bin/env bash
# Regenerates the pictures in docs/ (guide and README) from the real windows:
#   scripts/screenshots.sh [BUILD_DIR]
# Runs kvx5130-docshots against the simulator on a 1600x1000 virtual screen,
# once at scale 1 (every window, the report's first page) and once at scale 2
# (the main window). Needs xvfb-run and pdftoppm (scripts/setup.sh installs them).
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build}
cmake --build "$build" --target kvx5130-docshots kvx5130-sim >/dev/null
bin="$build/bin"
work=$(mktemp -d "${TMPDIR:-/tmp}/kvx5130-shots.XXXXXX")
sim_pid=
cleanup() {
  [ -n "$sim_pid" ] && kill "$sim_pid" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT

# The same seed gives the same readings, so the pictures change only with the program.
mkfifo "$work/where"
"$bin/kvx5130-sim" --pty --seed 21 >"$work/where" &
sim_pid=$!
read -r -t 10 device <"$work/where"
link="serial:$device"

screen=(-a -s "-screen 0 1600x1000x24")
xvfb-run "${screen[@]}" "$bin/kvx5130-docshots" docs "$link"
pdftoppm -png -r 96 -singlefile docs/report.pdf docs/report-page
rm -f docs/report.pdf
QT_SCALE_FACTOR=2 xvfb-run "${screen[@]}" "$bin/kvx5130-docshots" "$work" "$link" --main-only main-window-scale2
cp "$work/main-window-scale2.png" docs/
echo "screenshots.sh: pictures written to docs/"

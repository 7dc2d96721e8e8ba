#!/usr/bin/env bash
# Installs the Debian packages the build, the tests and `make run` need, when any is missing.
set -euo pipefail

packages=(
  build-essential cmake pkg-config
  qt6-base-dev qt6-base-dev-tools qt6-serialport-dev libqt6sql6-sqlite qt6-qpa-plugins libgl-dev
  libqcustomplot-dev libqcustomplot2.1-qt6
  libbenchmark-dev
  qt6-httpserver-dev qt6-websockets-dev libjs-dygraphs # the monitor page
  chromium chromium-driver python3-selenium # its test in a real browser
  fonts-dseg fonts-noto-cjk
  sqlite3 libsqlite3-dev poppler-utils xvfb xauth tzdata python3
  postgresql libqt6sql6-psql libpq-dev # the lab server: its driver, libpq, and a real server for the tests
  dpkg-dev lintian appstream desktop-file-utils # `make package` and the checks of what it installs
)

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "Installing: ${missing[*]}"
if [ "$(id -u)" -eq 0 ]; then
  sudo=()
elif command -v sudo >/dev/null 2>&1; then
  sudo=(sudo)
else
  echo "Missing packages and no way to install them (not root, no sudo): ${missing[*]}" >&2
  exit 1
fi
export DEBIAN_FRONTEND=noninteractive
"${sudo[@]}" apt-get update -q
"${sudo[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"

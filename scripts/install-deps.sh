#!/usr/bin/env bash
# Installs the Debian packages needed to build and test ZxVariant, and the
# packages named as arguments (bench/run.sh passes the benchmark's peers).
# Safe to run repeatedly: when everything is present it only checks and exits.
set -euo pipefail

# Every Debian package the build needs.  Add new ones here.
ZXV_DEB_PACKAGES=(
  g++
  cmake
  make
  pkg-config
  libgtest-dev
  libgmock-dev
  libsqlite3-dev
)
ZXV_DEB_PACKAGES+=("$@")

if ! command -v dpkg >/dev/null 2>&1; then
  echo "install-deps: dpkg not found; this script supports Debian-based systems only." >&2
  echo "install-deps: please install: ${ZXV_DEB_PACKAGES[*]}" >&2
  exit 1
fi

missing=()
for package in "${ZXV_DEB_PACKAGES[@]}"; do
  # A removed package can still be known to dpkg (config files left), so
  # look at the status line rather than the exit code alone.
  if ! dpkg -s "$package" 2>/dev/null | grep -q '^Status: install ok installed'; then
    missing+=("$package")
  fi
done

if [ "${#missing[@]}" -eq 0 ]; then
  echo "install-deps: all build dependencies are installed."
  exit 0
fi

echo "install-deps: missing packages: ${missing[*]}"

as_root=()
if [ "$(id -u)" -ne 0 ]; then
  if command -v sudo >/dev/null 2>&1; then
    as_root=(sudo)
  else
    echo "install-deps: not running as root and sudo is not available;" >&2
    echo "install-deps: run as root: apt-get update && apt-get install -y ${missing[*]}" >&2
    exit 1
  fi
fi

"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update
"${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
  apt-get install -y --no-install-recommends "${missing[@]}"
echo "install-deps: installed: ${missing[*]}"

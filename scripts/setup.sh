#!/usr/bin/env bash
# Installs the Debian packages that AutoCount needs to build and test, and
# nothing when they are all present already. Run as root (or with sudo).
set -euo pipefail

packages=(
    build-essential cmake pkg-config ccache
    qtbase5-dev libqt5charts5-dev
    libopencv-dev libtiff-dev libpng-dev libjpeg-dev
    libxlsxwriter-dev
    libgtest-dev libgmock-dev libbenchmark-dev
    python3 python3-openpyxl python3-jsonschema python3-pytest
    pybind11-dev python3-dev python3-numpy python3-pandas python3-dask python3-distributed
    libsqlite3-dev sqlite3
    xvfb xauth help2man lintian bash-completion chromium
    clang libclang-rt-14-dev
)

missing=()
for package in "${packages[@]}"; do
    if ! dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed"; then
        missing+=("$package")
    fi
done
[ ${#missing[@]} -eq 0 ] && exit 0

echo "setup: installing ${missing[*]}"
sudo_cmd=()
[ "$(id -u)" -ne 0 ] && sudo_cmd=(sudo)
export DEBIAN_FRONTEND=noninteractive
"${sudo_cmd[@]}" apt-get update -qq
"${sudo_cmd[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
echo "setup: done"

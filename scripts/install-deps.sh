#!/usr/bin/env bash
# Installs the Debian packages the builds and tests need, if any is missing.
set -euo pipefail

packages=(
  sox
  cmake ninja-build g++ googletest libbenchmark-dev zlib1g-dev
  g++-mingw-w64-i686 g++-mingw-w64-x86-64 wine64 xvfb xauth
  netpbm
)

missing=()
for package in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$package" 2>/dev/null | grep -q "install ok installed" || missing+=("$package")
done

if [ ${#missing[@]} -gt 0 ]; then
  echo "installing: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

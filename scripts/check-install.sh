#!/usr/bin/env bash
# Installs a built tree into a throw-away prefix and builds the consumer
# project in tests/consumer against it twice: through find_package(Tollivex)
# and through pkg-config. Both programs must run and succeed.
#   check-install.sh BUILD_DIR
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build=$1
work=$(mktemp -d /tmp/tollivex-install.XXXXXX)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" >/dev/null
cmake -S "$root/tests/consumer" -B "$work/cmake" -G Ninja -DCMAKE_PREFIX_PATH="$work/prefix" >/dev/null
cmake --build "$work/cmake" >/dev/null
"$work/cmake/consumer"

export PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig"
# shellcheck disable=SC2046
c++ -std=c++17 -o "$work/consumer-pc" "$root/tests/consumer/main.cpp" $(pkg-config --cflags --libs tollivex)
"$work/consumer-pc"
echo "installed package works through find_package and pkg-config"

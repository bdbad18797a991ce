#!/usr/bin/env bash
# Builds the native flavour and plays the demo game headless with scripted
# input: the asset tools make build/native/demo/TVXDEMO.LIB from assets/,
# and the game writes frames, a contact sheet and its sound to build/demo/.
# Pass --window to play it in an SDL window instead (needs a desktop).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset native >/dev/null
cmake --build --preset native --target tvxdemo demo_library -j "$(nproc 2>/dev/null || echo 2)"
mkdir -p build/demo
cd build/demo
cp ../native/demo/TVXDEMO.LIB .
../native/bin/tvxdemo "$@"
echo "the demo's frames, contact sheet and sound are in $(pwd)"

#!/usr/bin/env bash
# Builds the native flavour and runs the demo: it makes a library file of
# sprites, a font and a palette, loads it back, draws a scene into a memory
# canvas and writes the frame to build/demo/tvxdemo.png (and .ppm).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset native >/dev/null
cmake --build --preset native --target tvxdemo -j "$(nproc 2>/dev/null || echo 2)"
mkdir -p build/demo
cd build/demo
../native/bin/tvxdemo tvxdemo.ppm
pnmtopng tvxdemo.ppm >tvxdemo.png 2>/dev/null && echo "frame converted to $(pwd)/tvxdemo.png"

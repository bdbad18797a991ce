#!/usr/bin/env bash
# Builds the demo's library file from the pictures and sounds in assets/,
# with the asset tools, the way a game's build would:
#   make-demo-library.sh TOOL_DIR ASSET_DIR OUTPUT
set -euo pipefail
tools=$1
assets=$(cd "$2" && pwd)
output=$3
work=$(mktemp -d /tmp/tollivex-assets.XXXXXX)
trap 'rm -rf "$work"' EXIT
cd "$work"

"$tools/tvxpal" block "$assets/sprites.png" DEMO.LIB palette
"$tools/tvxsprite" cut "$assets/sprites.png" DEMO.LIB sprites --grid 32x32 --hot 16,16 --compress
"$tools/tvxsprite" cut "$assets/shadow.png" DEMO.LIB shadow --grid 40x12 --hot 20,6 --shade
"$tools/tvxsprite" cut "$assets/font.png" DEMO.LIB font --grid 8x12 --compress
"$tools/tvximg" "$assets/texture.png" texture.pcx
"$tools/tvxlib" add DEMO.LIB texture texture.pcx --type "PCX "
"$tools/tvximg" "$assets/background.png" backdrop.pcx
"$tools/tvxlib" add DEMO.LIB backdrop backdrop.pcx --type "PCX " --compress
for sound in click pickup boom music; do
  "$tools/tvxwav" add "$assets/$sound.wav" DEMO.LIB "$sound" --compress
done
"$tools/tvxlib" verify DEMO.LIB >/dev/null
mkdir -p "$(dirname "$output")"
mv DEMO.LIB "$output"

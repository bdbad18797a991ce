#!/usr/bin/env bash
# Builds every flavour and runs every test suite:
#   native            CTest suite
#   native-sanitize   the same under AddressSanitizer and UBSan
#   win32             the shipping DLL, with its export table checked
#   win64             the GoogleTest suite under Wine, against the real
#                     DirectDraw and DirectSound, on an Xvfb display
#   demo              the demo natively and under Wine: the two frames must
#                     be identical byte for byte
# Installs whatever a fresh Debian machine lacks first. Exits non-zero when
# any step fails.
set -uo pipefail
cd "$(dirname "$0")/.."

scripts/install-deps.sh || { echo "dependency installation failed"; exit 1; }

jobs=$(nproc 2>/dev/null || echo 2)
failed=()

step() {
  local name=$1
  shift
  echo
  echo "=== $name"
  if "$@"; then
    echo "=== $name: ok"
  else
    echo "=== $name: FAILED"
    failed+=("$name")
  fi
}

build() {
  cmake --preset "$1" >/dev/null && cmake --build --preset "$1" -j "$jobs"
}

native() {
  build native && ctest --preset native -j "$jobs"
}

sanitize() {
  build native-sanitize &&
    ASAN_OPTIONS=allocator_may_return_null=1:detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
      ctest --preset native-sanitize -j "$jobs"
}

win32() {
  build win32 && scripts/check-exports.sh build/win32/bin/tollivex.dll i686-w64-mingw32-objdump
}

# Runs a Windows program under Wine with a throw-away prefix and display.
# The X screen is 8 bits a pixel: only then does Wine's DirectDraw give the
# 8-bit surfaces the library draws into (a deeper screen gives surfaces of
# its own depth), and full screen 640 x 480 x 8 is the mode already set.
run_wine() {
  local wine=/usr/lib/wine/wine64
  command -v wine64 >/dev/null && wine=$(command -v wine64)
  # DirectSound needs an ALSA device; a null one needs no sound card.
  local -x HOME
  HOME=$(mktemp -d /tmp/tollivex-home.XXXXXX)
  printf 'pcm.!default {\n  type null\n}\n' >"$HOME/.asoundrc"
  local server=/usr/lib/wine/wineserver
  command -v wineserver >/dev/null && server=$(command -v wineserver)
  local prefix
  prefix=$(mktemp -d /tmp/tollivex-wine.XXXXXX)
  WINEPREFIX=$prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" xvfb-run -a -s "-screen 0 640x480x8" "$wine" "$@"
  local status=$?
  WINEPREFIX=$prefix "$server" -k 2>/dev/null || true
  rm -rf "$prefix"
  rm -rf "$HOME"
  return $status
}

win64() {
  build win64 && (cd build/win64/bin && run_wine ./tollivex_tests.exe --gtest_brief=1)
}

# The demo game natively, under Wine and in an SDL window (SDL's offscreen
# video and disk audio drivers): the same script must give the pinned frames
# and sound natively (tools/tvxdemo/expected.sha256: a change that alters
# what the game draws or plays updates it), the same frames and software mix
# everywhere, and the SDL card must hear sound.
demo() {
  local root=$PWD dir status=0
  dir=$(mktemp -d /tmp/tollivex-demo.XXXXXX)
  for where in native wine sdl; do
    mkdir -p "$dir/$where" && cp build/native/demo/TVXDEMO.LIB "$dir/$where/" || status=1
  done
  (cd "$dir/native" && "$root/build/native/bin/tvxdemo" >/dev/null) || status=1
  (cd "$dir/wine" && run_wine "$root/build/win64/bin/tvxdemo.exe" >/dev/null) || status=1
  (cd "$dir/sdl" && TOLLIVEX_DEVICE=sdl2 SDL_VIDEODRIVER=offscreen SDL_AUDIODRIVER=disk \
    "$root/build/native/bin/tvxdemo" --window --frames 120 >/dev/null 2>&1) || status=1
  (cd "$dir/native" && sha256sum --quiet -c "$root/tools/tvxdemo/expected.sha256") || status=1
  for file in tvxdemo-frame3.png tvxdemo-frame27.png tvxdemo-frame90.png tvxdemo-frame200.png \
              tvxdemo-frame299.png tvxdemo-sheet.png tvxdemo-mix.wav; do
    cmp "$dir/native/$file" "$dir/wine/$file" || status=1
  done
  for file in tvxdemo-frame3.png tvxdemo-frame27.png tvxdemo-frame90.png; do
    cmp "$dir/native/$file" "$dir/sdl/$file" || status=1
  done
  local heard
  heard=$(tr -d '\200' <"$dir/sdl/sdlaudio.raw" 2>/dev/null | wc -c)
  [ "${heard:-0}" -gt 0 ] || { echo "the SDL card heard only silence"; status=1; }
  [ $status -eq 0 ] && echo "demo frames and mix identical natively, under Wine and in an SDL window; the SDL card played $heard sounding bytes"
  rm -rf "$dir"
  return $status
}

step native native
step native-sanitize sanitize
step win32 win32
step win64 win64
step demo demo

echo
if [ ${#failed[@]} -gt 0 ]; then
  echo "failed steps: ${failed[*]}"
  exit 1
fi
echo "all steps passed"

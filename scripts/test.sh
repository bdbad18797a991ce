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
run_wine() {
  local wine=/usr/lib/wine/wine64
  command -v wine64 >/dev/null && wine=$(command -v wine64)
  # DirectSound needs an ALSA device; a null one needs no sound card.
  local -x HOME
  HOME=$(mktemp -d /tmp/tollivex-home.XXXXXX)
  printf 'pcm.!default {\n  type null\n}\n' >"$HOME/.asoundrc"
  local prefix
  prefix=$(mktemp -d /tmp/tollivex-wine.XXXXXX)
  WINEPREFIX=$prefix WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml=" xvfb-run -a "$wine" "$@"
  local status=$?
  WINEPREFIX=$prefix wineserver -k 2>/dev/null || true
  rm -rf "$prefix"
  rm -rf "$HOME"
  return $status
}

win64() {
  build win64 && (cd build/win64/bin && run_wine ./tollivex_tests.exe --gtest_brief=1)
}

demo() {
  local root=$PWD
  local dir
  dir=$(mktemp -d /tmp/tollivex-demo.XXXXXX)
  mkdir -p "$dir/native" "$dir/wine"
  (cd "$dir/native" && "$root/build/native/bin/tvxdemo" frame.ppm) &&
    (cd "$dir/wine" && run_wine "$root/build/win64/bin/tvxdemo.exe" frame.ppm) &&
    cmp "$dir/native/frame.ppm" "$dir/wine/frame.ppm" &&
    echo "demo frames are identical natively and under Wine"
  local status=$?
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

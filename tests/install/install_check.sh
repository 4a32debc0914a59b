#!/usr/bin/env bash
# Installs the build into a fresh prefix, builds a small module against it
# with find_package(libSonvane CONFIG), and runs that module under Wine.
set -euo pipefail
BUILD=$(cd "$1" && pwd)
SOURCE=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
WORK=$(mktemp -d "$BUILD/install-check.XXXXXX")
trap 'rm -rf "$WORK"' EXIT

cmake --install "$BUILD" --prefix "$WORK/prefix" >/dev/null
cmake -S "$SOURCE/tests/install/consumer" -B "$WORK/build" -G Ninja \
  -DCMAKE_TOOLCHAIN_FILE="$SOURCE/cmake/toolchain-mingw64.cmake" \
  -DCMAKE_PREFIX_PATH="$WORK/prefix" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$WORK/build" >/dev/null
cp "$WORK/prefix/bin/"*.dll "$WORK/build/"
"$SOURCE/scripts/winerun" "$WORK/build/consumer.exe"

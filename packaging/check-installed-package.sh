#!/usr/bin/env bash
# Installs a built tree into a scratch prefix and builds a small consumer program against it
# from outside the source tree, once through the CMake package and once through pkg-config.
#   packaging/check-installed-package.sh <build-dir>
set -euo pipefail
build="$(cd "${1:?usage: $0 <build-dir>}" && pwd)"
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
work="$(mktemp -d)"
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/prefix" > "$work/install.log"

cmake -S "$here/consumer" -B "$work/cmake-consumer" -DCMAKE_PREFIX_PATH="$work/prefix" > /dev/null
cmake --build "$work/cmake-consumer" > /dev/null
"$work/cmake-consumer/telemetry_consumer"

export PKG_CONFIG_PATH="$work/prefix/lib/pkgconfig"
# shellcheck disable=SC2046
g++ -std=c++20 -o "$work/pc-consumer" "$here/consumer/main.cpp" $(pkg-config --cflags --libs halcyon-telemetry)
"$work/pc-consumer"
echo "installed package: CMake and pkg-config consumers build and run"

#!/usr/bin/env bash
# The demo: builds the library (optimised) and the example program
# examples/zq_demo.cpp, then runs it on a picture of yours or on a built-in test
# pattern. It writes PNG files to out/ and prints a table of operations, roads,
# times per frame, PSNR and largest differences.
#
#   scripts/demo.sh               the built-in test pattern
#   scripts/demo.sh photo.png     your picture (any PNG; it is read as 8-bit B, G, R)
#
# Needs: cmake (3.20 or later), ninja, a C++20 compiler, libpng with its headers
# (Debian: cmake ninja-build g++ libpng-dev). Run as root it installs libpng-dev
# when missing. Environment: ZQ_DEMO_BUILD_DIR (default build-demo),
# ZQ_DEMO_OUT (default out).
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${ZQ_DEMO_BUILD_DIR:-$root/build-demo}
out=${ZQ_DEMO_OUT:-$root/out}

case "${1:-}" in
-h | --help)
    sed -n '2,15p' "${BASH_SOURCE[0]}" | sed 's/^# \{0,1\}//'
    exit 0
    ;;
esac
if [ $# -gt 1 ]; then
    echo "usage: $0 [picture.png]" >&2
    exit 2
fi
input=""
if [ $# -eq 1 ]; then
    if [ ! -r "$1" ]; then
        echo "cannot read $1" >&2
        exit 1
    fi
    input=$(cd "$(dirname "$1")" && pwd)/$(basename "$1")
fi

for tool in cmake ninja; do
    command -v "$tool" >/dev/null || { echo "$tool is needed (Debian: cmake ninja-build)" >&2; exit 1; }
done
if ! dpkg-query -W -f='${Status}' libpng-dev 2>/dev/null | grep -q 'install ok installed'; then
    if [ "$(id -u)" -eq 0 ]; then
        DEBIAN_FRONTEND=noninteractive apt-get install -y -qq libpng-dev >/dev/null
    else
        echo "libpng-dev is needed: sudo apt-get install libpng-dev" >&2
        exit 1
    fi
fi

cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DZQ_BUILD_TESTS=OFF \
    -DZQ_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" --target zq_demo >/dev/null
"$build/examples/zq_demo" "$out" ${input:+"$input"}

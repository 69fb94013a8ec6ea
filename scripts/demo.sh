#!/usr/bin/env bash
# The main job: builds the library (optimised) and the example program, then
# runs it. With a PNG file as argument it works on that picture, otherwise on
# a built-in test pattern. Results go to out/ as PNG files, with a table of
# operations, sizes and times per frame.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=${ZQ_DEMO_BUILD_DIR:-$root/build-demo}

if ! dpkg-query -W -f='${Status}' libpng-dev 2>/dev/null | grep -q 'install ok installed'; then
    if [ "$(id -u)" -eq 0 ]; then
        DEBIAN_FRONTEND=noninteractive apt-get install -y -qq libpng-dev >/dev/null
    else
        echo "libpng-dev is needed" >&2
        exit 1
    fi
fi

cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DZQ_BUILD_TESTS=OFF \
    -DZQ_BUILD_BENCH=OFF >/dev/null
cmake --build "$build" --target zq_demo >/dev/null
"$build/examples/zq_demo" "$root/out" ${1:+"$1"}

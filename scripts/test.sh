#!/usr/bin/env bash
# The one test command: builds and runs every test in four configurations,
#   native  - optimised x86-64 at the default level (also installs and consumes the package)
#   asan    - AddressSanitizer and UndefinedBehaviorSanitizer
#   arm     - 32-bit ARM, NEON + VFPv4, run under qemu-arm
#   v3      - optimised x86-64 at level v3 (AVX2, FMA): the same bytes from other vector code
# then the library and its threads test under ThreadSanitizer (tsan), and the libFuzzer
# targets of tests/fuzz (fuzz, clang with ASan and UBSan), each run for ZQ_FUZZ_SECONDS
# (default 30) from its corpus in tests/fuzz/corpus.
# On a fresh Debian machine (as root) it first installs what is missing.
# Exits non-zero when any configuration fails.
set -uo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
out=${ZQ_TEST_BUILD_DIR:-$root/build-test}
jobs=$(nproc 2>/dev/null || echo 2)

packages=(cmake ninja-build g++ pkg-config libgtest-dev libgmock-dev libbenchmark-dev libpng-dev
          g++-arm-linux-gnueabihf qemu-user clang-14 libclang-rt-14-dev)
missing=()
for pkg in "${packages[@]}"; do
    dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed' || missing+=("$pkg")
done
if ((${#missing[@]})); then
    echo "== installing: ${missing[*]}"
    if [ "$(id -u)" -ne 0 ]; then
        echo "not root: install these packages first" >&2
        exit 1
    fi
    export DEBIAN_FRONTEND=noninteractive
    apt-get update -qq && apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null ||
        { echo "package installation failed" >&2; exit 1; }
fi

sanitize="-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer"
declare -A summary
failed=0

run() {
    local name=$1
    shift
    local dir=$out/$name
    echo "== [$name] configure and build"
    if ! cmake -S "$root" -B "$dir" -G Ninja "$@" >"$dir.configure.log" 2>&1; then
        cat "$dir.configure.log"
        summary[$name]="configure failed"
        failed=1
        return
    fi
    # $targets and $tests (optional) narrow a configuration to some targets and tests.
    if ! cmake --build "$dir" -j "$jobs" ${targets:+--target $targets} >"$dir.build.log" 2>&1; then
        tail -n 60 "$dir.build.log"
        summary[$name]="build failed"
        failed=1
        return
    fi
    echo "== [$name] test"
    local log=$dir.ctest.log
    (cd "$dir" && ctest -j "$jobs" --output-on-failure --timeout 600 ${tests:+-R "$tests"}) >"$log" 2>&1
    local rc=$?
    grep -E -A30 '(\*\*\*Failed|\*\*\*Exception|Timeout|Errors while running)' "$log" | head -n 200
    summary[$name]=$(grep -E 'tests passed|tests failed' "$log" | tail -n 1)
    [ -n "${summary[$name]}" ] || summary[$name]="ctest rc $rc"
    if [ $rc -ne 0 ]; then failed=1; fi
}

mkdir -p "$out"
run native -DCMAKE_BUILD_TYPE=Release
run asan -DCMAKE_BUILD_TYPE=Debug -DZQ_BUILD_BENCH=OFF -DZQ_BUILD_EXAMPLES=OFF \
    -DZQ_INSTALL_TEST=OFF -DCMAKE_CXX_FLAGS="-O1 $sanitize" \
    -DCMAKE_EXE_LINKER_FLAGS="$sanitize" -DCMAKE_SHARED_LINKER_FLAGS="$sanitize"
run arm -DCMAKE_BUILD_TYPE=Release -DCMAKE_TOOLCHAIN_FILE="$root/cmake/toolchain-armv7-neon.cmake" \
    -DZQ_BUILD_BENCH=OFF -DZQ_BUILD_EXAMPLES=OFF
run v3 -DCMAKE_BUILD_TYPE=Release -DZQ_X86_LEVEL=v3 -DZQ_BUILD_BENCH=OFF -DZQ_BUILD_EXAMPLES=OFF \
    -DZQ_INSTALL_TEST=OFF

targets=test_threads tests='^threads\.' run tsan -DCMAKE_BUILD_TYPE=Debug -DZQ_BUILD_BENCH=OFF \
    -DZQ_BUILD_EXAMPLES=OFF -DZQ_INSTALL_TEST=OFF -DCMAKE_CXX_FLAGS="-O1 -fsanitize=thread -g" \
    -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=thread" -DCMAKE_SHARED_LINKER_FLAGS="-fsanitize=thread"

# Each fuzz target runs from a copy of its corpus (libFuzzer adds what it finds to the
# first directory); a crash fails the run, and its log names the reproducer. The library
# may ask for a block of up to 4 GiB (a kernel store of up to 2 GiB of which only the rows
# written become resident), so single allocations may pass the 2 GiB resident limit.
fuzz() {
    local dir=$out/fuzz
    local flags="-O1 -g -fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=all"
    flags+=" -fno-omit-frame-pointer"
    local link="-fsanitize=address,undefined"
    echo "== [fuzz] configure and build"
    if ! cmake -S "$root" -B "$dir" -G Ninja -DCMAKE_CXX_COMPILER=clang++-14 -DCMAKE_BUILD_TYPE=Debug \
        -DZQ_BUILD_TESTS=OFF -DZQ_BUILD_BENCH=OFF -DZQ_BUILD_EXAMPLES=OFF -DZQ_INSTALL_TEST=OFF \
        -DZQ_BUILD_FUZZ=ON -DCMAKE_CXX_FLAGS="$flags" -DCMAKE_EXE_LINKER_FLAGS="$link" \
        -DCMAKE_SHARED_LINKER_FLAGS="$link" >"$dir.configure.log" 2>&1 ||
        ! cmake --build "$dir" -j "$jobs" >"$dir.build.log" 2>&1; then
        tail -n 60 "$dir.configure.log" "$dir.build.log" 2>/dev/null
        summary[fuzz]="build failed"
        failed=1
        return
    fi
    local seconds=${ZQ_FUZZ_SECONDS:-30} results=()
    for target in scalers converter backends wrapped; do
        echo "== [fuzz] $target, $seconds s"
        local work=$dir/corpus-$target log=$dir/$target.log
        rm -rf "$work" && mkdir -p "$work"
        if "$dir/tests/fuzz/fuzz_$target" "$work" "$root/tests/fuzz/corpus/$target" \
            -max_total_time="$seconds" -timeout=25 -rss_limit_mb=2048 -malloc_limit_mb=4200 \
            -print_final_stats=1 -artifact_prefix="$dir/$target-" >"$log" 2>&1; then
            results+=("$target $(grep -o 'number_of_executed_units: *[0-9]*' "$log" | grep -o '[0-9]*$') runs")
        else
            grep -E -A40 'ERROR|runtime error|deadly signal|Test unit written' "$log" | head -n 80
            echo "reproduce: $dir/tests/fuzz/fuzz_$target <the crash file named above>"
            results+=("$target FAILED")
            failed=1
        fi
    done
    summary[fuzz]=$(printf '%s; ' "${results[@]}")
}
fuzz

echo
echo "== summary"
for name in native asan arm v3 tsan fuzz; do
    printf '%-7s %s\n' "$name" "${summary[$name]:-not run}"
done
exit $failed

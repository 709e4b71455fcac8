#!/usr/bin/env bash
# Runs every fuzz harness for FUZZ_SECONDS under libFuzzer with the address and undefined-behaviour
# sanitizers. New inputs go to build/fuzz/corpus/NAME; the checked-in seeds are only read. A crash
# leaves its input in build/fuzz/artifacts: once fixed, copy it into tests/fuzz/corpus/NAME so
# that `make test` replays it for good.
set -uo pipefail
seconds="${1:-60}"
cd "$(dirname "$0")/.."
cxx=$(command -v clang++-14 || command -v clang++ || true)
cc=$(command -v clang-14 || command -v clang || true)
if [ -z "$cxx" ] || [ -z "$cc" ]; then
    echo "fuzz: skipped, clang with libFuzzer is not installed (scripts/install-deps.sh fuzz)"
    exit 0
fi
cmake -S . -B build/fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DVISTREL_FUZZ=ON \
    -DCMAKE_C_COMPILER="$cc" -DCMAKE_CXX_COMPILER="$cxx" >/dev/null || exit 1
cmake --build build/fuzz --target fuzzers || exit 1
mkdir -p build/fuzz/artifacts
status=0
for seeds in tests/fuzz/corpus/*/; do
    name=$(basename "$seeds")
    mkdir -p "build/fuzz/corpus/$name"
    echo "fuzz: $name for ${seconds}s"
    if ! build/fuzz/bin/"$name" -max_total_time="$seconds" -print_final_stats=1 \
            -artifact_prefix="build/fuzz/artifacts/$name-" "build/fuzz/corpus/$name" "$seeds" \
            >"build/fuzz/$name.log" 2>&1; then
        echo "fuzz: $name FAILED, see build/fuzz/$name.log and build/fuzz/artifacts/"
        status=1
    fi
    grep -E "stat::number_of_executed_units|cov:" "build/fuzz/$name.log" | tail -n 2
done
exit $status

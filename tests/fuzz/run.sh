#!/usr/bin/env bash
# Builds the fuzz targets of the import readers and of the back end's frame decoding with clang and runs each for a bounded
# time on a seed corpus the project writes itself. Findings go to FUZZ_OUT (default: a
# folder under /tmp), and the script fails when a target found one.
# Usage: tests/fuzz/run.sh [seconds per target, default 60]
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
seconds=${1:-60}
build=${FUZZ_BUILD:-$root/build-fuzz}
out=${FUZZ_OUT:-$(mktemp -d /tmp/tz-fuzz-XXXXXX)}

source "$root/scripts/common.sh"
tz_install_packages
tz_install_packages "${TZ_FUZZ_PACKAGES[@]}"
if [ ! -f "$build/CMakeCache.txt" ]; then
  CC=clang CXX=clang++ cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
    -DTZ_BUILD_TESTS=ON >/dev/null
fi
targets=(fuzz_csv fuzz_zip fuzz_xlsx fuzz_xml fuzz_wire)
cmake --build "$build" --target fuzz_seeds "${targets[@]}" -j "$(nproc)" >/dev/null

"$build/fuzz_seeds" "$out/seeds"
declare -A corpus=([fuzz_csv]=csv [fuzz_zip]=zip [fuzz_xlsx]=xlsx [fuzz_xml]=xml [fuzz_wire]=wire)
failed=0
for target in "${targets[@]}"; do
  work="$out/$target"
  mkdir -p "$work/corpus" "$work/findings"
  cp "$out/seeds/${corpus[$target]}"/* "$work/corpus/"
  echo "== $target: ${seconds}s"
  if ! QT_QPA_PLATFORM=offscreen "$build/$target" "$work/corpus" \
        -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 -max_len=262144 \
        -print_final_stats=1 -artifact_prefix="$work/findings/" 2>"$work/log"; then
    failed=1
    echo "$target found a fault; see $work/log and $work/findings" >&2
  fi
  grep -E "stat::number_of_executed_units|stat::peak_rss_mb" "$work/log" | sed 's/^/   /'
done
echo "corpora and logs: $out"
exit "$failed"

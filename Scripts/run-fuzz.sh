#!/usr/bin/env bash
# Runs every fuzz target built in BUILD/Fuzz for SECONDS each. Seeds come from
# Fuzz/corpus/<target>/ when that exists; the working corpus grows in
# BUILD/corpus/<target>/. A finding fails the run and leaves its crash file.
set -euo pipefail
build=${1:?build directory}
seconds=${2:-10}
root=$(cd "$(dirname "$0")/.." && pwd)
status=0
found=0
for target in "$build"/Fuzz/*; do
  [ -f "$target" ] && [ -x "$target" ] || continue
  found=1
  name=$(basename "$target")
  corpus="$build/corpus/$name"
  mkdir -p "$corpus"
  seeds=()
  [ -d "$root/Fuzz/corpus/$name" ] && seeds=("$root/Fuzz/corpus/$name")
  echo "== $name for ${seconds}s"
  if ! "$target" -max_total_time="$seconds" -print_final_stats=1 -artifact_prefix="$build/$name-" \
       "$corpus" "${seeds[@]}" 2>"$build/$name.log"; then
    echo "$name: finding; see $build/$name.log" >&2
    tail -n 30 "$build/$name.log" >&2
    status=1
  else
    grep -E 'stat::number_of_executed_units|cov:' "$build/$name.log" | tail -n 2
  fi
done
[ "$found" -eq 1 ] || echo "no fuzz targets yet"
exit $status

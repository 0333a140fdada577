#!/usr/bin/env bash
# Makes the benchmark data sets once and keeps them in CACHE: for each size N,
# N POIs over all provinces from the sample generator (CACHE/N/src) and that
# source compiled with poi build (CACHE/N/out). A set is generated again only
# when it is missing, and compiled again when the poi binary is newer than it.
# The build's wall time and peak resident memory go to CACHE/N/build-time.txt
# ("SECONDS KILOBYTES", from /usr/bin/time); a set without it is compiled again.
# Usage: Scripts/bench-data.sh POI_BINARY CACHE N [N ...]
set -euo pipefail
poi=${1:?poi binary}
cache=${2:?cache directory}
shift 2
root=$(cd "$(dirname "$0")/.." && pwd)
for n in "$@"; do
  dir="$cache/$n"
  mkdir -p "$dir"
  if [ ! -f "$dir/src/.complete" ]; then
    echo "bench data: generating $n POIs into $dir/src (once; about a minute per million)"
    rm -rf "$dir/src.tmp"
    python3 "$root/Scripts/make-sample.py" --pois "$n" --out "$dir/src.tmp" > "$dir/generate.log"
    touch "$dir/src.tmp/.complete"
    rm -rf "$dir/src"
    mv "$dir/src.tmp" "$dir/src"
  fi
  stamp="$dir/out/POI/datasets.txt"
  if [ ! -f "$stamp" ] || [ ! -f "$dir/build-time.txt" ] || [ "$poi" -nt "$stamp" ] || [ "$dir/src/.complete" -nt "$stamp" ]; then
    echo "bench data: compiling $dir/src into $dir/out"
    rm -f "$dir/build-time.txt"
    /usr/bin/time -f '%e %M' -o "$dir/build-time.tmp" "$poi" build "$dir/src" "$dir/out" > "$dir/build.log"
    mv "$dir/build-time.tmp" "$dir/build-time.txt"
    tail -n 1 "$dir/build.log"
  fi
done

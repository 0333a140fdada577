#!/usr/bin/env bash
# Uses the engine as an application does, from an installed copy only:
# installs BUILD into WORK/prefix, checks that every installed header compiles
# on its own include path, builds examples/keypad once with find_package and
# once with pkg-config, runs the installed poi's tour (which compiles the
# installed sample) and both keypads on its data, checking what they print
# against `poi search`.
# Usage: Scripts/check-install.sh BUILD WORK
set -euo pipefail
src=$(cd "$(dirname "$0")/.." && pwd)
build=$1
work=$2
prefix=$work/prefix
fail() { echo "check-install: $*" >&2; exit 1; }

rm -rf "$work"
mkdir -p "$work"
cmake --install "$build" --prefix "$prefix" > "$work/install.log"

# Every installed header, included alone, on nothing but the installed tree.
headers=$(cd "$prefix/include/POIEngine" && find . -name '*.h' | sort | sed 's|^\./||')
[ -n "$headers" ] || fail "no header installed"
for h in $headers; do echo "#include \"$h\""; done > "$work/all-headers.cpp"
echo 'int main() { return 0; }' >> "$work/all-headers.cpp"
c++ -std=c++17 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -I "$prefix/include/POIEngine" "$work/all-headers.cpp" \
    2> "$work/headers.log" ||
  { cat "$work/headers.log" >&2; fail "the installed headers do not compile on their own"; }

# The example, with find_package: its own project, nothing from the source tree.
flags="-Wall -Wextra -Wpedantic -Werror"
cmake -S "$src/examples/keypad" -B "$work/keypad-cmake" -DCMAKE_PREFIX_PATH="$prefix" \
      -DCMAKE_CXX_FLAGS="$flags" > "$work/keypad-cmake.log" 2>&1 ||
  { cat "$work/keypad-cmake.log" >&2; fail "find_package(POIEngine 0.2) failed against $prefix"; }
cmake --build "$work/keypad-cmake" > "$work/keypad-build.log" 2>&1 ||
  { cat "$work/keypad-build.log" >&2; fail "the keypad does not build with find_package"; }

# The version file accepts what SameMajorVersion accepts: 0.x up to the
# installed version, no other major version.
printf 'include("%s")\nmessage("${PACKAGE_VERSION_COMPATIBLE}")\n' \
  "$prefix/lib/cmake/POIEngine/POIEngineConfigVersion.cmake" > "$work/version.cmake"
for want in 0.1:TRUE 0.2:TRUE 0.2.0:TRUE 0.3:FALSE 1.0:FALSE; do
  version=${want%%:*}
  answer=$(cmake -DPACKAGE_FIND_VERSION="$version" -DPACKAGE_FIND_VERSION_MAJOR="${version%%.*}" -P "$work/version.cmake" 2>&1)
  [ "$answer" = "${want#*:}" ] || fail "find_package(POIEngine ${want%%:*}) would answer '$answer', not ${want#*:}"
done

# The same with pkg-config.
export PKG_CONFIG_PATH=$prefix/lib/pkgconfig
[ "$(pkg-config --modversion poiengine)" = "$(sed -n 's/^project(POIEngine VERSION \([0-9.]*\).*/\1/p' "$src/CMakeLists.txt")" ] ||
  fail "pkg-config poiengine does not give the project's version"
# shellcheck disable=SC2046
c++ $flags -o "$work/keypad-pc" "$src/examples/keypad/keypad.cpp" $(pkg-config --cflags --libs poiengine) ||
  fail "the keypad does not build with pkg-config"

# The installed poi's tour: it builds the installed sample, which the
# keypads then search.
"$prefix/bin/poi" demo --cache "$work/demo" > "$work/demo.log" 2>&1 ||
  { cat "$work/demo.log" >&2; fail "the installed poi demo failed"; }
grep -q "^Building the sample $prefix/share/poiengine/sample into $work/demo/data" "$work/demo.log" ||
  fail "the installed poi demo did not take the installed sample: $(head -1 "$work/demo.log")"
data=$work/demo/data

# Beijing (data set 10), typed W F J H; the Q after WFJ is not enabled.
"$work/keypad-cmake/keypad" "$data" 10 wfjQh > "$work/keypad.out"
LD_LIBRARY_PATH=$prefix/lib "$work/keypad-pc" "$data" 10 wfjQh > "$work/keypad-pc.out"
cmp -s "$work/keypad.out" "$work/keypad-pc.out" || fail "the two keypads print different things"
libs=$(LD_LIBRARY_PATH=$prefix/lib ldd "$work/keypad-pc")
grep -q "$prefix/lib/libPOIEngine.so.0" <<< "$libs" || fail "the pkg-config keypad does not use the installed library: $libs"

# Each typed prefix: its hit count and enabled keys agree with `poi search`,
# and its first hit is poi's first hit.
for typed in W WF WFJ WFJH; do
  json=$("$prefix/bin/poi" search --data "$data" initial --province 北京 --json --limit 1 "$typed")
  count=$(sed -n '1s/.*"count":\([0-9]*\).*/\1/p' <<< "$json")
  keys=$(sed -n '1s/.*"next":"\([^"]*\)".*/\1/p' <<< "$json" | tr a-z A-Z)
  first=$(sed -n '2s/.*"name":"\([^"]*\)".*/\1/p' <<< "$json")
  line=$(grep "^$typed " "$work/keypad.out") || fail "no line for $typed in: $(cat "$work/keypad.out")"
  read -r _ hits _ _ row <<< "$line"
  [ "$hits" = "$count" ] || fail "$typed: keypad counts $hits hits, poi $count"
  [ "$(tr -d . <<< "$row")" = "$keys" ] || fail "$typed: keypad enables $row, poi's next letters are $keys"
  shown=$(grep -A1 "^$typed " "$work/keypad.out")
  grep -q "1\. $first " <<< "$shown" || fail "$typed: the first hit is not $first"
done
grep -qx "WFJQ     key Q is not enabled: ignored" "$work/keypad.out" || fail "the disabled key Q was not ignored"
grep -q "1. 王府井火锅店  北京市东城区" "$work/keypad.out" || fail "WFJH does not find 王府井火锅店"
cat "$work/keypad.out"
echo "check-install: installed into $prefix; keypad built with find_package and pkg-config; 4 prefixes agree with poi search"

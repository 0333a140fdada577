#!/usr/bin/env bash
# Builds the Debian package of BUILD into WORK (what `make deb` makes) and
# checks it: the files an application and a user need lie below /usr, the
# library's symbolic links are right, nothing of the build machine's paths
# leaks in, and the dependencies are those dpkg-shlibdeps finds.
# Usage: Scripts/check-deb.sh BUILD WORK
set -euo pipefail
build=$1
work=$2
fail() { echo "check-deb: $*" >&2; exit 1; }

rm -rf "$work"
mkdir -p "$work"
(cd "$work" && cpack -G DEB --config "$build/CPackConfig.cmake" -B "$work" > cpack.log 2>&1) ||
  { cat "$work/cpack.log" >&2; fail "cpack -G DEB failed"; }
deb=$(ls "$work"/poiengine_*.deb)
version=$(dpkg-deb -f "$deb" Version)
dpkg-deb --contents "$deb" > "$work/contents"
# Each row: the file type letter of `ls -l`, the path; a link also its target.
rows=$(awk '{ line = substr($1, 1, 1) " " $6; if ($7 == "->") line = line " -> " $8; print line }' "$work/contents")

expected=(
  "- ./usr/lib/libPOIEngine.so.$version"
  "l ./usr/lib/libPOIEngine.so.${version%%.*} -> libPOIEngine.so.$version"
  "l ./usr/lib/libPOIEngine.so -> libPOIEngine.so.${version%%.*}"
  "- ./usr/bin/poi"
  "- ./usr/include/POIEngine/POIEngine/ePOIEngineManager.h"
  "- ./usr/include/POIEngine/POIEngine/ePOIEngineContainer.h"
  "- ./usr/include/POIEngine/Base/KestExport.h"
  "- ./usr/include/POIEngine/Base/eArray.h"
  "- ./usr/lib/cmake/POIEngine/POIEngineConfig.cmake"
  "- ./usr/lib/cmake/POIEngine/POIEngineConfigVersion.cmake"
  "- ./usr/lib/cmake/POIEngine/POIEngineTargets.cmake"
  "- ./usr/lib/pkgconfig/poiengine.pc"
  "- ./usr/share/poiengine/words.txt"
  "- ./usr/share/poiengine/sample/pois.csv"
  "- ./usr/share/poiengine/sample/districts.geojson"
  "- ./usr/share/doc/poiengine/README.md"
  "- ./usr/share/doc/poiengine/SOURCES.md"
)
for row in "${expected[@]}"; do
  grep -qxF -e "$row" <<< "$rows" || fail "the package lacks '$row'; it holds:"$'\n'"$rows"
done
# Only /usr, nothing of the build or staging directories, no private source
# header (every installed header is one of Include/).
grep -v ' \./usr/' <<< "$rows" | grep -v ' \./$' && fail "files outside /usr"
grep -E '_CPack_Packages|/local/|/work/|/tmp/' <<< "$rows" && fail "a build path in the package"
grep -E '\./usr/include/POIEngine/(Compiler|Tools)/' <<< "$rows" && fail "a header of the compiler or the tools"
pc=$(dpkg-deb --fsys-tarfile "$deb" | tar -xOf - ./usr/lib/pkgconfig/poiengine.pc)
grep -qx 'prefix=/usr' <<< "$pc" || fail "poiengine.pc does not say prefix=/usr: $pc"

# The dependencies dpkg-shlibdeps found: the C and C++ runtimes, with versions.
depends=$(dpkg-deb -f "$deb" Depends)
for lib in libc6 libgcc-s1 libstdc++6; do
  grep -qF ", $lib (>= " <<< ", $depends" || fail "Depends lacks $lib: $depends"
done
# A shared library's control files: its shlibs entry and the ldconfig trigger.
dpkg-deb --ctrl-tarfile "$deb" | tar -tf - > "$work/control"
grep -qx './shlibs' "$work/control" || fail "no shlibs control file"
shlibs=$(dpkg-deb -I "$deb" shlibs)
grep -qx "libPOIEngine ${version%%.*} poiengine (>= $version)" <<< "$shlibs" || fail "shlibs: $shlibs"
[ "$(dpkg-deb -f "$deb" Architecture)" = "$(dpkg --print-architecture)" ] || fail "wrong architecture"
echo "check-deb: $(basename "$deb"): $(grep -c . <<< "$rows") entries; Depends: $depends"

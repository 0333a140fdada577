#!/usr/bin/env bash
# Fails when a source includes a header of a layer above its own.
# Layers: Base <- Ndf/Admin/Geo <- POIEngine <- Compiler <- Tools; Ndf may use Geo.
set -euo pipefail
cd "$(dirname "$0")/.."
allowed() {
  case "$1" in
    Base)      echo "Base" ;;
    Geo)       echo "Base Geo" ;;
    Admin)     echo "Base Admin" ;;
    Ndf)       echo "Base Geo Ndf" ;;
    POIEngine) echo "Base Geo Admin Ndf POIEngine" ;;
    Compiler)  echo "Base Geo Admin Ndf POIEngine Compiler" ;;
  esac
}
status=0
for layer in Base Geo Admin Ndf POIEngine Compiler; do
  ok=" $(allowed "$layer") "
  for f in Include/$layer/*.h Src/$layer/*.h Src/$layer/*.cpp; do
    [ -f "$f" ] || continue
    while IFS= read -r used; do
      if [[ "$ok" != *" $used "* ]]; then
        echo "$f: the $layer layer includes from $used, a layer above it" >&2
        status=1
      fi
    done < <(sed -n 's/^#include "\([A-Za-z]*\)\/.*/\1/p' "$f" | sort -u)
  done
done
exit $status

#!/usr/bin/env bash
# Makes sure the Debian packages the build needs are installed.
# As root it installs what is missing; otherwise it prints the exact
# apt-get line to run and fails.
set -euo pipefail

packages=(g++ make cmake libgtest-dev libgmock-dev nlohmann-json3-dev libgeos-dev)
# OpenStreetMap input: libosmium and the libraries it reads with; OpenCC.
packages+=(libosmium2-dev libprotozero-dev zlib1g-dev libexpat1-dev libbz2-dev libopencc-dev)
# The install checks: pkg-config, and what cpack needs for the Debian package.
packages+=(pkgconf dpkg-dev file)
# Extra packages a target needs can be passed as arguments.
packages+=("$@")

missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done

[ ${#missing[@]} -eq 0 ] && exit 0

if [ "$(id -u)" -eq 0 ]; then
  echo "Installing missing packages: ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  apt-get update -qq
  apt-get install -y -qq --no-install-recommends "${missing[@]}"
else
  echo "Missing Debian packages. Install them with:" >&2
  echo "  sudo apt-get install -y ${missing[*]}" >&2
  exit 1
fi

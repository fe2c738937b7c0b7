#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Installs the Debian packages Pixmarker builds with, and any named as arguments, only those
# still missing.
set -euo pipefail
packages=(cmake ninja-build g++ pkg-config qtbase5-dev libqt5svg5-dev libtiff-dev libopenjp2-7-dev
          zlib1g-dev libpng-dev libdeflate-dev libopencv-imgproc-dev libnifti2-dev libgtest-dev libbenchmark-dev "$@")
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "Installing: ${missing[*]}"
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Renders the window icon (src/ui/icons/pixmarker_icon.svg) into the PNG sizes of the hicolor
# theme that are committed beside this script. Run it again after changing the icon; needs
# rsvg-convert (Debian package librsvg2-bin).
set -euo pipefail
here="$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)"
svg="$here/../../src/ui/icons/pixmarker_icon.svg"
for size in 16 22 24 32 48 64 128 256; do
  mkdir -p "$here/${size}x${size}"
  rsvg-convert -w "$size" -h "$size" "$svg" -o "$here/${size}x${size}/pixmarker.png"
done

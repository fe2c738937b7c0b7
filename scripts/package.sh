#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Builds the Debian package pixmarker_<version>_<arch>.deb: installs what is missing, builds a
# Release build with Debian's hardening flags in build-pkg/, runs cpack and checks the package
# with lintian (errors fail, warnings are shown). When run as root with dpkg, it then installs
# the package, runs the installed programs and removes the package again.
set -euo pipefail
root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="${PIXMARKER_PACKAGE_BUILD_DIR:-$root/build-pkg}"
"$root/scripts/deps.sh" dpkg-dev file lintian desktop-file-utils appstream

flags() { DEB_BUILD_MAINT_OPTIONS=hardening=+all DEB_CXXFLAGS_MAINT_STRIP="-g -O2" dpkg-buildflags --get "$1"; }
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DPIXMARKER_BUILD_BENCHMARKS=OFF \
      -DBUILD_TESTING=OFF -DCMAKE_INSTALL_PREFIX=/usr \
      -DCMAKE_CXX_FLAGS="$(flags CPPFLAGS) $(flags CXXFLAGS)" \
      -DCMAKE_EXE_LINKER_FLAGS="$(flags LDFLAGS)" -DCMAKE_SHARED_LINKER_FLAGS="$(flags LDFLAGS)" >/dev/null
cmake --build "$build"

desktop-file-validate "$root/data/pixmarker.desktop"
appstreamcli validate --no-net "$root/data/io.github.pixmarker.Pixmarker.metainfo.xml"

rm -f "$build"/pixmarker_*.deb
(cd "$build" && cpack -G DEB)
deb="$(ls "$build"/pixmarker_*.deb)"
dpkg-deb --field "$deb" Package Version Depends
echo "lintian:"
lintian --fail-on error --display-info "$deb"
echo "lintian: no errors"

if [ "$(id -u)" -ne 0 ] || ! command -v dpkg >/dev/null || ! command -v apt-get >/dev/null; then
  echo "Skipping the install test: it needs root, dpkg and apt-get."
  exit 0
fi
if dpkg-query -W -f='${Status}' pixmarker 2>/dev/null | grep -q "install ok installed"; then
  echo "Skipping the install test: pixmarker is installed already and is left as it is."
  exit 0
fi

echo "Install test:"
out="$(mktemp -d)"
cleanup() {
  dpkg --purge pixmarker >/dev/null 2>&1 || true
  rm -rf "$out"
}
trap cleanup EXIT
# apt-get resolves the package's dependencies, which dpkg -i would not.
DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends "$deb" >/dev/null
cd "$out"
export QT_QPA_PLATFORM=offscreen
libs="$(ldd /usr/bin/pixmarker)"
grep -q "=> /usr/.*lib/.*/pixmarker/libpixmarker_core.so" <<<"$libs" ||
  { echo "/usr/bin/pixmarker does not find its installed library:"; echo "$libs"; exit 1; }
/usr/bin/pixmarker-export --help >/dev/null
/usr/bin/pixmarker --help >/dev/null
description="$(/usr/bin/pixmarker-node-host --describe)"
grep -q '^plugins = "Pixmarker"' <<<"$description"
# A real export from the installed program: the sample project names its images relative to
# its own folder.
(cd "$root/examples" && /usr/bin/pixmarker-export sample_project.json -o "$out/masks" --all-images)
ls "$out"/masks/*_fullmask.* >/dev/null
man -w pixmarker pixmarker-export pixmarker-node-host >/dev/null
desktop-file-validate /usr/share/applications/pixmarker.desktop
dpkg --purge pixmarker >/dev/null
[ ! -e /usr/bin/pixmarker ]
echo "Install test passed: installed the package, ran pixmarker, pixmarker-export and"
echo "pixmarker-node-host from /usr/bin, removed the package."

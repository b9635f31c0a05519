#!/usr/bin/env bash
# Sets up a Debian 12 machine for libomplatform and builds it: installs the
# Debian packages that are missing (with apt-get, as root or through sudo),
# configures with CMake and builds against Qt 5 (in OM_BUILD_DIR, default
# build/). Idempotent: a second run only rebuilds what changed. The Qt 6
# packages are installed too, for scripts/test.sh's second build.
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
build=${OM_BUILD_DIR:-$top/build}

packages=(build-essential cmake ninja-build pkg-config qtbase5-dev qtdeclarative5-dev
          qtbase5-dev-tools dbus-daemon libcpp-httplib-dev libqt5websockets5-dev
          chromium chromium-driver
          # Qt 6, and the QML modules a document's "import QtQml" needs there
          qt6-base-dev qt6-declarative-dev qt6-websockets-dev qml6-module-qtqml
          qml6-module-qtqml-workerscript qml6-module-qtqml-models
          # the API reference and the manual pages
          doxygen help2man)
missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "setup: installing ${missing[*]}"
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -qq
  $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

if [ ! -f "$build/build.ninja" ]; then
  cmake -S "$top" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
fi
jobs=$(nproc 2>/dev/null || echo 2)
cmake --build "$build" --parallel "$jobs"

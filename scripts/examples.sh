#!/usr/bin/env bash
# Installs the Qt 5 and the Qt 6 build side by side into one temporary
# prefix, as a user would, and builds the applications of examples/ out of
# the tree against it: examples/hello with find_package and with
# pkg-config, examples/qml with find_package, each for both Qt majors. Then
# runs each against the installed omdeviced, checks that the installed
# programs and libraries find each other without LD_LIBRARY_PATH, and
# uninstalls.
#
#   scripts/examples.sh BUILD_QT5 BUILD_QT6
#
# BUILD_QT6 must be configured with -DCMAKE_INSTALL_LIBDIR=lib/x86_64-linux-gnu
# (Debian's multiarch directory), so that both library layouts are tried.
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
build5=$(cd "$1" && pwd)
build6=$(cd "$2" && pwd)
work=$(mktemp -d /tmp/om-examples-XXXXXX)
prefix=$work/prefix
device=""
cleanup() {
  [ -n "$device" ] && kill "$device" 2>/dev/null && wait "$device" 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
step() { echo "examples: $*"; }
fail() { echo "examples: FAILED: $*" >&2; exit 1; }

step "installing the Qt 5 and Qt 6 builds into $prefix"
cmake --install "$build5" --prefix "$prefix" >/dev/null
cmake --install "$build6" --prefix "$prefix" >/dev/null
for f in lib/libomplatform.so.1 lib/x86_64-linux-gnu/libomplatform-qt6.so.1 \
         lib/pkgconfig/omplatform.pc lib/x86_64-linux-gnu/pkgconfig/omplatform-qt6.pc \
         lib/cmake/OmPlatform/OmPlatformConfig.cmake \
         lib/x86_64-linux-gnu/cmake/OmPlatformQt6/OmPlatformQt6Config.cmake \
         include/om/platform/version.h include/omplatform-qt6/om/platform/version.h \
         bin/omdeviced bin/omctl; do
  [ -e "$prefix/$f" ] || fail "$f was not installed"
done

# Installed programs and libraries find each other by their RUNPATH.
for f in "$prefix"/bin/omdeviced "$prefix"/bin/omctl "$prefix"/lib/libomplatform.so.1 \
         "$prefix"/lib/x86_64-linux-gnu/libomplatform-qt6.so.1 \
         $(find "$prefix" -name 'libomplatformplugin.so'); do
  if env -u LD_LIBRARY_PATH ldd "$f" | grep -q 'not found'; then
    env -u LD_LIBRARY_PATH ldd "$f" >&2
    fail "$f does not find its libraries"
  fi
done
unset LD_LIBRARY_PATH

"$prefix/bin/omctl" --version | grep -q "^omctl " || fail "omctl --version"
"$prefix/bin/omdeviced" --version | grep -q "^omdeviced " || fail "omdeviced --version"

export OM_PPS_ROOT=$work/root OM_DEVICE_DATA=$work/data OM_PACKAGE_NAME=com.example.omhello
"$prefix/bin/omdeviced" >"$work/device.log" 2>&1 &
device=$!
for _ in $(seq 100); do
  grep -q 'omdeviced: ready' "$work/device.log" && break
  kill -0 "$device" 2>/dev/null || { cat "$work/device.log"; fail "omdeviced did not start"; }
  sleep 0.1
done
step "the installed omdeviced runs on $OM_PPS_ROOT"

run() { # name, program: runs it and checks what it says
  local name=$1; shift
  local out
  out=$("$@" 2>&1) || { echo "$out" >&2; fail "$name exited with an error"; }
  echo "$out" | grep -q "posted notification" || { echo "$out" >&2; fail "$name posted nothing"; }
  echo "$out" | grep -q "notification mode is" || { echo "$out" >&2; fail "$name read no setting"; }
  step "$name: $(echo "$out" | tr '\n' ' ')"
}

for qt in 5 6; do
  step "Qt $qt: hello with find_package"
  cmake -S "$top/examples/hello" -B "$work/hello-cmake-$qt" -G Ninja \
    -DCMAKE_PREFIX_PATH="$prefix" -DQT_DEFAULT_MAJOR_VERSION=$qt >/dev/null
  cmake --build "$work/hello-cmake-$qt" >/dev/null
  run "hello (CMake, Qt $qt)" "$work/hello-cmake-$qt/omhello"

  step "Qt $qt: hello with pkg-config"
  pcdir=$prefix/lib/pkgconfig
  [ $qt = 6 ] && pcdir=$prefix/lib/x86_64-linux-gnu/pkgconfig
  mkdir -p "$work/hello-make-$qt"
  PKG_CONFIG_PATH=$pcdir make -s -C "$work/hello-make-$qt" -f "$top/examples/hello/Makefile" \
    VPATH="$top/examples/hello" QT=$qt >/dev/null
  run "hello (pkg-config, Qt $qt)" "$work/hello-make-$qt/omhello"

  step "Qt $qt: the QML application"
  cmake -S "$top/examples/qml" -B "$work/qml-$qt" -G Ninja \
    -DCMAKE_PREFIX_PATH="$prefix" -DQT_DEFAULT_MAJOR_VERSION=$qt >/dev/null
  cmake --build "$work/qml-$qt" >/dev/null
  run "qml (Qt $qt)" timeout 30 "$work/qml-$qt/omhello-qml"
done

posted=$("$prefix/bin/omctl" notifications --app com.example.omhello | grep -c '^com.example.omhello')
[ "$posted" -eq 6 ] || fail "the device holds $posted notifications of the examples, not 6"
step "the device's inbox holds all 6 notifications"

kill "$device"; wait "$device" 2>/dev/null || true; device=""

step "uninstalling"
cmake --build "$build6" --target uninstall >/dev/null
cmake --build "$build5" --target uninstall >/dev/null
left=$(find "$prefix" -type f | head -5)
[ -z "$left" ] || fail "uninstall left files behind: $left"
echo "examples: 6 passed, 0 failed"

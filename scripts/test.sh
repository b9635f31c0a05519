#!/usr/bin/env bash
# Sets everything up (scripts/setup.sh) and runs the whole test suite
# against Qt 5 and against Qt 6: unit tests on an in-process bus, end-to-end
# tests against real omdeviced processes, the QML module's test; then
# installs both builds side by side into a temporary prefix and builds and
# runs the applications of examples/ against them (scripts/examples.sh),
# and checks the API reference's warning count. Arguments go to ctest.
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
build=${OM_BUILD_DIR:-$top/build}
build6=${OM_BUILD_DIR_QT6:-$top/build-qt6}
jobs=$(nproc 2>/dev/null || echo 2)
clock() { date +%s; }
started=$(clock)
took() { echo "test: $1 took $(( $(clock) - $2 )) s"; }
# The whole suite of one build: suite NAME BUILD_DIR [ctest arguments]
suite() {
  local t
  t=$(clock)
  echo "test: $1 suite"
  (cd "$2" && ctest --output-on-failure --parallel "$jobs" "${@:3}")
  took "the $1 suite" "$t"
}

t=$(clock)
"$top/scripts/setup.sh"
took "setup and the Qt 5 build" "$t"

suite "Qt 5" "$build" "$@"

t=$(clock)
# Qt 6 in a build directory of its own, with Debian's multiarch library
# directory, so that the examples meet both layouts of an install. The
# benchmarks are built once, with Qt 5: they are not part of the suite.
if [ ! -f "$build6/build.ninja" ]; then
  cmake -S "$top" -B "$build6" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DOM_QT_MAJOR=6 \
    -DCMAKE_INSTALL_LIBDIR=lib/x86_64-linux-gnu -DOM_BUILD_BENCH=OFF >/dev/null
fi
cmake --build "$build6" --parallel "$jobs"
took "the Qt 6 build" "$t"

suite "Qt 6" "$build6" "$@"

t=$(clock)
"$top/scripts/examples.sh" "$build" "$build6"
took "the installed examples" "$t"

t=$(clock)
cmake --build "$build" --target docs
took "the API reference" "$t"
took "everything" "$started"
[ "${OM_SANITIZE:-1}" = 0 ] || "$top/scripts/sanitize.sh" # ASan+UBSan suite, fuzz targets

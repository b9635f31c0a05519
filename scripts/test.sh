#!/usr/bin/env bash
# Sets everything up (scripts/setup.sh) and runs the whole test suite:
# unit tests on an in-process bus, and end-to-end tests against real
# omdeviced processes.
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
build=${OM_BUILD_DIR:-$top/build}
"$top/scripts/setup.sh"
jobs=$(nproc 2>/dev/null || echo 2)
cd "$build"
ctest --output-on-failure --parallel "$jobs" "$@"
[ "${OM_SANITIZE:-1}" = 0 ] || "$top/scripts/sanitize.sh" # ASan+UBSan suite, fuzz targets

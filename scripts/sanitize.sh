#!/usr/bin/env bash
# Runs the whole test suite a second time, built with clang under
# AddressSanitizer (leak detection on) and UndefinedBehaviorSanitizer, in a
# build directory of its own. Any report fails the run: nothing recovers
# (-fno-sanitize-recover=all), every sanitizer halts on its first error.
# Then runs each libFuzzer target for a short bounded time on its corpus.
#
#   scripts/sanitize.sh            build, whole suite, fuzz targets
#   OM_FUZZ_SECONDS=0 ...          skip the fuzz targets
#   OM_SANITIZE_BUILD_DIR=...      build directory (default build-sanitize)
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
build=${OM_SANITIZE_BUILD_DIR:-$top/build-sanitize}
jobs=$(nproc 2>/dev/null || echo 2)
fuzz_seconds=${OM_FUZZ_SECONDS:-10}

# clang and its sanitizer and libFuzzer runtimes.
missing=()
for p in clang libclang-rt-14-dev; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "sanitize: installing ${missing[*]}"
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $sudo apt-get update -qq
  $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi

start=$(date +%s)
# Coverage for the fuzz targets everywhere (fuzzer-no-link): they drive the
# library, the broker and the services, not only their own file.
# -O1 with line tables only: the reports keep their file and line, and the
# build takes about half the time of an optimised build with full debug data.
flags="-O1 -gline-tables-only -fsanitize=address,undefined,fuzzer-no-link -fno-sanitize-recover=all -fno-omit-frame-pointer"
launcher=()
if command -v ccache >/dev/null; then
  launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache -DCMAKE_C_COMPILER_LAUNCHER=ccache)
fi
if [ ! -f "$build/build.ninja" ]; then
  CC=clang CXX=clang++ cmake -S "$top" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=None \
    "${launcher[@]}" -DOM_BUILD_BENCH=OFF -DOM_BUILD_EXAMPLES=OFF -DOM_BUILD_FUZZ=ON \
    -DCMAKE_C_FLAGS="$flags" -DCMAKE_CXX_FLAGS="$flags" \
    -DCMAKE_EXE_LINKER_FLAGS="-fsanitize=address,undefined" \
    -DCMAKE_SHARED_LINKER_FLAGS="-fsanitize=address,undefined" >/dev/null
fi
cmake --build "$build" --parallel "$jobs"
built=$(date +%s)

# Every process the tests start (omdeviced, omctl, helpers) inherits these.
export ASAN_OPTIONS="detect_leaks=1:halt_on_error=1:abort_on_error=0:exitcode=23:strict_string_checks=1:detect_stack_use_after_return=1:check_initialization_order=1"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1:exitcode=23"
export LSAN_OPTIONS="suppressions=$top/tests/lsan.supp:print_suppressions=0"
(cd "$build" && ctest --output-on-failure --parallel "$jobs" --timeout 600)
tested=$(date +%s)

if [ "$fuzz_seconds" -gt 0 ]; then
  "$top/scripts/fuzz.sh" "$build/bin" "$fuzz_seconds"
fi
done_at=$(date +%s)
echo "sanitize: build $((built - start)) s, suite $((tested - built)) s," \
  "fuzz $((done_at - tested)) s, total $((done_at - start)) s"

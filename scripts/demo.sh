#!/usr/bin/env bash
# Sets everything up (scripts/setup.sh), starts the simulated device on a
# private bus and runs the demo application against it.
set -euo pipefail

top=$(cd "$(dirname "$0")/.." && pwd)
build=${OM_BUILD_DIR:-$top/build}
"$top/scripts/setup.sh"

export OM_PPS_ROOT=${OM_PPS_ROOT:-$(mktemp -d /tmp/om-demo-XXXXXX)}
export OM_DEVICE_DATA=${OM_DEVICE_DATA:-$OM_PPS_ROOT.data}
bin=$build/bin

log=$(mktemp)
"$bin/omdeviced" >"$log" 2>&1 &
device=$!
trap 'kill $device 2>/dev/null; wait $device 2>/dev/null || true' EXIT
for _ in $(seq 100); do
  grep -q 'omdeviced: ready' "$log" && break
  kill -0 $device 2>/dev/null || { cat "$log"; exit 1; }
  sleep 0.1
done
echo "demo: device running on OM_PPS_ROOT=$OM_PPS_ROOT"
"$bin/omdemo"

#!/usr/bin/env bash
# Sets everything up (scripts/setup.sh), starts the simulated device on a
# private bus and runs the demo application against it. The demo shows a
# dialog and waits for the user's answer: this script answers it with omctl
# in the background, saying so; with --manual it leaves that to you.
set -euo pipefail

manual=0
[ "${1:-}" = "--manual" ] && manual=1

top=$(cd "$(dirname "$0")/.." && pwd)
build=${OM_BUILD_DIR:-$top/build}
"$top/scripts/setup.sh"

export OM_PPS_ROOT=${OM_PPS_ROOT:-$(mktemp -d /tmp/om-demo-XXXXXX)}
export OM_DEVICE_DATA=${OM_DEVICE_DATA:-$OM_PPS_ROOT.data}
export OM_PACKAGE_NAME=${OM_PACKAGE_NAME:-com.example.omdemo}
bin=$build/bin

log=$(mktemp)
"$bin/omdeviced" >"$log" 2>&1 &
device=$!
trap 'kill $device 2>/dev/null; wait $device 2>/dev/null || true; rm -f "$log"' EXIT
for _ in $(seq 100); do
  grep -q 'omdeviced: ready' "$log" && break
  kill -0 $device 2>/dev/null || { cat "$log"; exit 1; }
  sleep 0.1
done
echo "demo: device running on OM_PPS_ROOT=$OM_PPS_ROOT"

if [ $manual -eq 1 ]; then
  echo "demo: answer the dialog from another terminal:"
  echo "demo:   export OM_PPS_ROOT=$OM_PPS_ROOT"
  echo "demo:   $bin/omctl dialogs"
  echo "demo:   $bin/omctl choose <dialog-id> Keep"
  "$bin/omdemo"
else
  "$bin/omdemo" &
  demo=$!
  # Play the user: wait for the dialog to be on screen, then press "Keep".
  for _ in $(seq 100); do
    id=$("$bin/omctl" dialogs 2>/dev/null | awk '/^\{/ { print $1; exit }')
    [ -n "$id" ] && break
    kill -0 $demo 2>/dev/null || break
    sleep 0.1
  done
  if [ -n "${id:-}" ]; then
    echo "demo: playing the user in the background: omctl choose $id Keep"
    "$bin/omctl" choose "$id" Keep
  fi
  wait $demo
fi

echo "demo: the inbox, as the device keeps it (omctl notifications):"
"$bin/omctl" notifications

echo "demo: the demo's purchases, as the store keeps them (omctl payments purchases):"
"$bin/omctl" payments purchases --app "$OM_PACKAGE_NAME"

#!/usr/bin/env bash
# The hardware report as a person sees it: the tool makes it under Wine from
# the shipped laptop machine, headless Chromium opens it, the screenshot is
# kept in the build folder, and the page is checked for the connector map's
# graph, the loopback's waveform and spectrum plots, and its passing verdict.
#   report_check.sh SONVANE_EXE MACHINE_JSON OUTPUT_FOLDER
set -euo pipefail
EXE=$1
MACHINE=$2
OUT=$3
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
eval "$("$ROOT/scripts/stack" env)"

mkdir -p "$OUT"
REPORT="$OUT/laptop-report.html"
SHOT="$OUT/laptop-report.png"
DOM="$OUT/laptop-report.dom.html"
rm -f "$REPORT" "$SHOT" "$DOM"

fail() { echo "report_check: $*" >&2; exit 1; }

"$ROOT/scripts/winerun" "$EXE" --machine "$(winepath -w "$MACHINE")" report -o "$(winepath -w "$REPORT")" \
  || fail "sonvane report failed"
[ -s "$REPORT" ] || fail "no report at $REPORT"

# Each Chromium run gets a new empty profile, and nothing reaches the network.
PROFILES=$(mktemp -d)
trap 'rm -rf "$PROFILES"' EXIT
chromium_run() {
  local profile
  profile=$(mktemp -d -p "$PROFILES")
  chromium --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
    --disable-background-networking --disable-component-update --disable-sync \
    --user-data-dir="$profile" "$@" 2>>"$OUT/chromium.log"
}
: >"$OUT/chromium.log"
chromium_run --screenshot="$SHOT" --window-size=1280,2000 "file://$REPORT" >/dev/null
chromium_run --dump-dom "file://$REPORT" >"$DOM"

[ "$(head -c 8 "$SHOT" | od -An -tx1 | tr -d ' \n')" = "89504e470d0a1a0a" ] || fail "no PNG screenshot at $SHOT"
[ "$(stat -c %s "$SHOT")" -gt 20000 ] || fail "the screenshot at $SHOT is nearly empty"

expect() {
  local what=$1 pattern=$2 least=${3:-1} found
  found=$(grep -o "$pattern" "$DOM" | wc -l)
  [ "$found" -ge "$least" ] || fail "the page lacks $what ($pattern: $found, wanted $least or more)"
}
expect "the connector map of each card" '<svg class="connector-map"' 2
expect "cables in the connector map" 'class="cable"' 6
expect "signal paths in the connector map" 'class="signal-path"' 4
expect "the waveform plot" '<svg class="waveform"'
expect "the spectrum plot" '<svg class="spectrum"'
expect "traces in the plots" '<polyline class="trace"' 2
# The laptop's microphone array hears its speakers, so its loopback passes.
expect "the loopback's verdict" 'class="badge pass"' 1
if grep -q 'class="badge fail"' "$DOM"; then fail "the shipped laptop's report shows a failed check"; fi
echo "report_check: report $REPORT, screenshot $SHOT"

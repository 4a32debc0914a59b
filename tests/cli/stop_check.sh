#!/usr/bin/env bash
# Ctrl+C in the middle of a long recording, loopback or report: the tool
# ends with exit code 5 and one line on standard error that says the file was
# not written, and leaves neither that file nor its temporary beside it. Wine turns SIGINT
# into the console's Ctrl+C for the program.
#   stop_check.sh SONVANE_EXE MACHINE_JSON OUTPUT_FOLDER
set -euo pipefail
EXE=$1
MACHINE=$2
OUT=$3/stop-check
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
eval "$("$ROOT/scripts/stack" env)"

rm -rf "$OUT"
mkdir -p "$OUT"
fail() { echo "stop_check: $*" >&2; exit 1; }

# Runs the tool in the background, waits until its temporary file shows that
# the command has begun (or the tool has ended by itself), lets it run for
# PAUSE seconds more, then presses Ctrl+C. With no pause the stop comes
# while the streams are still being set up; a stop there once left the
# tool waiting for the whole sound, so a slow run of this check is a fault
# too.
stop_midway() {
  local target=$1; shift
  local status=0
  "$ROOT/scripts/winerun" "$EXE" --machine "$(winepath -w "$MACHINE")" "$@" \
    >"$OUT/out.txt" 2>"$OUT/err.txt" &
  local tool=$!
  while kill -0 "$tool" 2>/dev/null && ! compgen -G "$target.*.partial" >/dev/null; do sleep 0.1; done
  sleep "$PAUSE"
  kill -INT "$tool" 2>/dev/null || true
  wait "$tool" || status=$?
  [ "$status" -eq 5 ] || fail "'$*' ended with $status, not 5 (stopped): $(cat "$OUT/err.txt")"
  [ "$(wc -l <"$OUT/err.txt")" -eq 1 ] || fail "'$*' wrote not one error line: $(cat "$OUT/err.txt")"
  grep -q '^sonvane: stopped; .*not.* written' "$OUT/err.txt" \
    || fail "'$*' did not say that it stopped without writing: $(cat "$OUT/err.txt")"
  [ ! -e "$target" ] || fail "'$*' left $target behind"
  if compgen -G "$target.*" >/dev/null; then fail "'$*' left a temporary file: $(ls "$target".*)"; fi
}

for PAUSE in 0 1; do
  stop_midway "$OUT/take.wav" record "$(winepath -w "$OUT/take.wav")" --seconds 60
  stop_midway "$OUT/kept.wav" loopback --seconds 60 --save "$(winepath -w "$OUT/kept.wav")"
  stop_midway "$OUT/report.html" report --seconds 60 -o "$(winepath -w "$OUT/report.html")"
done
echo "stop_check: record, loopback and report stopped cleanly"

#!/usr/bin/env bash
# The main job on the embedded default: builds Vorn, makes a demo handheld
# from the sample contacts in data/contacts.json and the sample calendar in
# data/calendar.ics, the notes in data/notes/ and the mail in data/mail/,
# serves it on loopback, exports every contact as vCard, every appointment
# and task as iCalendar and every note as text with the desktop tool, and
# mirrors it all with `vorn sync` (mail as a Maildir).
#
#   scripts/demo.sh [OUT_DIR]      (default: out/demo)
set -euo pipefail
cd "$(dirname "$0")/.."
out=${1:-out/demo}

scripts/install-deps.sh
log=$(mktemp)
if ! { cmake --preset default && cmake --build --preset default -j "$(nproc)" \
       --target vorn-device vorn; } >"$log" 2>&1; then
  cat "$log" >&2
  exit 1
fi
rm -f "$log"
bin=build/default/bin

rm -rf "$out"
mkdir -p "$out"
image=$out/demo.img
echo "== building the demo handheld $image"
"$bin/vorn-device" init "$image" --machine-id VORN-DEMO-0001 --tz Europe/Berlin
"$bin/vorn" --image "$image" put data/contacts.json >"$out/loaded.txt"
echo "   $(wc -l <"$out/loaded.txt") sample contacts loaded from data/contacts.json"
"$bin/vorn" --image "$image" --tz Europe/Berlin put data/calendar.ics >"$out/calendar.txt"
echo "   $(grep -c appointment "$out/calendar.txt") appointments and" \
  "$(grep -c task "$out/calendar.txt") tasks loaded from data/calendar.ics"

for note in data/notes/*.txt; do
  "$bin/vorn" --image "$image" put "$note" >>"$out/notes.txt"
done
echo "   $(wc -l <"$out/notes.txt") ink notes written from data/notes/"
for message in data/mail/*.eml; do
  "$bin/vorn" --image "$image" --tz Europe/Berlin put "$message" >>"$out/mail.txt"
done
"$bin/vorn-device" mail "$image" add --folder inbox --from grace@example.org \
  --to ada@example.org --subject "Re: Agenda for Tuesday" \
  --body "Looks good, see you then." --time 2026-11-22T08:15:00Z >>"$out/mail.txt"
echo "   $(wc -l <"$out/mail.txt") mail messages: data/mail/*.eml as drafts, one in the inbox"

echo "== serving it on loopback"
"$bin/vorn-device" serve "$image" --listen 127.0.0.1:0 2>"$out/serve.log" &
server=$!
trap 'kill -INT $server 2>/dev/null || true' EXIT
address=""
for _ in $(seq 100); do
  address=$(sed -n 's/^listening on //p' "$out/serve.log" | head -n 1)
  [[ -n $address ]] && break
  sleep 0.1
done
[[ -n $address ]] || { echo "the handheld did not start listening" >&2; exit 1; }
echo "   listening on $address"

echo "== exporting every contact, appointment, task and note"
"$bin/vorn" --device "$address" info
"$bin/vorn" --device "$address" --tz Europe/Berlin export "$out/export"

echo "== mirroring it both ways, mail as a Maildir"
"$bin/vorn" --device "$address" --tz Europe/Berlin sync "$out/mirror"

kill -INT "$server"
wait "$server" || true
trap - EXIT
echo "== done: $(ls "$out/export"/*.vcf | wc -l) vCard," \
  "$(ls "$out/export"/*.ics | wc -l) iCalendar and" \
  "$(ls "$out/export"/*.txt | wc -l) note files in $out/export;" \
  "$(find "$out/mirror/mail" -path '*/cur/*' -type f | wc -l) mail messages in" \
  "the Maildir $out/mirror/mail"

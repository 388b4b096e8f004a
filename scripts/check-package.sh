#!/usr/bin/env bash
# Checks the Debian package as a user would get it: unpacks it into a
# temporary root, runs the programs from there (vorn finds vorn-device
# beside itself), holds one conversation, and runs lintian, which must
# report no errors.
#
#   scripts/check-package.sh build/package/vorn_0.1.0_amd64.deb
set -euo pipefail
deb=$(realpath "$1")
root=$(mktemp -d)
trap 'rm -rf "$root"' EXIT
dpkg-deb -x "$deb" "$root"
bin=$root/usr/bin
export PATH=/usr/bin:/bin  # nothing of the build tree on the path
"$bin/vorn" --help >/dev/null
"$bin/vorn" --version
"$bin/vorn-device" --version
test -s "$root/usr/share/man/man1/vorn.1.gz"
test -s "$root/usr/share/man/man1/vorn-device.1.gz"
test -s "$root/usr/share/bash-completion/completions/vorn"
test -s "$root/usr/share/vorn/contacts.json"
(
  cd "$root"
  "$bin/vorn-device" init d.img --machine-id PACKAGED-1
  "$bin/vorn" --image d.img put usr/share/vorn/contacts.json >/dev/null
  "$bin/vorn" --image d.img info | grep -q PACKAGED-1
  test "$("$bin/vorn" --image d.img count contacts)" -gt 100
)
lintian_log=$(mktemp)
lintian --tag-display-limit 0 "$deb" >"$lintian_log" 2>&1 || true
cat "$lintian_log"
if grep -q '^E:' "$lintian_log"; then
  echo "lintian reports errors" >&2
  exit 1
fi
echo "package ok: $(basename "$deb")"

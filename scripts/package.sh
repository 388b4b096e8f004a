#!/usr/bin/env bash
# Builds the Debian package vorn_VERSION_amd64.deb (stripped programs,
# manual pages, bash completion, sample data, docs) and prints its path.
#
#   scripts/package.sh              Release build in build/package
#   scripts/package.sh BUILD_DIR    package an existing build tree instead
#                                   (CI packages the tree it has tested)
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
build=${1:-}
log=$(mktemp)
trap 'rm -f "$log"' EXIT
if [[ -z $build ]]; then
  build=build/package
  cmake --preset package >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
fi
if ! { cmake --build "$build" -j "$(nproc)" --target vorn vorn-device \
         vorn_man_pages vorn_changelog &&
       (cd "$build" && cpack -G DEB); } >"$log" 2>&1; then
  cat "$log" >&2
  exit 1
fi
ls "$build"/vorn_*_amd64.deb

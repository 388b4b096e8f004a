#!/usr/bin/env bash
# Checks that the tree is clang-format clean and, with --tidy, clang-tidy
# clean (needs a configured default build for its compile commands).
set -euo pipefail
cd "$(dirname "$0")/.."
files=$(git ls-files '*.cpp' '*.h')
echo "-- clang-format"
# shellcheck disable=SC2086
clang-format --dry-run -Werror $files
if [[ ${1:-} == --tidy ]]; then
  echo "-- clang-tidy"
  run-clang-tidy -p "${BUILD_DIR:-build/default}" -j "$(nproc)" -quiet \
    -extra-arg=-Wno-unknown-warning-option \
    "^$(pwd)/(agent|platform|protocol|device|desktop|cli|tests|bench|fuzz)/" \
    >/tmp/vorn-tidy.log 2>&1 || { grep -E "error:" /tmp/vorn-tidy.log | sort -u >&2; exit 1; }
fi
echo "lint clean"

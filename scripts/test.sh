#!/usr/bin/env bash
# Builds everything with the default preset and runs every test.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install-deps.sh
cmake --preset default >/dev/null
cmake --build --preset default -j "$(nproc)"
ctest --preset default -j "$(nproc)"

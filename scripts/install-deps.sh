#!/usr/bin/env bash
# Installs what the build, the tests and the fuzz targets need when this
# machine lacks it (Debian packages). Safe to run again; does nothing when
# everything is there.
set -euo pipefail

packages=()
need() {  # need PACKAGE CHECK...
  local package=$1
  shift
  if ! "$@" >/dev/null 2>&1; then packages+=("$package"); fi
}

need cmake command -v cmake
need ninja-build command -v ninja
need g++ command -v g++
need clang command -v clang++
need clang-format command -v clang-format
need clang-tidy command -v clang-tidy
need libgtest-dev test -e /usr/include/gtest/gtest.h
need libgmock-dev test -e /usr/include/gmock/gmock.h
need libsqlite3-dev test -e /usr/include/sqlite3.h
need nlohmann-json3-dev test -e /usr/include/nlohmann/json.hpp
need libcli11-dev test -e /usr/include/CLI/CLI.hpp
need libical-dev test -e /usr/include/libical/ical.h
need libgmime-3.0-dev test -e /usr/include/gmime-3.0/gmime/gmime.h
need pkg-config command -v pkg-config
need uuid-dev test -e /usr/include/uuid/uuid.h
need tzdata test -e /usr/share/zoneinfo/Europe/Berlin
need libclang-rt-14-dev sh -c 'ls /usr/lib/llvm-14/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a'
need python3 command -v python3
need python3-icalendar /usr/bin/python3 -c 'import icalendar'
need bash-completion test -e /usr/share/bash-completion/bash_completion
need help2man command -v help2man
need lintian command -v lintian
need dpkg-dev command -v dpkg-shlibdeps
need file command -v file
need python3-vobject /usr/bin/python3 -c 'import vobject'
need libssl-dev test -e /usr/include/openssl/evp.h

if ((${#packages[@]} > 0)); then
  echo "installing: ${packages[*]}" >&2
  SUDO=""
  if [[ $(id -u) -ne 0 ]]; then SUDO=sudo; fi
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${packages[@]}" >&2
fi

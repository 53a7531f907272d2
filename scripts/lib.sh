#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# What the scripts share. Sourced, not run: sets `root` to the top of the tree and goes there.

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$root" || exit 1
jobs=$(nproc)

say() { printf '== %s\n' "$*"; }
die() {
  printf '%s: %s\n' "$(basename "$0")" "$*" >&2
  exit 1
}

as_root() {
  if [ "$(id -u)" -eq 0 ]; then
    "$@"
  elif command -v sudo >/dev/null; then
    sudo "$@"
  else
    die "need root or sudo for: $*"
  fi
}

apt_get() {
  as_root env DEBIAN_FRONTEND=noninteractive apt-get -qq -o DPkg::Lock::Timeout=300 "$@"
}

is_installed() {
  [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]
}

# need_packages NAME...: installs the Debian packages that are missing, and asks nothing of apt when
# none is. The package lists are fetched when they are absent or out of date.
need_packages() {
  local missing=() name
  for name in "$@"; do
    is_installed "$name" || missing+=("$name")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  say "installing ${missing[*]}"
  if ! apt_get install -y --no-install-recommends "${missing[@]}" >/dev/null 2>&1; then
    apt_get update
    apt_get install -y --no-install-recommends "${missing[@]}" >/dev/null
  fi
}

# build DIRECTORY CMAKE-OPTION...: configures and builds. Its output goes to a log beside the
# directory, whose end is shown when something fails.
build() {
  local directory=$1
  shift
  local log=$directory.log
  say "building $directory"
  mkdir -p "$directory"
  if ! { cmake -B "$directory" "$@" && cmake --build "$directory" -j "$jobs"; } >"$log" 2>&1; then
    tail -n 60 "$log" >&2
    printf 'building %s failed; the whole log is %s\n' "$directory" "$log" >&2
    return 1
  fi
}

# What the command is built of: the codecs, JSON and SHA-256.
tool_packages=(nlohmann-json3-dev libtiff-dev libspng-dev libjpeg62-turbo-dev nettle-dev pkg-config)

# What recognition is measured and tested with.
# shellcheck disable=SC2034
recognition_packages=(tesseract-ocr-eng libtesseract-dev libleptonica-dev python3-pil python3-numpy
  fonts-liberation fonts-texgyre)

# What the Python package is built of and tested with.
python_packages=(python3-dev python3-numpy python3-pytest pybind11-dev mypy)

# What the examples in Python are tested with.
example_packages=(ocrmypdf python3-img2pdf poppler-utils python3-distributed python3-psutil)

# Builds the command `dibkit` alone, optimised, and sets `dibkit` to its path.
build_tool() {
  need_packages g++ make cmake "${tool_packages[@]}"
  build build/tool --preset release -DBUILD_TESTING=OFF
  dibkit=$root/build/tool/tools/dibkit
  [ -x "$dibkit" ] || die "the build made no $dibkit"
}

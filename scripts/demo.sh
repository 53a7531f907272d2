#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Builds dibkit, makes a small folder of scans in several formats, and brings all of them to 300 dpi
# in one call. Needs nothing but git, bash and the right to install Debian packages. Scans and
# results go to out/demo.
set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

build_tool
need_packages libtiff-tools
demo=out/demo
rm -rf "$demo"
mkdir -p "$demo"
samples/make_scans.sh "$dibkit" "$demo/scans"

run() {
  say "$*"
  "$@"
}
# The command by its own name, as it is called once it is installed.
dibkit() { "$dibkit" "$@"; }

run dibkit info --recursive "$demo/scans" | grep -E '^(==|out/)|pages:|size:|resolution:'
run dibkit resample --dpi 300 --recursive --output-dir "$demo/pages" \
  --report "$demo/report.jsonl" "$demo/scans"
run dibkit report "$demo/report.jsonl"
dibkit info --recursive "$demo/pages" | grep -E '^out/|pages:|size:|resolution:'
say "the scans are in $root/$demo/scans, the pages at 300 dpi in $root/$demo/pages"
say "the command is $dibkit; to install it: sudo cmake --install build/tool --prefix /usr/local"

#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Builds dibkit and brings every sample to 300 dpi in one call. Needs nothing but git, bash and the
# right to install Debian packages. The results go to out/demo.
set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

build_tool
results=out/demo
rm -rf "$results"
mkdir -p "$results"

run() {
  say "$*"
  "$@"
}
# The command by its own name, as it is called once it is installed.
dibkit() { "$dibkit" "$@"; }

run dibkit resample --dpi 300 --recursive --output-dir "$results" --report "$results/report.jsonl" \
  samples
run dibkit report "$results/report.jsonl"
dibkit info --recursive samples "$results" | grep -E '^(samples|out)/|size:|depth:|resolution:'
say "the pages are in $root/$results"
say "the command is $dibkit; to install it: cmake --install build/tool --prefix /usr/local"

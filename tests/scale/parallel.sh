#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Two hundred pages by GNU parallel: four shards, two at a time, one of them killed midway and run
# again. Called by scripts/test.sh --scale with the command's path.
set -euo pipefail
dibkit=${1:?usage: parallel.sh DIBKIT}
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/../../scripts/lib.sh"
need_packages parallel
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
# shellcheck source=tests/scale/lib.sh
. tests/scale/lib.sh

make_pages
run_alone

say "GNU parallel, $shards shards"
# The first try of shard 1 is killed when it has made a page, as a machine that fails would.
shard() {
  local k=$1 report=$work/parallel-$1.jsonl
  local command=("$dibkit" resample --quiet --dpi 400 --files-from "$work/list" --shard "$k/$shards"
    --output-dir "$work/parallel" --skip-existing --jobs 1 --report "$report")
  cd "$work/scans"
  if [ "$k" = 1 ] && [ ! -e "$work/killed" ]; then
    touch "$work/killed"
    "${command[@]}" &
    until [ -s "$report" ]; do sleep 0.01; done
    kill -KILL $!
    wait $!
  else
    "${command[@]}"
  fi
}
export -f shard
export dibkit work shards
seq 0 $((shards - 1)) | parallel --jobs 2 --retries 2 --halt soon,fail=1 shard {} ||
  die "GNU parallel gave up"
[ -e "$work/killed" ] || die "no shard was killed"
check_union "$work/parallel" "$work"/parallel-*.jsonl
say "GNU parallel: the same $pages files"

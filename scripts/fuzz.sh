#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Builds the fuzz targets and runs them.
#
#   fuzz.sh TARGET SECONDS   runs one target; what it finds lands in build/fuzz/TARGET
#   fuzz.sh --smoke          replays the seeds and the old crashers of every target, then runs each
#                            for a fixed number of rounds from a fixed seed; takes seconds
#
# A target is named after its source, fuzz/fuzz_TARGET.cpp. Its seeds are in fuzz/corpus/TARGET, and
# inputs that once failed are kept in fuzz/crashers/TARGET.
set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

targets=()
for source in fuzz/fuzz_*.cpp; do
  name=${source#fuzz/fuzz_}
  targets+=("${name%.cpp}")
done
usage="usage: fuzz.sh TARGET SECONDS | fuzz.sh --smoke; targets: ${targets[*]}"

build_targets() {
  need_packages clang-14 libclang-rt-14-dev make cmake
  build build/fuzz -DCMAKE_BUILD_TYPE=RelWithDebInfo -DCMAKE_CXX_COMPILER=clang++-14 \
    -DDIBKIT_FUZZ=ON -DDIBKIT_TOOLS=OFF -DBUILD_TESTING=OFF \
    -DDIBKIT_SANITIZE=fuzzer-no-link,address,undefined
}

# seeds_of TARGET: its directories of inputs, those that there are.
seeds_of() {
  local directory
  for directory in fuzz/corpus/"$1" fuzz/crashers/"$1"; do
    [ ! -d "$directory" ] || printf '%s\n' "$directory"
  done
}

# run TARGET OPTION...: finds are written to build/fuzz/TARGET, never to the tree.
run() {
  local target=$1 found=build/fuzz/$1
  shift
  local seeds
  mapfile -t seeds < <(seeds_of "$target")
  mkdir -p "$found"
  build/fuzz/fuzz/fuzz_"$target" -artifact_prefix="$found/crash-" -max_len=4096 "$@" "$found" \
    "${seeds[@]}"
}

smoke() {
  local target
  for target in "${targets[@]}"; do
    rm -rf "build/fuzz/$target"
    if ! run "$target" -seed=1 -runs=2000 >"build/fuzz/$target.log" 2>&1; then
      tail -n 40 "build/fuzz/$target.log" >&2
      die "$target failed; the input is in build/fuzz/$target"
    fi
    say "$target: $(tail -n 1 "build/fuzz/$target.log")"
  done
}

case "$#:${1-}" in
  1:--smoke)
    build_targets
    smoke
    ;;
  2:*)
    [[ " ${targets[*]} " == *" $1 "* && $2 =~ ^[1-9][0-9]*$ ]] || die "$usage"
    build_targets
    run "$1" -max_total_time="$2" -print_final_stats=1
    ;;
  *) die "$usage" ;;
esac

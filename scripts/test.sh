#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Builds and runs every test. Needs nothing but git, bash and the right to install Debian packages.
#
#   test.sh              optimised, for x86-64 and for i386
#   test.sh --sanitize   under the address and undefined-behaviour sanitizers, both again
#   test.sh --coverage   for x86-64, with the line coverage of src/
#   test.sh --scale      200 pages by Slurm and by GNU parallel, a task of each killed midway
#
# The last line adds up what ctest counted in each run. Exits with 1 when anything failed, and when
# no test ran.
set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

passed=0
failed=0

fail() {
  printf 'FAILED: %s\n' "$*" >&2
  failed=$((failed + 1))
}

# counter FILE NAME: a number from the head of the JUnit report that ctest wrote; nothing when the
# report is not there.
counter() {
  [ -f "$1" ] || return 0
  tr '\n\t' '  ' <"$1" | { grep -o '<testsuite [^>]*>' || true; } |
    sed -n "s/.* $2=\"\([0-9][0-9]*\)\".*/\1/p"
}

# run_tests DIRECTORY: runs the tests that were built there and adds up their results. ctest may
# fail without a failed test (a crash of its own), which counts as one failure.
run_tests() {
  local report=$root/$1/junit.xml status=0 total failures disabled skipped
  say "testing $1"
  rm -f "$report"
  ctest --test-dir "$1" -j "$jobs" --output-on-failure --output-junit "$report" || status=$?
  total=$(counter "$report" tests)
  failures=$(counter "$report" failures)
  disabled=$(counter "$report" disabled)
  skipped=$(counter "$report" skipped)
  if [ -z "$total" ] || [ -z "$failures" ] || [ -z "$disabled" ] || [ -z "$skipped" ]; then
    fail "$1: no report of its tests"
    return
  fi
  say "$1: $total tests, $failures failed, $((disabled + skipped)) did not run"
  passed=$((passed + total - failures - disabled - skipped))
  failed=$((failed + failures))
  if [ "$total" -eq 0 ]; then
    fail "$1 holds no test"
  elif [ "$status" -ne 0 ] && [ "$failures" -eq 0 ]; then
    fail "$1: ctest exited with $status"
  fi
}

# build_and_test DIRECTORY CMAKE-OPTION...: a build that fails counts as one failure.
build_and_test() {
  if build "$@" -DBUILD_TESTING=ON; then
    run_tests "$1"
  else
    fail "building $1"
  fi
}

# check NAME COMMAND...: something beside ctest; only its failure counts.
check() {
  local name=$1
  shift
  say "$name"
  "$@" || fail "$name"
}

plain() {
  build_and_test build/release --preset release
  build_and_test build/m32 --preset m32
  if is_installed clang-format-14; then
    check "formatting" scripts/format.sh --check
  fi
  if [ -x scripts/fuzz.sh ]; then
    check "fuzz corpora" scripts/fuzz.sh --smoke
  fi
}

sanitize() {
  build_and_test build/asan --preset asan
  build_and_test build/m32-asan --preset m32-asan
}

coverage() {
  need_packages gcovr
  mkdir -p build/coverage
  find build/coverage -name '*.gcda' -delete
  build_and_test build/coverage --preset debug \
    -DCMAKE_CXX_FLAGS="--coverage -fprofile-update=atomic"
  gcovr --root . --filter src/ --object-directory build/coverage build/coverage/src
}

# The runs over many pages want the command only.
scale() {
  local run
  build_tool
  for run in tests/scale/slurm.sh tests/scale/parallel.sh; do
    if "$run" "$dibkit"; then
      passed=$((passed + 1))
    else
      fail "$run"
    fi
  done
}

usage="usage: test.sh [--sanitize|--coverage|--scale]"
[ $# -le 1 ] || die "$usage"
need_packages g++ g++-multilib make cmake pkg-config libgtest-dev googletest librapidcheck-dev \
  valgrind "${tool_packages[@]}" "${python_packages[@]}" "${recognition_packages[@]}" \
  "${example_packages[@]}"
case "${1-}" in
  "") plain ;;
  --sanitize) sanitize ;;
  --coverage) coverage ;;
  --scale) scale ;;
  *) die "$usage" ;;
esac

printf '%d passed, %d failed\n' "$passed" "$failed"
[ "$failed" -eq 0 ] && [ "$passed" -gt 0 ]

#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Measures dibkit beside other libraries, prints the report and writes it to docs/speed.md with its
# plot docs/speed.svg. Needs nothing but git, bash and the right to install Debian packages.
#
#   bench.sh                 everything; about ten minutes
#   bench.sh --quick         the same with fewer turns
#   bench.sh --only=REGEX    only tasks with a matching name; writes nothing into docs
#   bench.sh --avx2          as a CPU without AVX-512 runs it, peers included; writes speed-avx2.md
set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

output=docs
options=()
for argument in "$@"; do
  case $argument in
    --quick) options+=("$argument") ;;
    --only=*)
      options+=("$argument")
      output=
      ;;
    --avx2)
      options+=(--name=speed-avx2)
      # The library asks glibc what the CPU can do, OpenCV has a switch of its own.
      export GLIBC_TUNABLES=glibc.cpu.hwcaps=-AVX512F,-AVX512BW,-AVX512DQ,-AVX512VL
      export OPENCV_CPU_DISABLE=AVX512_SKX,AVX512_ICL
      export LIBYUV_DISABLE_AVX512BW=1
      ;;
    *) die "usage: bench.sh [--quick] [--only=REGEX] [--avx2]" ;;
  esac
done

need_packages g++ make cmake libbenchmark-dev libopencv-core-dev libopencv-imgproc-dev libyuv-dev \
  libpixman-1-dev libswscale-dev libavutil-dev libleptonica-dev libfreeimage-dev libstb-dev \
  libimagequant-dev
build build/bench --preset release \
  -DDIBKIT_BENCH=ON -DDIBKIT_TOOLS=OFF -DBUILD_TESTING=OFF

# Some peers would start threads of their own.
export OMP_NUM_THREADS=1
# What bench/files.sh has put at the end of the page stays there.
files=$(sed -n '/^<!-- files: /,$p' docs/speed.md)
build/bench/bench/dibkit_bench "${options[@]}" ${output:+--output="$output"}
if [ -n "$files" ] && ! grep -q '^<!-- files: ' docs/speed.md; then
  printf '%s\n' "$files" >>docs/speed.md
fi

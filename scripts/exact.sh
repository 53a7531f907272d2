#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# Compares every kernel that this CPU runs with the plain forms, on random images, for as long as
# one likes. Needs nothing but git, bash and the right to install Debian packages.
#
#   exact.sh MINUTES [--seed NUMBER]
#
# Prints the seed, which is the clock's unless it is given, and per family of kernels how many
# pixels were compared and how many results differed. Exits with 1 when one did.
set -euo pipefail
# shellcheck source=scripts/lib.sh
. "$(dirname "${BASH_SOURCE[0]}")/lib.sh"

usage="usage: exact.sh MINUTES [--seed NUMBER]"
[[ $# -eq 1 || ($# -eq 3 && $2 == --seed && $3 =~ ^[0-9]+$) ]] || die "$usage"
[[ $1 =~ ^[0-9]+(\.[0-9]+)?$ ]] || die "$usage"

need_packages g++ make cmake libgtest-dev googletest librapidcheck-dev
build build/release --preset release -DBUILD_TESTING=ON
build/release/tests/exact/exact "$@"

#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
#
# check_load.sh LIBRARY: loading the library runs the compiler's own start-up entry and the
# construction of one global object (STATIC_COLOR), nothing else.
set -euo pipefail
export LC_ALL=C
library=$1

case $(readelf -h "$library" | awk '$1 == "Class:" {print $2}') in
  ELF32) word=4 ;;
  ELF64) word=8 ;;
  *) echo "not an ELF library: $library"; exit 1 ;;
esac
bytes=$((16#$(readelf -SW "$library" | sed -n 's/.* \.init_array *INIT_ARRAY *[0-9a-f]* [0-9a-f]* \([0-9a-f]*\) .*/\1/p')))
entries=$((bytes / word))
# The wrapper's translation unit may name its initialiser after the file or after the object.
initialisers=$(nm "$library" | awk '$NF ~ /^_GLOBAL__sub_I_/ {print $NF}' | sort)
expected='^_GLOBAL__sub_I_(static_cube\.cpp|STATIC_COLOR|_ZN8CNiGoRo2.*)$'

if [[ $entries -ne 2 ]] || [[ $(wc -l <<<"$initialisers") -ne 1 ]] ||
  ! grep -qE "$expected" <<<"$initialisers"; then
  echo ".init_array has $entries entries; initialisers of global objects:"
  echo "${initialisers:-none}"
  exit 1
fi

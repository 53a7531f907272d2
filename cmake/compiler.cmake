# SPDX-License-Identifier: Apache-2.0
#
# What every target is compiled with. Results must be the same bits on every machine, so nothing here
# lets a compiler contract or reorder floating-point arithmetic.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)

if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release)
endif()

add_compile_options(-ffp-contract=off -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                    -Wsign-conversion -Wold-style-cast -Wcast-qual -Wnon-virtual-dtor)
if(DIBKIT_WERROR)
  add_compile_options(-Werror)
endif()

# i386 has no SSE by default and would otherwise round plain doubles to 80 bits.
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND CMAKE_SYSTEM_PROCESSOR MATCHES "x86|i.86|AMD64")
  add_compile_options(-msse2 -mfpmath=sse)
endif()

# DIBKIT_SANITIZE: a list for -fsanitize, such as address,undefined.
set(DIBKIT_SANITIZE "" CACHE STRING "Sanitizers to build with")
if(DIBKIT_SANITIZE)
  add_compile_options(-fsanitize=${DIBKIT_SANITIZE} -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${DIBKIT_SANITIZE})
endif()

# SPDX-License-Identifier: Apache-2.0
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

find_program(pkg_config NAMES pkg-config pkgconf)
if(NOT pkg_config)
  message("pkg-config not found")
  return()
endif()

set(ENV{PKG_CONFIG_PATH} ${PREFIX}/${LIBDIR}/pkgconfig)
separate_arguments(flags UNIX_COMMAND "${FLAGS}")
file(MAKE_DIRECTORY ${WORK_DIR})

# build(PROGRAM SUFFIX PACKAGE COMPILER...)
macro(build program suffix package)
  run(${pkg_config} --cflags --libs ${package})
  separate_arguments(package_flags UNIX_COMMAND "${run_output}")
  run(${ARGN} ${flags} ${CONSUMER_DIR}/${program}.${suffix} -o ${WORK_DIR}/${program}
      ${package_flags})
  run_consumer(${WORK_DIR}/${program})
endmacro()

run(${pkg_config} --modversion dibkit)
string(STRIP "${run_output}" run_output)
if(NOT run_output STREQUAL VERSION)
  message(FATAL_ERROR "dibkit.pc says version ${run_output}")
endif()
build(own_host cpp dibkit ${CXX} -std=c++20)
build(embedded_host cpp dibkit-host ${CXX} -std=c++20)
build(pages cpp dibkit-formats ${CXX} -std=c++20)
build(page c dibkit-page ${CXX} -x c -std=c11 -Wall -Wextra -pedantic -Werror)

# SPDX-License-Identifier: Apache-2.0
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

file(REMOVE_RECURSE ${PREFIX})
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --config ${BUILD_CONFIG} --prefix ${PREFIX})
if(EXISTS ${PREFIX}/${BINDIR}/dibkit)
  run(${PREFIX}/${BINDIR}/dibkit --version)
  if(NOT run_output MATCHES "^dibkit ${VERSION}\n")
    message(FATAL_ERROR "the installed command says ${run_output}")
  endif()
endif()

# SPDX-License-Identifier: Apache-2.0
#
# The package where it was installed, and in another place without the rest.
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

file(REMOVE_RECURSE ${WORK_DIR})
file(COPY ${PREFIX}/${PYTHON_DIR}/dibkit DESTINATION ${WORK_DIR})
foreach(place ${PREFIX}/${PYTHON_DIR} ${WORK_DIR})
  run(${CMAKE_COMMAND} -E env PYTHONPATH=${place} PYTHONDONTWRITEBYTECODE=1
      ${PYTHON} ${CONSUMER_DIR}/page.py)
  if(NOT run_output STREQUAL "${VERSION}: 4 x 2 at 200 dpi, from ${place}/dibkit\n")
    message(FATAL_ERROR "the package said ${run_output}")
  endif()
endforeach()

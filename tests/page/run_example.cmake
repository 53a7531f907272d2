# SPDX-License-Identifier: Apache-2.0
#
# Runs PROGRAM IN OUT MORE and looks at the size of what it wrote; BYTES 0 wants anything.
file(REMOVE ${OUT})
execute_process(COMMAND ${PROGRAM} ${IN} ${OUT} ${MORE} RESULT_VARIABLE result
                ERROR_VARIABLE message)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "${PROGRAM} exited with ${result}: ${message}")
endif()
file(SIZE ${OUT} size)
if(size EQUAL 0 OR (BYTES GREATER 0 AND NOT size EQUAL BYTES))
  message(FATAL_ERROR "${OUT} has ${size} bytes, not ${BYTES}")
endif()

# SPDX-License-Identifier: Apache-2.0
#
# run(COMMAND...): ends the test with the command's own output when it fails; its standard output is
# left in run_output.
macro(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE run_result OUTPUT_VARIABLE run_output
                  ERROR_VARIABLE run_error)
  if(NOT run_result EQUAL 0)
    message(FATAL_ERROR "${ARGN}\ngave ${run_result}\n${run_output}\n${run_error}")
  endif()
endmacro()

# run_consumer(PROGRAM): it converts an image and says so.
macro(run_consumer program)
  run(${CMAKE_COMMAND} -E env LD_LIBRARY_PATH=${PREFIX}/${LIBDIR} ${program})
  if(NOT run_output MATCHES "4 x 2 at 200 dpi")
    message(FATAL_ERROR "${program} said ${run_output}")
  endif()
endmacro()

# SPDX-License-Identifier: Apache-2.0
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

separate_arguments(flags UNIX_COMMAND "${FLAGS}")
set(include_dir ${PREFIX}/${INCLUDEDIR})
file(GLOB_RECURSE headers RELATIVE ${include_dir} ${include_dir}/dibkit/*.h)
list(LENGTH headers count)
if(count LESS 15)
  message(FATAL_ERROR "only ${count} headers are installed")
endif()
file(MAKE_DIRECTORY ${WORK_DIR})
foreach(header ${headers})
  file(WRITE ${WORK_DIR}/alone.cpp "#include <${header}>\n#include <${header}>\n")
  run(${CXX} -std=c++20 -Wall -Wextra -Wpedantic -Werror ${flags} -I${include_dir} -fsyntax-only
      ${WORK_DIR}/alone.cpp)
endforeach()

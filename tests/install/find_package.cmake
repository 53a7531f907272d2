# SPDX-License-Identifier: Apache-2.0
include(${CMAKE_CURRENT_LIST_DIR}/run.cmake)

file(REMOVE_RECURSE ${WORK_DIR})
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR} -G ${GENERATOR}
    -D CMAKE_CXX_COMPILER=${CXX} -D "CMAKE_CXX_FLAGS=${FLAGS}" -D "CMAKE_C_FLAGS=${FLAGS}" -D CMAKE_PREFIX_PATH=${PREFIX}
    -D EXPECTED_VERSION=${VERSION})
run(${CMAKE_COMMAND} --build ${WORK_DIR})
run_consumer(${WORK_DIR}/embedded_host)
run_consumer(${WORK_DIR}/own_host)
run_consumer(${WORK_DIR}/pages)
run_consumer(${WORK_DIR}/page)

# SPDX-License-Identifier: Apache-2.0
#
# GTest::gtest_main, either the installed library or, for a target that it was not built for (i386,
# sanitizers), built from its packaged sources.
if(NOT CMAKE_CXX_FLAGS MATCHES "-m32")
  find_package(GTest QUIET)
endif()
if(NOT TARGET GTest::gtest_main AND EXISTS /usr/src/googletest/CMakeLists.txt)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
  add_subdirectory(/usr/src/googletest ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
  target_compile_options(gtest PRIVATE -w)
  target_compile_options(gtest_main PRIVATE -w)
  if(NOT TARGET GTest::gtest_main)
    add_library(GTest::gtest ALIAS gtest)
    add_library(GTest::gtest_main ALIAS gtest_main)
  endif()
  # Its headers are not ours to warn about.
  foreach(library gtest gtest_main)
    get_target_property(includes ${library} INTERFACE_INCLUDE_DIRECTORIES)
    set_target_properties(${library} PROPERTIES INTERFACE_SYSTEM_INCLUDE_DIRECTORIES "${includes}")
  endforeach()
endif()

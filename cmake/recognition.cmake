# SPDX-License-Identifier: Apache-2.0
#
# DIBKIT_OCR: what needs Tesseract, an example and the measurements of recognition. On with the
# tests where Tesseract is there for the machine that is built for; asked for in so many words and
# absent, it is an error. The targets dibkit_tesseract and dibkit_leptonica bring the libraries.

find_package(PkgConfig QUIET)
dibkit_find_codec(TESSERACT tesseract tesseract/baseapi.h tesseract::TessBaseAPI::Version)
dibkit_find_codec(LEPTONICA lept leptonica/allheaders.h getLeptonicaVersion)
set(found FALSE)
if(BUILD_TESTING AND DIBKIT_FOUND_TESSERACT AND DIBKIT_FOUND_LEPTONICA)
  set(found TRUE)
endif()
option(DIBKIT_OCR "Build the recognition example and its measurements (needs Tesseract)" ${found})
if(NOT DIBKIT_OCR)
  message(STATUS "Recognition (Tesseract): left out")
  return()
endif()

foreach(library TESSERACT LEPTONICA)
  if(NOT DIBKIT_FOUND_${library})
    message(FATAL_ERROR "DIBKIT_OCR is on, but the package of ${library} is not there")
  endif()
  string(TOLOWER dibkit_${library} target)
  add_library(${target} INTERFACE)
  target_include_directories(${target} SYSTEM INTERFACE ${DIBKIT_${library}_INCLUDE_DIRS})
  target_link_directories(${target} INTERFACE ${DIBKIT_${library}_LIBRARY_DIRS})
endforeach()
# By name and not by all that pkg-config lists: what Tesseract uses itself comes with it.
target_link_libraries(dibkit_tesseract INTERFACE tesseract)
target_link_libraries(dibkit_leptonica INTERFACE lept)

# SPDX-License-Identifier: Apache-2.0
#
# Which codecs are built in. Each has an option that is on when its package is there for the machine
# that is built for (an x86-64 library does not serve -m32); asked for in so many words and absent, it
# is an error.

include(CheckCXXSourceCompiles)
find_package(PkgConfig QUIET)

# dibkit_find_codec(NAME module include symbol): sets DIBKIT_FOUND_<NAME> when a program that uses
# the package links, and then defines the target dibkit_codec_<NAME>.
function(dibkit_find_codec name module include expression)
  set(DIBKIT_FOUND_${name} FALSE PARENT_SCOPE)
  if(NOT PkgConfig_FOUND)
    return()
  endif()
  pkg_check_modules(DIBKIT_${name} QUIET ${module})
  if(NOT DIBKIT_${name}_FOUND)
    return()
  endif()
  set(CMAKE_REQUIRED_INCLUDES ${DIBKIT_${name}_INCLUDE_DIRS})
  set(CMAKE_REQUIRED_LIBRARIES ${DIBKIT_${name}_LINK_LIBRARIES})
  set(CMAKE_REQUIRED_FLAGS "-w")
  check_cxx_source_compiles("#include <cstdio>\n#include <${include}>
    int main() { return ${expression} ? 0 : 1; }" DIBKIT_LINKS_${name})
  if(DIBKIT_LINKS_${name})
    set(DIBKIT_FOUND_${name} TRUE PARENT_SCOPE)
    set(DIBKIT_MODULE_${name} ${module} PARENT_SCOPE)
  endif()
endfunction()

# dibkit_option_codec(NAME what): the option DIBKIT_<NAME>, by default whether it was found.
macro(dibkit_option_codec name what)
  option(DIBKIT_${name} "Read and write ${what}" ${DIBKIT_FOUND_${name}})
  if(DIBKIT_${name} AND NOT DIBKIT_FOUND_${name})
    message(FATAL_ERROR "DIBKIT_${name} is on, but its package is not there for this machine")
  endif()
  if(NOT DIBKIT_${name})
    message(STATUS "${what}: left out")
  endif()
endmacro()

# Messages for each open file apart came with libtiff 4.5.
dibkit_find_codec(TIFF libtiff-4 tiffio.h TIFFOpenOptionsAlloc)
dibkit_find_codec(PNG spng spng.h spng_version_string)
# Rows in the order of a DIB are an extension of libjpeg-turbo.
dibkit_find_codec(JPEG libjpeg jpeglib.h "jpeg_std_error && JCS_EXT_BGR")
dibkit_option_codec(TIFF "TIFF files (libtiff)")
dibkit_option_codec(PNG "PNG files (libspng)")
dibkit_option_codec(JPEG "JPEG files (libjpeg-turbo)")

# dibkit_add_codec(target NAME sources...): the adapter, and the codec that it links. The global
# property DIBKIT_CODEC_MODULES lists what pkg-config calls the codecs, for the packages.
function(dibkit_add_codec target name)
  target_sources(${target} PRIVATE ${ARGN})
  target_compile_definitions(${target} PRIVATE DIBKIT_HAS_${name})
  target_include_directories(${target} SYSTEM PRIVATE ${DIBKIT_${name}_INCLUDE_DIRS})
  target_link_directories(${target} PRIVATE ${DIBKIT_${name}_LIBRARY_DIRS})
  target_link_libraries(${target} PRIVATE ${DIBKIT_${name}_LIBRARIES})
  set_property(GLOBAL APPEND PROPERTY DIBKIT_CODEC_MODULES ${DIBKIT_MODULE_${name}})
endfunction()

function(dibkit_add_codecs target)
  if(DIBKIT_TIFF)
    dibkit_add_codec(${target} TIFF
      formats/tiff_reader.cpp
      formats/tiff_writer.cpp
      formats/tiff/directory.cpp
      formats/tiff/messages.cpp
      formats/tiff/metadata.cpp
      formats/tiff/read/decode.cpp
      formats/tiff/read/input.cpp
      formats/tiff/read/kind.cpp
      formats/tiff/read/page_list.cpp
      formats/tiff/read/pixels.cpp
      formats/tiff/read/rows.cpp
      formats/tiff/read/samples.cpp
      formats/tiff/read/table.cpp
      formats/tiff/write/big_file.cpp
      formats/tiff/write/copy_page.cpp
      formats/tiff/write/encode.cpp
      formats/tiff/write/output.cpp
      formats/tiff/write/stored_form.cpp)
  endif()
  if(DIBKIT_PNG)
    dibkit_add_codec(${target} PNG
      formats/png_reader.cpp
      formats/png_writer.cpp
      formats/png/context.cpp
      formats/png/decoder.cpp
      formats/png/filter.cpp
      formats/png/form.cpp
      formats/png/latin1.cpp
      formats/png/metadata.cpp
      formats/png/rows.cpp)
  endif()
  if(DIBKIT_JPEG)
    dibkit_add_codec(${target} JPEG
      formats/jpeg_reader.cpp
      formats/jpeg_writer.cpp
      formats/jpeg/decoder.cpp
      formats/jpeg/guard.cpp
      formats/jpeg/metadata.cpp
      formats/jpeg/source.cpp)
  endif()
endfunction()

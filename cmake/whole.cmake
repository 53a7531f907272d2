# SPDX-License-Identifier: Apache-2.0
#
# Libraries that other programs load and that need nothing of dibkit beside themselves.

# dibkit_link_whole(target): everything is linked in, the library proper too. The host's archive asks
# for the shared library, which is dropped again because nothing of it is left to ask for.
function(dibkit_link_whole target)
  target_link_libraries(${target} PRIVATE dibkit_objects dibkit_formats)
  target_link_options(${target} PRIVATE LINKER:--as-needed)
endfunction()

# dibkit_export_only(target map): what can be seen of it from outside.
function(dibkit_export_only target map)
  target_link_options(${target} PRIVATE LINKER:--version-script=${map})
  set_target_properties(${target} PROPERTIES LINK_DEPENDS ${map})
endfunction()

# The 32-bit Windows build: vobrex32.dll, a drop-in for 32-bit capture
# applications, with its import library vobrex32.lib.
#
# - The exported names come only from the module-definition file: 24 calls,
#   all stdcall, decorated as the applications look them up.
# - The DLL needs no compiler runtime DLL beside it: libgcc, libstdc++ and
#   (if pulled in) winpthread are linked statically; it imports only system
#   DLLs.
# - Floating point uses SSE2, so that the double-precision stages round as in
#   the 64-bit build, whatever precision the host program left the x87 unit in.

if(NOT MINGW)
  message(FATAL_ERROR "vobrex32.dll is built with MinGW-w64: cmake --preset windows")
endif()

set(VOBREX_WINDOWS_FLOAT_OPTIONS -msse2 -mfpmath=sse)
set(VOBREX_WINDOWS_STATIC_RUNTIME -static -static-libgcc -static-libstdc++)

target_compile_options(vobrex_objects PRIVATE ${VOBREX_WINDOWS_FLOAT_OPTIONS})
target_sources(vobrex32 PRIVATE ${PROJECT_SOURCE_DIR}/src/platform/vobrex32.def)
target_link_options(vobrex32 PRIVATE ${VOBREX_WINDOWS_STATIC_RUNTIME} $<$<CONFIG:Release>:-s>)
set_target_properties(vobrex32 PROPERTIES
  PREFIX ""
  OUTPUT_NAME vobrex32
  IMPORT_PREFIX ""
  IMPORT_SUFFIX ".lib"
  RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin
  ARCHIVE_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

# The import library. The linker's own would name each call after its
# exported name (_SetModes@4 as the symbol of a function called SetModes@4);
# dlltool makes one from the module-definition lines turned round
# ("SetModes@4 == _SetModes@4": symbol of the header's declaration ==
# exported name). The linker cannot take that form for the DLL itself: it
# would sort the export table by the symbols, and the loader looks names up
# by binary search over the exported names.
find_program(VOBREX_DLLTOOL NAMES ${CMAKE_DLLTOOL} ${VOBREX_MINGW_TRIPLET}-dlltool dlltool REQUIRED)
set(VOBREX_DEF_FILE ${PROJECT_SOURCE_DIR}/src/platform/vobrex32.def)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${VOBREX_DEF_FILE})
file(STRINGS ${VOBREX_DEF_FILE} vobrex_def_lines)
set(vobrex_implib_def "LIBRARY vobrex32.dll\nEXPORTS\n")
foreach(line IN LISTS vobrex_def_lines)
  if(line MATCHES "^[ \t]*(\"[^\"]+\"|[^ \t;=]+)[ \t]*=[ \t]*([^ \t;=]+)")
    string(APPEND vobrex_implib_def "  ${CMAKE_MATCH_2} == ${CMAKE_MATCH_1}\n")
  endif()
endforeach()
file(WRITE ${CMAKE_BINARY_DIR}/vobrex32-import.def "${vobrex_implib_def}")
add_custom_command(TARGET vobrex32 POST_BUILD
  COMMAND ${VOBREX_DLLTOOL} --input-def ${CMAKE_BINARY_DIR}/vobrex32-import.def
          --dllname vobrex32.dll --output-lib $<TARGET_LINKER_FILE:vobrex32>
  COMMENT "Making the import library vobrex32.lib"
  VERBATIM)

# The DLL is the product here; the raw-frame synthesis serves only the Linux
# tests and tools.
function(vobrex_windows_trim_targets)
  if(TARGET vobrex_mosaic)
    set_target_properties(vobrex_mosaic PROPERTIES EXCLUDE_FROM_ALL ON)
  endif()
endfunction()
cmake_language(DEFER CALL vobrex_windows_trim_targets)

# Windows programs that exercise the DLL under Wine (driven from the Linux
# build's tests).
option(VOBREX_BUILD_WINDOWS_CLIENTS "Build the Windows test clients of the DLL" ON)
if(VOBREX_BUILD_WINDOWS_CLIENTS AND EXISTS ${PROJECT_SOURCE_DIR}/tests/windows/cross_targets.cmake)
  include(${PROJECT_SOURCE_DIR}/tests/windows/cross_targets.cmake)
endif()

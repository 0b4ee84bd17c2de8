# Windows programs that exercise vobrex32.dll, built by the same toolchain
# into the DLL's directory (so each finds the DLL beside it). The Linux build
# runs them under Wine (tests/windows/CMakeLists.txt).
set(VOBREX_WINDOWS_TESTS_DIR ${PROJECT_SOURCE_DIR}/tests/windows)

# Loads the DLL by name and converts through every path.
add_executable(vobrex_client ${VOBREX_WINDOWS_TESTS_DIR}/client.c)
target_include_directories(vobrex_client PRIVATE ${PROJECT_SOURCE_DIR}/include)
# Frame pointers let the client survive the deliberate calling-convention
# mismatch of its self-check.
target_compile_options(vobrex_client PRIVATE -fno-omit-frame-pointer)

# The settings record in 32-bit C and C++ translation units.
add_executable(vobrex_layout_check ${VOBREX_WINDOWS_TESTS_DIR}/layout_check.c
                                   ${VOBREX_WINDOWS_TESTS_DIR}/layout_check.cpp)
target_include_directories(vobrex_layout_check PRIVATE ${PROJECT_SOURCE_DIR}/include)

# Links the import library and calls through the header.
add_executable(vobrex_implib_client ${VOBREX_WINDOWS_TESTS_DIR}/implib_client.c)
target_link_libraries(vobrex_implib_client PRIVATE vobrex32)

foreach(program vobrex_client vobrex_layout_check vobrex_implib_client)
  target_link_options(${program} PRIVATE ${VOBREX_WINDOWS_STATIC_RUNTIME})
  set_target_properties(${program} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
endforeach()

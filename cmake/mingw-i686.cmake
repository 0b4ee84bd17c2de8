# Cross-compiles the 32-bit Windows build (vobrex32.dll) with Debian's
# MinGW-w64 i686 toolchain (scripts/install-windows-toolchain.sh installs it).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86)

set(VOBREX_MINGW_TRIPLET i686-w64-mingw32)
set(CMAKE_DLLTOOL ${VOBREX_MINGW_TRIPLET}-dlltool)
set(CMAKE_C_COMPILER ${VOBREX_MINGW_TRIPLET}-gcc)
set(CMAKE_CXX_COMPILER ${VOBREX_MINGW_TRIPLET}-g++)
set(CMAKE_RC_COMPILER ${VOBREX_MINGW_TRIPLET}-windres)

# Look for headers and libraries in the target's sysroot only, for programs
# on the build machine.
set(CMAKE_FIND_ROOT_PATH /usr/${VOBREX_MINGW_TRIPLET})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)


# Cross build for 64-bit Windows with Debian's mingw-w64 (POSIX threads):
#
#   cmake -S . -B build/windows -G Ninja \
#       -DCMAKE_TOOLCHAIN_FILE=cmake/mingw-w64-x86_64.cmake \
#       -DKORVAN_DEPS_PREFIX=<where the cross-built pugixml, GoogleTest and
#                             CLI11 are installed>
#
# scripts/bootstrap builds those dependencies and this tree; programs, tests
# included, then run under Wine (cmake/Windows.cmake).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(KORVAN_MINGW x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${KORVAN_MINGW}-gcc-posix)
set(CMAKE_CXX_COMPILER ${KORVAN_MINGW}-g++-posix)
set(CMAKE_RC_COMPILER ${KORVAN_MINGW}-windres)

# Libraries, headers and packages come from the compiler's own tree and the
# dependency prefix only, never from the host; programs from the host.
set(CMAKE_FIND_ROOT_PATH /usr/${KORVAN_MINGW})
if(KORVAN_DEPS_PREFIX)
    list(APPEND CMAKE_FIND_ROOT_PATH ${KORVAN_DEPS_PREFIX})
    list(APPEND CMAKE_PREFIX_PATH ${KORVAN_DEPS_PREFIX})
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KORVAN_DEPS_PREFIX)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Windows builds. Windows finds a program's DLLs beside it, so every program
# and korvan.dll go to one folder, bin/, with the compiler's runtime DLLs
# (the C++ library, the GCC support library, POSIX threads), which are
# installed beside them too. A cross build runs its programs, tests included,
# under Wine through the emulator script wine-run in the build tree.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/bin)

set(KORVAN_RUNTIME_DLLS)
foreach(dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
    execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}
        OUTPUT_VARIABLE path OUTPUT_STRIP_TRAILING_WHITESPACE)
    if(IS_ABSOLUTE "${path}" AND EXISTS "${path}")
        list(APPEND KORVAN_RUNTIME_DLLS ${path})
    endif()
endforeach()
file(COPY ${KORVAN_RUNTIME_DLLS} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
install(FILES ${KORVAN_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR})

if(CMAKE_CROSSCOMPILING AND NOT CMAKE_CROSSCOMPILING_EMULATOR)
    find_program(KORVAN_WINE NAMES wine wine64 PATHS /usr/lib/wine NO_CMAKE_FIND_ROOT_PATH)
    find_program(KORVAN_WINESERVER NAMES wineserver PATHS /usr/lib/wine NO_CMAKE_FIND_ROOT_PATH)
    if(KORVAN_WINE AND KORVAN_WINESERVER)
        configure_file(${CMAKE_CURRENT_LIST_DIR}/wine-run.in ${PROJECT_BINARY_DIR}/wine-run @ONLY
            FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                             WORLD_READ WORLD_EXECUTE)
        set(CMAKE_CROSSCOMPILING_EMULATOR ${PROJECT_BINARY_DIR}/wine-run)
    endif()
endif()

# Installs the built library into a scratch prefix, then builds and runs the
# consumer program with find_package(Korvan) and with pkg-config. For a
# Windows cross build the programs find korvan.dll in the prefix's bin
# folder and run through the emulator (Wine).
function(run)
    execute_process(COMMAND ${ARGN} RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE err)
    if(NOT result EQUAL 0)
        message(FATAL_ERROR "failed: ${ARGN}\n${out}\n${err}")
    endif()
endfunction()

file(REMOVE_RECURSE ${WORK_DIR})
set(prefix ${WORK_DIR}/prefix)
run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix})

set(flags "")
if(SANITIZE)
    set(flags "-fsanitize=address,undefined")
endif()

set(cross)
set(pc_path ${prefix}/lib/pkgconfig)
if(TOOLCHAIN)
    set(cross -DCMAKE_TOOLCHAIN_FILE=${TOOLCHAIN} -DKORVAN_DEPS_PREFIX=${DEPS_PREFIX}
        -DKorvan_DIR=${prefix}/lib/cmake/Korvan)
    set(pc_path "${pc_path}:${DEPS_PREFIX}/lib/pkgconfig")
    set(ENV{WINEPATH} ${prefix}/bin)
endif()
run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/cmake-build -G Ninja ${cross}
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${flags}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run(${EMULATOR} ${WORK_DIR}/cmake-build/consumer${EXE_SUFFIX} ${WORK_DIR}/cmake.xml)

set(ENV{PKG_CONFIG_PATH} ${pc_path})
execute_process(COMMAND pkg-config --cflags --libs korvan
    OUTPUT_VARIABLE pc_flags RESULT_VARIABLE pc_result OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT pc_result EQUAL 0)
    message(FATAL_ERROR "pkg-config does not know korvan")
endif()
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CXX} ${flags} ${CONSUMER_DIR}/main.cpp ${pc_flags} -Wl,-rpath,${prefix}/lib
    -o ${WORK_DIR}/pkg-consumer)
run(${EMULATOR} ${WORK_DIR}/pkg-consumer${EXE_SUFFIX} ${WORK_DIR}/pkg.xml)

# Installs the built library into a scratch prefix, then builds and runs the
# consumer program with find_package(Korvan) and with pkg-config.
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

run(${CMAKE_COMMAND} -S ${CONSUMER_DIR} -B ${WORK_DIR}/cmake-build -G Ninja
    -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_CXX_COMPILER=${CXX} "-DCMAKE_CXX_FLAGS=${flags}")
run(${CMAKE_COMMAND} --build ${WORK_DIR}/cmake-build)
run(${WORK_DIR}/cmake-build/consumer ${WORK_DIR}/cmake.xml)

set(ENV{PKG_CONFIG_PATH} ${prefix}/lib/pkgconfig)
execute_process(COMMAND pkg-config --cflags --libs korvan
    OUTPUT_VARIABLE pc_flags RESULT_VARIABLE pc_result OUTPUT_STRIP_TRAILING_WHITESPACE)
if(NOT pc_result EQUAL 0)
    message(FATAL_ERROR "pkg-config does not know korvan")
endif()
separate_arguments(pc_flags UNIX_COMMAND "${pc_flags}")
separate_arguments(flags UNIX_COMMAND "${flags}")
run(${CXX} ${flags} ${CONSUMER_DIR}/main.cpp ${pc_flags} -Wl,-rpath,${prefix}/lib
    -o ${WORK_DIR}/pkg-consumer)
run(${WORK_DIR}/pkg-consumer ${WORK_DIR}/pkg.xml)

# Installs the library into an empty folder, and builds and runs a host against it:
# cmake -DBUILD=<build folder> -DCONFIG=<build type> -P check-package.cmake
file(REMOVE_RECURSE "${BUILD}/package-test")
function(run)
    execute_process(COMMAND ${ARGV} RESULT_VARIABLE code OUTPUT_VARIABLE output ERROR_VARIABLE output)
    if(NOT code EQUAL 0)
        list(JOIN ARGV " " command)
        message(FATAL_ERROR "${command}: ${code}\n${output}")
    endif()
endfunction()
run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${BUILD}/package-test/installed")
run("${CMAKE_COMMAND}" -S "${CMAKE_CURRENT_LIST_DIR}" -B "${BUILD}/package-test/build" -G Ninja
    "-DCMAKE_BUILD_TYPE=${CONFIG}" "-DCMAKE_PREFIX_PATH=${BUILD}/package-test/installed")
run("${CMAKE_COMMAND}" --build "${BUILD}/package-test/build")
run("${BUILD}/package-test/build/packageuser")

# What every target of ours has in common, one function per kind of target.

# Warnings are errors for our own code only: the flags are never passed on to targets that link against it.
function(kv_own_code target)
    if(MSVC)
        target_compile_options(${target} PRIVATE /W4 /permissive- /Zc:__cplusplus /utf-8)
        if(KVPROGRAM_WERROR)
            target_compile_options(${target} PRIVATE /WX)
        endif()
    else()
        target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow -Wnon-virtual-dtor)
        if(KVPROGRAM_WERROR)
            target_compile_options(${target} PRIVATE -Werror)
        endif()
    endif()
    target_compile_definitions(${target} PRIVATE QT_NO_CAST_TO_ASCII QT_NO_CAST_FROM_BYTEARRAY QT_NO_KEYWORDS)
    if(KVPROGRAM_SANITIZE)
        target_compile_options(${target} PRIVATE -fsanitize=${KVPROGRAM_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
        target_link_options(${target} PRIVATE -fsanitize=${KVPROGRAM_SANITIZE})
    endif()
endfunction()

# What includes windows.h: wide characters, Windows 10.
function(kv_windows_code target)
    target_compile_definitions(${target} PRIVATE UNICODE _UNICODE NOMINMAX WIN32_LEAN_AND_MEAN _WIN32_WINNT=0x0A00)
endfunction()

# Objects that the shared library, the tests and the benchmarks link alike.
function(kv_add_objects target)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINK")
    add_library(${target} OBJECT ${arg_SOURCES})
    target_include_directories(${target} PUBLIC "${CMAKE_SOURCE_DIR}/src")
    target_link_libraries(${target} PUBLIC ${arg_LINK})
    kv_own_code(${target})
endfunction()

# Under Wine the sources lie on a drive of their own.
set(KVPROGRAM_TEST_DRIVE "" CACHE STRING "Drive on which the tests find the source folder if they run elsewhere")

# What Qt Test's macros want.
function(kv_test_code target)
    target_compile_definitions(${target} PRIVATE KV_SOURCE_DIR="${KVPROGRAM_TEST_DRIVE}${CMAKE_SOURCE_DIR}")
    if(NOT MSVC)
        # Qt 6.8's QTRY_ macros narrow their time.
        target_compile_options(${target} PRIVATE -Wno-conversion)
        # These name the folder of the build in every test, and so keep the compiler's cache from serving another folder.
        target_compile_options(${target} PRIVATE -UQT_TESTCASE_SOURCEDIR -UQT_TESTCASE_BUILDDIR)
    endif()
endfunction()

# One Qt Test program, named after the class that it tests.
function(kv_add_test name)
    cmake_parse_arguments(PARSE_ARGV 1 arg "" "TIMEOUT" "SOURCES;LINK")
    if(NOT arg_SOURCES)
        set(arg_SOURCES ${name}.cpp)
    endif()
    if(NOT arg_TIMEOUT)
        set(arg_TIMEOUT 120)
    endif()
    add_executable(${name} ${arg_SOURCES})
    target_link_libraries(${name} PRIVATE Qt6::Test ${arg_LINK})
    kv_own_code(${name})
    kv_test_code(${name})
    add_test(NAME ${name} COMMAND ${name})
    set_tests_properties(${name} PROPERTIES TIMEOUT ${arg_TIMEOUT} ENVIRONMENT
        "QT_QPA_PLATFORM=offscreen;LC_ALL=C.UTF-8;TSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/support/tsan.supp:halt_on_error=1;LSAN_OPTIONS=suppressions=${CMAKE_SOURCE_DIR}/tests/support/lsan.supp:print_suppressions=0")
endfunction()

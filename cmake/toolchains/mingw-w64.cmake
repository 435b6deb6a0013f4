# Builds for 64-bit Windows on Linux with MinGW-w64's GCC. Qt for Windows is found if QT_TARGET_PATH, a CMake or an
# environment variable, names its folder.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

# The -posix flavour: the other one lacks std::thread and std::mutex.
set(triplet x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${triplet}-gcc-posix)
set(CMAKE_CXX_COMPILER ${triplet}-g++-posix)
set(CMAKE_RC_COMPILER ${triplet}-windres)

# Libraries and headers come from the target's folders only; programs (moc, rcc, qsb) from this computer's.
if(NOT QT_TARGET_PATH)
    set(QT_TARGET_PATH "$ENV{QT_TARGET_PATH}")
endif()
# CMake reads this file again for each of its own compiler checks, where cache variables are unknown.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES QT_TARGET_PATH)
set(CMAKE_FIND_ROOT_PATH /usr/${triplet} ${QT_TARGET_PATH})
if(QT_TARGET_PATH)
    list(APPEND CMAKE_PREFIX_PATH "${QT_TARGET_PATH}")
endif()
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Windows programs that the build or CTest starts run under Wine.
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../../tools/windows/run-under-wine")

# Cross-compiles for Windows x86-64 with Debian's mingw-w64 compiler. scripts/windows uses it; by hand:
#
#   cmake -S . -B build/windows -G Ninja --toolchain cmake/toolchain-mingw.cmake -D KAVO_WINDOWS_QT=<folder>
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR AMD64)

# Only the "posix" flavour has std::thread and std::mutex.
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

# The folder of a Qt 5 built for this compiler; nothing of the Linux Qt may get in.
set(KAVO_WINDOWS_QT "" CACHE PATH "Qt 5 for mingw-w64: the folder with bin, lib and include")
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES KAVO_WINDOWS_QT)
set(CMAKE_FIND_ROOT_PATH "${KAVO_WINDOWS_QT}" /usr/x86_64-w64-mingw32)
set(CMAKE_PREFIX_PATH "${KAVO_WINDOWS_QT}")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Boost's headers serve every system, but the folder around them holds the C library of Linux: they
# are reached through a folder where they lie alone.
file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/boost)
file(CREATE_LINK /usr/include/boost ${CMAKE_BINARY_DIR}/boost/boost SYMBOLIC)
set(Boost_NO_BOOST_CMAKE ON)
set(Boost_INCLUDE_DIR ${CMAKE_BINARY_DIR}/boost CACHE PATH "Boost's headers")

# Where programs under Wine see this system's files: put before a path, it holds in every folder.
set(KAVO_RUNTIME_ROOT "Z:")

# Windows 10 and Server 2016 are the oldest systems that this is meant for.
add_compile_definitions(_WIN32_WINNT=0x0A00 WINVER=0x0A00)

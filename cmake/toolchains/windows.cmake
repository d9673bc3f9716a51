# Windows x86-64 with mingw-w64, as Debian's g++-mingw-w64-x86-64-posix brings it: threads by way of
# winpthreads, which std::thread and std::mutex need.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(windows_target x86_64-w64-mingw32)
set(CMAKE_CXX_COMPILER ${windows_target}-g++-posix)
set(CMAKE_C_COMPILER ${windows_target}-gcc-posix)
set(CMAKE_RC_COMPILER ${windows_target}-windres)
set(CMAKE_FIND_ROOT_PATH /usr/${windows_target})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_CROSSCOMPILING_EMULATOR wine)

# Programs find the library, and the compiler's own, beside them.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)

# Windows on x86-64, built with mingw-w64 as Debian's g++-mingw-w64-x86-64-posix brings it: with posix
# threads, which std::thread and std::mutex need. What is built runs under Wine.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)
# Programs find the library and the compiler's own in the build directory.
set(CMAKE_CROSSCOMPILING_EMULATOR
  env;WINEDEBUG=-all;WINEPREFIX=${CMAKE_BINARY_DIR}/wine;WINEPATH=Z:${CMAKE_BINARY_DIR};wine)
# Nothing of this machine's own, but for headers that fit every system.
set(CMAKE_FIND_ROOT_PATH /usr/x86_64-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)

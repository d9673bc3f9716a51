# The language of C++23, with g++ and clang.
platform_cxx23() { try_standard 23; }

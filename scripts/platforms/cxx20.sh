# The language of C++20, with g++ and clang.
platform_cxx20() { try_standard 20; }

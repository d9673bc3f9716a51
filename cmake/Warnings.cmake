# Warnings for our own targets only; a host that builds us as a part keeps its own.
add_library(fieldstore_warnings INTERFACE)
if(NOT MSVC)
  target_compile_options(fieldstore_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow $<$<BOOL:${FIELDSTORE_WERROR}>:-Werror>)
endif()
# In C++20, g++ 12 sees overlaps inside std::string that are not there.
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13
   AND CMAKE_CXX_STANDARD GREATER_EQUAL 20)
  target_compile_options(fieldstore_warnings INTERFACE -Wno-restrict)
endif()

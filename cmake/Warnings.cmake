# Warnings for our own targets only; a host that builds us as a part keeps its own.
add_library(fieldstore_warnings INTERFACE)
if(NOT MSVC)
  target_compile_options(fieldstore_warnings INTERFACE
    -Wall -Wextra -Wpedantic -Wconversion -Wshadow $<$<BOOL:${FIELDSTORE_WERROR}>:-Werror>)
endif()

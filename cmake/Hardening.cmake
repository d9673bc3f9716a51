# What compiler and linker can do so that a memory error is not turned into an attack; and results
# that do not depend on where the sources lie.
include(CheckCXXCompilerFlag)
include(CheckPIESupported)

check_pie_supported(LANGUAGES CXX)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

# On Windows every large frame is probed anyway.
if(NOT WIN32)
  set(probed_stack -fstack-clash-protection)
endif()
foreach(flag
    -fstack-protector-strong
    ${probed_stack}
    -fcf-protection
    -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.)
  string(REGEX REPLACE "=.*" "" name ${flag})
  string(MAKE_C_IDENTIFIER "FIELDSTORE_HAS${name}" known)
  check_cxx_compiler_flag(${flag} ${known})
  if(${known})
    add_compile_options(${flag})
  endif()
endforeach()
# The checked functions of the C library need an optimising compiler.
if(NOT MSVC)
  add_compile_options("$<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
endif()
if(MINGW)
  link_libraries(-l:libssp.a) # what the stack protector needs lies in a library of its own
elseif(UNIX AND NOT APPLE)
  add_link_options(LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
endif()

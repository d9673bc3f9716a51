# GoogleTest from its package; for another system, for which there is none, from the sources that
# Debian's package googletest brings.
if(NOT WIN32)
  find_package(GTest REQUIRED)
  return()
endif()
set(FIELDSTORE_GOOGLETEST /usr/src/googletest CACHE PATH "Sources of GoogleTest")
set(INSTALL_GTEST OFF)
set(BUILD_GMOCK OFF)
add_subdirectory(${FIELDSTORE_GOOGLETEST} ${CMAKE_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)

# The compiler's own libraries, beside the programs that need them. Library and host share them: objects
# and exceptions go from one to the other.
set(FIELDSTORE_RUNTIME "")
foreach(name libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${name}
    OUTPUT_VARIABLE found OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  if(NOT IS_ABSOLUTE "${found}")
    message(FATAL_ERROR "${CMAKE_CXX_COMPILER} does not know where its ${name} lies. Take the "
      "compiler with posix threads, as in cmake/toolchains/windows.cmake.")
  endif()
  list(APPEND FIELDSTORE_RUNTIME ${found})
endforeach()
file(COPY ${FIELDSTORE_RUNTIME} DESTINATION ${PROJECT_BINARY_DIR})

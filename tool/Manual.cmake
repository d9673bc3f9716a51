# The manual pages and completions, from the definition of the command line.
add_executable(fieldstore_manual
  manual/main.cpp
  manual/BashCompletion.cpp
  manual/ManPage.cpp
  manual/Manual.cpp
  manual/ZshCompletion.cpp)
target_link_libraries(fieldstore_manual PRIVATE fieldstore_commands)
set_target_properties(fieldstore_manual PROPERTIES CXX_EXTENSIONS OFF)
# Under sanitizers g++ 12 warns about the inside of its own <regex>.
target_compile_options(fieldstore_manual PRIVATE
  $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)

include(${PROJECT_SOURCE_DIR}/cmake/SourceDate.cmake)
fieldstore_source_date(%Y-%m-%d source_date)
set(manual ${CMAKE_CURRENT_BINARY_DIR}/manual)
add_custom_command(OUTPUT ${manual}/fieldstore
  COMMAND fieldstore_manual ${manual} ${source_date}
  DEPENDS fieldstore_manual
  COMMENT "Writing the manual pages")
add_custom_target(fieldstore_pages ALL DEPENDS ${manual}/fieldstore)

if(FIELDSTORE_INSTALL)
  install(DIRECTORY ${manual}/man1 DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT tools)
  if(FIELDSTORE_DEBIAN)
    install(CODE "
      file(GLOB pages \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_MANDIR}/man1/fieldstore*.1)
      execute_process(COMMAND gzip -9nf \${pages} COMMAND_ERROR_IS_FATAL ANY)"
      COMPONENT tools)
  endif()
  install(FILES ${manual}/fieldstore
    DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions COMPONENT tools)
  install(FILES ${manual}/_fieldstore
    DESTINATION ${zsh_functions} COMPONENT tools)
endif()

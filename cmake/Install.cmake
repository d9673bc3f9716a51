include(CMakePackageConfigHelpers)

# Three components, as Debian splits packages: the library, what building against it needs, and the
# tool (installed by its own folder).
set(doc_of_development ${CMAKE_INSTALL_DOCDIR})
set(doc_of_tools ${CMAKE_INSTALL_DOCDIR})
set(zsh_functions ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
if(FIELDSTORE_DEBIAN)
  set(package_of_library libfieldstore${PROJECT_VERSION_MAJOR})
  set(package_of_development libfieldstore-dev)
  set(package_of_tools fieldstore-tools)
  set(package_of_python python3-fieldstore)
  set(doc_of_development ${CMAKE_INSTALL_DATADIR}/doc/${package_of_development})
  set(doc_of_tools ${CMAKE_INSTALL_DATADIR}/doc/${package_of_tools})
  set(zsh_functions ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
endif()

install(TARGETS fieldstore EXPORT fieldstoreTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library NAMELINK_COMPONENT development
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(DIRECTORY include/fieldstore DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/fieldstore)
install(EXPORT fieldstoreTargets NAMESPACE fieldstore:: DESTINATION ${package_dir}
  COMPONENT development)
export(EXPORT fieldstoreTargets NAMESPACE fieldstore:: FILE fieldstoreTargets.cmake)
configure_package_config_file(cmake/fieldstoreConfig.cmake.in fieldstoreConfig.cmake
  INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(fieldstoreConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/fieldstoreConfig.cmake
  ${PROJECT_BINARY_DIR}/fieldstoreConfigVersion.cmake
  DESTINATION ${package_dir} COMPONENT development)

# pkg-config finds the rest of the tree from where its file lies, so the tree can be moved.
set(pkgconfig_dir ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH prefix_from_pkgconfig /usr/${pkgconfig_dir} /usr)
configure_file(cmake/fieldstore.pc.in fieldstore.pc @ONLY)
configure_file(cmake/fieldstore-mpi.pc.in fieldstore-mpi.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/fieldstore.pc ${PROJECT_BINARY_DIR}/fieldstore-mpi.pc
  DESTINATION ${pkgconfig_dir} COMPONENT development)

install(FILES docs/behaviour.md docs/file-format.md docs/getting-started.md docs/installing.md
  docs/mpi.md docs/scaling.md docs/scaling-model.svg
  docs/troubleshooting.md
  DESTINATION ${doc_of_development} COMPONENT development)
install(DIRECTORY examples/quickstart DESTINATION ${doc_of_development}/examples
  COMPONENT development)

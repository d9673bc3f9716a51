include(CMakePackageConfigHelpers)

# Three components, as Debian splits packages: the library, what building against it needs, and the
# tool (installed by its own folder).
set(component_of_python development)
set(zsh_functions ${CMAKE_INSTALL_DATADIR}/zsh/site-functions)
if(FIELDSTORE_DEBIAN)
  set(package_of_library libfieldstore${PROJECT_VERSION_MAJOR})
  set(package_of_development libfieldstore-dev)
  set(package_of_tools fieldstore-tools)
  set(package_of_python python3-fieldstore)
  set(component_of_python python)
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

# Guides and examples lie as they do in the source tree, whatever package has them, so that pages find
# each other.
function(install_guides component)
  foreach(path IN LISTS ARGN)
    get_filename_component(folder ${path} DIRECTORY)
    set(type FILES)
    if(IS_DIRECTORY ${PROJECT_SOURCE_DIR}/${path})
      set(type DIRECTORY)
    endif()
    install(${type} ${PROJECT_SOURCE_DIR}/${path} DESTINATION ${CMAKE_INSTALL_DOCDIR}/${folder}
      COMPONENT ${component})
  endforeach()
endfunction()

install_guides(development
  SECURITY.md bench/RESULTS.md docs/behaviour.md docs/file-format.md docs/getting-started.md
  docs/installing.md docs/mpi.md docs/reliability.md docs/scaling.md docs/scaling-model.svg
  docs/troubleshooting.md docs/waveguide.md docs/images/indicators.png docs/images/mode.png
  examples/quickstart)
install_guides(${component_of_python}
  docs/images/report-1280.png docs/python.md docs/report.md examples/dolfinx examples/python)

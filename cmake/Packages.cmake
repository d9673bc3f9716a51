# Debian packages, one per component of the installation. `cpack` makes them; FIELDSTORE_DEBIAN
# switches them on, together with the places and forms of files that Debian has of its own.
if(NOT FIELDSTORE_BUILD_TOOL)
  message(FATAL_ERROR "The packages hold the tool: give -DFIELDSTORE_BUILD_TOOL=ON too.")
endif()

set(FIELDSTORE_MAINTAINER "fieldstore maintainers <fieldstore@example.org>" CACHE STRING
  "Who answers for the packages: a name and an address")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_CONTACT ${FIELDSTORE_MAINTAINER})
# cpack takes this text for none; it would put any other before the description of each package.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "${PROJECT_NAME} built using CMake")
set(CPACK_PACKAGING_INSTALL_PREFIX ${CMAKE_INSTALL_PREFIX})
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL library development tools)
if(FIELDSTORE_BUILD_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
endif()
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_VERBATIM_VARIABLES ON)

set(deb_version ${PROJECT_VERSION}-1)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SOURCE fieldstore)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)

# cpack has no variable for Multi-Arch before 3.31, so the field follows that of the section.
set(CPACK_DEBIAN_LIBRARY_PACKAGE_NAME ${package_of_library})
set(CPACK_DEBIAN_LIBRARY_PACKAGE_SECTION "libs\nMulti-Arch: same")
set(CPACK_DEBIAN_LIBRARY_DESCRIPTION
"store for finite-element result data - shared library
fieldstore keeps the result data of an electromagnetic finite-element solver:
modal voltages and currents, maps and lists of degrees of freedom, mesh sets,
solution metrics, circuit matrices, assembly data. A solver asks for an object
by class name, fills it and commits it to a file; any process loads it back.
.
This package holds the library that hosts need to run.")
# Operations are virtual, which symbols do not show: hosts want the version that they are built with.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
set(CPACK_DEBIAN_LIBRARY_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/cmake/debian/triggers)
install(FILES cmake/debian/library.overrides DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides
  RENAME ${package_of_library} COMPONENT library)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${package_of_development})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION "libdevel\nMulti-Arch: same")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${package_of_library} (= ${deb_version})")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "mpi-default-dev")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
"store for finite-element result data - development files
fieldstore keeps the result data of an electromagnetic finite-element solver,
for hosts that are linked with it or load it at run time.
.
This package holds the headers, the CMake and pkg-config packages, guides and
the quickstart example.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ${package_of_tools})
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION science)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
"store for finite-element result data - command-line tool
fieldstore keeps the result data of an electromagnetic finite-element solver.
.
This package holds the program that lists, shows, checks, dumps, builds,
repairs, seals, compacts, converts, merges, compares and watches result files.")

# The module fits the minor version of the interpreter that it was built for.
set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME ${package_of_python})
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
  "python3 (>= ${Python_VERSION_MAJOR}.${Python_VERSION_MINOR}~), python3 (<< ${Python_VERSION_MAJOR}.${python_next}), python3-numpy")
set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS python3-matplotlib)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SUGGESTS
  "fieldstore-tools, python3-mpi4py, python3-pandas, python3-scikit-rf, python3-scipy, python3-xarray")
set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA
  "${PROJECT_SOURCE_DIR}/cmake/debian/python/postinst;${PROJECT_SOURCE_DIR}/cmake/debian/python/prerm")
set(CPACK_DEBIAN_PYTHON_DESCRIPTION
"store for finite-element result data - Python package
fieldstore keeps the result data of an electromagnetic finite-element solver.
.
This package holds the module fieldstore for Python, which reads result files
as NumPy arrays, writes and plots them, and the programs fieldstore-report
and fieldstore-plot, which the tool runs. It contains the library.")

# What Debian wants with every package.
include(${CMAKE_CURRENT_LIST_DIR}/SourceDate.cmake)
fieldstore_source_date("%a, %d %b %Y %H:%M:%S +0000" deb_date)
configure_file(cmake/debian/changelog.in debian/changelog.Debian @ONLY)
configure_file(CHANGELOG.md debian/changelog COPYONLY)
foreach(changelog IN ITEMS changelog changelog.Debian)
  execute_process(COMMAND gzip -9nf ${PROJECT_BINARY_DIR}/debian/${changelog}
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  install(FILES
    cmake/debian/copyright
    ${PROJECT_BINARY_DIR}/debian/changelog.gz
    ${PROJECT_BINARY_DIR}/debian/changelog.Debian.gz
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package_of_${component}} COMPONENT ${component})
endforeach()
include(CPack)

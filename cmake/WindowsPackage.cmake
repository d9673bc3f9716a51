# A zip of the installation for Windows, which `cpack` makes. It can be unpacked anywhere.
if(MINGW)
  install(FILES ${FIELDSTORE_RUNTIME} DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library)
endif()
install(FILES LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT library)

set(CPACK_GENERATOR ZIP)
set(CPACK_PACKAGE_FILE_NAME ${PROJECT_NAME}-${PROJECT_VERSION}-windows-x86_64)
set(CPACK_STRIP_FILES ON)
include(CPack)

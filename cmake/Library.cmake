# The library's sources, layer by layer; each layer uses those above it in this list.
if(WIN32)
  set(platform windows)
else()
  set(platform posix)
endif()
set(FIELDSTORE_STREAMS
  streams/ColumnEncoding.cpp
  streams/DoubleText.cpp
  streams/FileBuffer.cpp
  streams/InputArea.cpp
  streams/LockClaim.cpp
  streams/MemoryBuffer.cpp
  streams/NumberText.cpp
  streams/OutputArea.cpp
  streams/PODataServiceIO.cpp
  streams/POFileLocker.cpp
  streams/POStreamFileIO.cpp
  streams/POStreamIO.cpp
  streams/POWindowsFileLocker.cpp
  streams/RetryPause.cpp
  streams/SinkBuffer.cpp
  streams/StandardFromChars.cpp
  streams/StopRequest.cpp
  streams/WordScan.cpp
  streams/Writer.cpp
  streams/FileAttributes_${platform}.cpp
  streams/FileNames_${platform}.cpp
  streams/Platform_${platform}.cpp)
set(FIELDSTORE_CORE
  core/AppendMark.cpp
  core/BodyScan.cpp
  core/CommitGuard.cpp
  core/ErrorLog.cpp
  core/Failure.cpp
  core/POBase.cpp
  core/POIndex.cpp
  core/POVersion.cpp
  core/ObjectStorage.cpp)
set(FIELDSTORE_CLASSES
  objects/DOFBlock.cpp
  objects/DOFRecords.cpp
  objects/POAssemblyInfo.cpp
  objects/POBinaryTree.cpp
  objects/POCircuitMatrices.cpp
  objects/PODOFList.cpp
  objects/PODOFMap.cpp
  objects/POMeshTree.cpp
  objects/POModeInfo.cpp
  objects/POPortCircuitDOFs.cpp
  objects/POSolutionMetrics.cpp
  objects/ResolveFunctions.cpp)
set(FIELDSTORE_FACTORY
  factory/ClassTable.cpp
  factory/NewInstance.cpp)

# Compiled once; the shared library and everything that needs the internals are made of it.
add_library(fieldstore_objects OBJECT
  ${FIELDSTORE_STREAMS} ${FIELDSTORE_CORE} ${FIELDSTORE_CLASSES} ${FIELDSTORE_FACTORY})
target_compile_features(fieldstore_objects PUBLIC cxx_std_17)
target_include_directories(fieldstore_objects
  PRIVATE ${PROJECT_SOURCE_DIR}
  PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>)
target_link_libraries(fieldstore_objects PRIVATE $<BUILD_INTERFACE:fieldstore_warnings>)
set_target_properties(fieldstore_objects PROPERTIES
  POSITION_INDEPENDENT_CODE ON
  CXX_EXTENSIONS OFF
  CXX_VISIBILITY_PRESET hidden
  VISIBILITY_INLINES_HIDDEN ON)

add_library(fieldstore SHARED)
add_library(fieldstore::fieldstore ALIAS fieldstore)
target_sources(fieldstore PRIVATE $<TARGET_OBJECTS:fieldstore_objects>)
target_compile_features(fieldstore PUBLIC cxx_std_17)
target_include_directories(fieldstore INTERFACE
  $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include>
  $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
set_target_properties(fieldstore PROPERTIES
  LINKER_LANGUAGE CXX
  VERSION ${PROJECT_VERSION}
  SOVERSION ${PROJECT_VERSION_MAJOR})
if(WIN32)
  target_sources(fieldstore PRIVATE ${PROJECT_SOURCE_DIR}/cmake/exports.def)
  set_target_properties(fieldstore PROPERTIES PREFIX "")
  target_link_libraries(fieldstore PRIVATE ntdll)
elseif(UNIX AND NOT APPLE)
  set(exports ${PROJECT_SOURCE_DIR}/cmake/exports.map)
  target_link_options(fieldstore PRIVATE -Wl,--version-script=${exports})
  set_property(TARGET fieldstore APPEND PROPERTY LINK_DEPENDS ${exports})
  if(NOT FIELDSTORE_SANITIZE)
    target_link_options(fieldstore PRIVATE -Wl,--no-undefined)
  endif()
endif()

if(MINGW)
  include(cmake/MingwRuntime.cmake)
endif()

# For tests, benchmarks and the tool, which look inside. Never installed.
add_library(fieldstore_internal STATIC EXCLUDE_FROM_ALL $<TARGET_OBJECTS:fieldstore_objects>)
set_target_properties(fieldstore_internal PROPERTIES LINKER_LANGUAGE CXX)
target_compile_features(fieldstore_internal PUBLIC cxx_std_17)
if(WIN32)
  target_link_libraries(fieldstore_internal INTERFACE ntdll)
endif()
target_include_directories(fieldstore_internal INTERFACE
  ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)

# What tells from the bytes of a file what it is and what is wrong with it: a part of the tool that
# the Python package has as well. It needs no package but the compiler's.
find_package(Threads REQUIRED)

add_library(fieldstore_inspection STATIC EXCLUDE_FROM_ALL
  tool/BodyReader.cpp
  tool/BodyWriter.cpp
  tool/Catalog.cpp
  tool/HostLoad.cpp
  tool/Inspection.cpp
  tool/Joining.cpp
  tool/LoadedFile.cpp
  tool/Progress.cpp
  tool/ReadBodies.cpp
  tool/RemovedOnSignal_${platform}.cpp
  tool/ResultFile.cpp
  tool/ShortestText.cpp
  tool/SideFiles.cpp
  tool/Slice.cpp
  tool/System_${platform}.cpp
  tool/TemporaryFile.cpp
  tool/Terminal.cpp
  tool/Visible.cpp)
target_link_libraries(fieldstore_inspection PUBLIC
  fieldstore_internal fieldstore_warnings Threads::Threads)
set_target_properties(fieldstore_inspection PROPERTIES
  POSITION_INDEPENDENT_CODE ON
  CXX_EXTENSIONS OFF)

# The date of the sources as seconds since 1970, for pages and packages that come out the same
# whenever they are built: SOURCE_DATE_EPOCH, else the last commit, else the change of this version's
# notes. CMake's TIMESTAMP writes it while SOURCE_DATE_EPOCH is set.
function(fieldstore_source_date format result)
  set(epoch $ENV{SOURCE_DATE_EPOCH})
  if(NOT epoch)
    execute_process(COMMAND git log -1 --format=%ct WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
      OUTPUT_VARIABLE epoch OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  endif()
  if(NOT epoch)
    file(TIMESTAMP ${PROJECT_SOURCE_DIR}/CHANGELOG.md epoch %s UTC)
  endif()
  set(before $ENV{SOURCE_DATE_EPOCH})
  set(ENV{SOURCE_DATE_EPOCH} ${epoch})
  string(TIMESTAMP date ${format} UTC)
  set(ENV{SOURCE_DATE_EPOCH} ${before})
  set(${result} ${date} PARENT_SCOPE)
endfunction()

# vam_find_platform_library(LIBRARY TITLE)
# Looks in CMAKE_PREFIX_PATH and the sysroot for the header VAM_<LIBRARY>_HEADER and the library
# VAM_<LIBRARY>_LIBRARY of a device's SDK. VAM_<LIBRARY>_INCLUDE_DIR and VAM_<LIBRARY>_LIBRARY_FILE
# hold what was found, and may be given instead. VAM_<LIBRARY>_MISSING says what is missing and what
# to do; it is empty when nothing is. The installed CMake package calls this function too.
function(vam_find_platform_library library title)
  set(missing "")
  find_path(VAM_${library}_INCLUDE_DIR NAMES ${VAM_${library}_HEADER}
            DOC "Folder of the header of the ${title}")
  find_library(VAM_${library}_LIBRARY_FILE NAMES ${VAM_${library}_LIBRARY}
               DOC "Library file of the ${title}")
  if(NOT EXISTS ${VAM_${library}_INCLUDE_DIR}/${VAM_${library}_HEADER})
    string(
      CONCAT missing
             "The header of the ${title}, ${VAM_${library}_HEADER}, is not in the SDK. Point "
             "CMAKE_PREFIX_PATH or CMAKE_SYSROOT to the SDK, set VAM_${library}_INCLUDE_DIR to the "
             "header's folder, or set VAM_${library}_HEADER to the header's name.")
  elseif(NOT EXISTS ${VAM_${library}_LIBRARY_FILE})
    string(
      CONCAT missing
             "The library of the ${title}, ${VAM_${library}_LIBRARY}, is not in the SDK. Point "
             "CMAKE_PREFIX_PATH or CMAKE_SYSROOT to the SDK, set VAM_${library}_LIBRARY_FILE to "
             "the library's path, or set VAM_${library}_LIBRARY to the library's name.")
  endif()
  set(VAM_${library}_MISSING ${missing} PARENT_SCOPE)
endfunction()

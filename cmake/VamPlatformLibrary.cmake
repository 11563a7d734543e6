# vam_find_platform_library(LIBRARY TITLE)
# Looks for the header VAM_<LIBRARY>_HEADER, the library VAM_<LIBRARY>_LIBRARY and what that needs,
# VAM_<LIBRARY>_EXTRA_LIBRARIES, of a device's SDK. VAM_<LIBRARY>_INCLUDE_DIR and
# VAM_<LIBRARY>_LIBRARY_FILE hold what was found, and may be given instead. VAM_<LIBRARY>_LINK is
# what to link. VAM_<LIBRARY>_MISSING is a list of what is missing and what to set; it is empty when
# nothing is. The installed CMake package calls this function too.
function(vam_find_platform_library library title)
  set(missing "")
  find_path(VAM_${library}_INCLUDE_DIR NAMES ${VAM_${library}_HEADER}
            DOC "Folder of the header of the ${title}")
  find_library(VAM_${library}_LIBRARY_FILE NAMES ${VAM_${library}_LIBRARY}
               DOC "Library file of the ${title}")
  if(NOT EXISTS ${VAM_${library}_INCLUDE_DIR}/${VAM_${library}_HEADER})
    string(CONCAT text "The header of the ${title}, ${VAM_${library}_HEADER}, is not in the SDK. "
                  "Set VAM_${library}_INCLUDE_DIR to the folder that it is in, or "
                  "VAM_${library}_HEADER to its name.")
    list(APPEND missing ${text})
  endif()
  if(NOT EXISTS ${VAM_${library}_LIBRARY_FILE})
    string(CONCAT text "The library of the ${title}, ${VAM_${library}_LIBRARY}, is not in the SDK. "
                  "Set VAM_${library}_LIBRARY_FILE to its path, or VAM_${library}_LIBRARY to its "
                  "name.")
    list(APPEND missing ${text})
  endif()

  set(link ${VAM_${library}_LIBRARY_FILE})
  foreach(extra IN LISTS VAM_${library}_EXTRA_LIBRARIES)
    if(extra MATCHES "^-")
      list(APPEND link ${extra})
      continue()
    endif()
    if(IS_ABSOLUTE ${extra})
      set(file ${extra})
    else()
      find_library(VAM_EXTRA_${extra}_FILE NAMES ${extra}
                   DOC "Library file that the library of the ${title} needs")
      mark_as_advanced(VAM_EXTRA_${extra}_FILE)
      set(file ${VAM_EXTRA_${extra}_FILE})
    endif()
    if(NOT EXISTS ${file})
      string(CONCAT text "${extra}, which VAM_${library}_EXTRA_LIBRARIES asks for, is not in the "
                    "SDK. Write its path there instead, or -l${extra} to have the linker look.")
      list(APPEND missing ${text})
    endif()
    list(APPEND link ${file})
  endforeach()
  set(VAM_${library}_LINK ${link} PARENT_SCOPE)
  set(VAM_${library}_MISSING ${missing} PARENT_SCOPE)
endfunction()

# vam_where_sdk_is_looked_for(VARIABLE)
# Sets VARIABLE to a sentence on where CMake looks for an SDK's files here, and how to add a folder.
function(vam_where_sdk_is_looked_for variable)
  set(roots ${CMAKE_FIND_ROOT_PATH} ${CMAKE_SYSROOT})
  if(roots AND (CMAKE_FIND_ROOT_PATH_MODE_INCLUDE STREQUAL "ONLY"
                OR CMAKE_FIND_ROOT_PATH_MODE_LIBRARY STREQUAL "ONLY"))
    list(JOIN roots " " roots)
    string(CONCAT text "CMake looks only below ${roots}: the toolchain file sets "
                  "CMAKE_FIND_ROOT_PATH_MODE_INCLUDE or _LIBRARY to ONLY. Add the SDK's folder to "
                  "CMAKE_FIND_ROOT_PATH; outside these folders CMAKE_PREFIX_PATH is not looked at.")
  else()
    set(text "Point CMAKE_PREFIX_PATH or CMAKE_SYSROOT to the SDK.")
  endif()
  set(${variable} "${text}" PARENT_SCOPE)
endfunction()

# Where a build takes the closed platform libraries from: the simulated board, or
# a device's SDK. Each library can be chosen on its own.

set(VAM_PLATFORM simulated CACHE STRING "Platform libraries: simulated, or device (from an SDK)")
set_property(CACHE VAM_PLATFORM PROPERTY STRINGS simulated device)
if(NOT VAM_PLATFORM MATCHES "^(simulated|device)$")
  message(FATAL_ERROR "VAM_PLATFORM is '${VAM_PLATFORM}'; set it to simulated or device.")
endif()

set(VAM_ALL_SIMULATED ON)
set(VAM_ANY_SIMULATED OFF)
foreach(library IN ITEMS TEEC MARSHALLER SETTINGS SYSTEM_INFO)
  set(VAM_${library} "" CACHE STRING "simulated or device; as VAM_PLATFORM when empty")
  set_property(CACHE VAM_${library} PROPERTY STRINGS "" simulated device)
  if(VAM_${library} STREQUAL "")
    set(VAM_${library} ${VAM_PLATFORM})
  endif()
  if(VAM_${library} STREQUAL "simulated")
    set(VAM_ANY_SIMULATED ON)
  elseif(VAM_${library} STREQUAL "device")
    set(VAM_ALL_SIMULATED OFF)
  else()
    message(FATAL_ERROR "VAM_${library} is '${VAM_${library}}'; set it to simulated or device.")
  endif()
endforeach()

option(VAM_UPDATE_TOOL_ONLY
       "Build the update tool and what it needs; no settings store, system information or libcrypto"
       OFF)

# vam_platform_library(TARGET LIBRARY TITLE HEADER LIBRARY_NAME)
# Defines the interface target of one closed library. For a device it looks up
# VAM_<LIBRARY>_HEADER and VAM_<LIBRARY>_LIBRARY in CMAKE_PREFIX_PATH and the
# sysroot; VAM_<LIBRARY>_INCLUDE_DIR and VAM_<LIBRARY>_LIBRARY_FILE hold what was
# found and may be given instead.
function(vam_platform_library target library title header name)
  add_library(${target} INTERFACE)
  set(VAM_${library}_HEADER ${header} CACHE STRING "Header of the ${title}")
  set(VAM_${library}_LIBRARY ${name} CACHE STRING "Library name of the ${title}")
  if(NOT VAM_${library}_HEADER STREQUAL header)
    target_compile_definitions(${target}
                               INTERFACE "VAM_${library}_HEADER=<${VAM_${library}_HEADER}>")
  endif()
  if(VAM_${library} STREQUAL "simulated")
    target_link_libraries(${target} INTERFACE $<BUILD_INTERFACE:vam_simulated_${name}>)
    return()
  endif()

  find_path(VAM_${library}_INCLUDE_DIR NAMES ${VAM_${library}_HEADER}
            DOC "Folder of the header of the ${title}")
  find_library(VAM_${library}_LIBRARY_FILE NAMES ${VAM_${library}_LIBRARY}
               DOC "Library file of the ${title}")
  if(NOT EXISTS ${VAM_${library}_INCLUDE_DIR}/${VAM_${library}_HEADER})
    message(
      FATAL_ERROR
        "The header of the ${title}, ${VAM_${library}_HEADER}, is not in the SDK. Point "
        "CMAKE_PREFIX_PATH or CMAKE_SYSROOT to the SDK, set VAM_${library}_INCLUDE_DIR to the "
        "header's folder, or set VAM_${library}_HEADER to the header's name.")
  endif()
  if(NOT EXISTS ${VAM_${library}_LIBRARY_FILE})
    message(
      FATAL_ERROR
        "The library of the ${title}, ${VAM_${library}_LIBRARY}, is not in the SDK. Point "
        "CMAKE_PREFIX_PATH or CMAKE_SYSROOT to the SDK, set VAM_${library}_LIBRARY_FILE to the "
        "library's path, or set VAM_${library}_LIBRARY to the library's name.")
  endif()
  target_include_directories(${target} SYSTEM INTERFACE ${VAM_${library}_INCLUDE_DIR})
  target_link_libraries(${target} INTERFACE ${VAM_${library}_LIBRARY_FILE})
endfunction()

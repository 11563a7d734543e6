# Where a build takes the closed platform libraries from: the simulated board, or a device's SDK.
# Each library can be chosen on its own.

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

include(VamPlatformLibrary)

# vam_platform_library(TARGET LIBRARY TITLE HEADER LIBRARY_NAME)
# Adds the interface target of one closed library: the stand-in, or what the SDK has under the names
# VAM_<LIBRARY>_HEADER and VAM_<LIBRARY>_LIBRARY, which default to HEADER and LIBRARY_NAME.
function(vam_platform_library target library title header name)
  add_library(${target} INTERFACE)
  set(VAM_${library}_HEADER ${header} CACHE STRING "Header of the ${title}")
  set(VAM_${library}_LIBRARY ${name} CACHE STRING "Library name of the ${title}")
  set(VAM_${library}_EXTRA_LIBRARIES "" CACHE STRING "What the library of the ${title} needs")
  if(NOT VAM_${library}_HEADER STREQUAL header)
    set(definition "VAM_${library}_HEADER=<${VAM_${library}_HEADER}>")
    target_compile_definitions(${target} INTERFACE ${definition})
    set_property(GLOBAL PROPERTY VAM_${library}_HEADER_DEFINITION ${definition})
  endif()
  if(VAM_${library} STREQUAL "simulated")
    target_link_libraries(${target} INTERFACE vam_simulated_${name})
    set_property(GLOBAL PROPERTY VAM_${library}_LINK_FLAGS -l${name})
    return()
  endif()

  vam_find_platform_library(${library} ${title})
  foreach(text IN LISTS VAM_${library}_MISSING)
    vam_lacks("${text} Or do without it: -DVAM_${library}=simulated")
    set_property(GLOBAL PROPERTY VAM_SDK_LACKS ON)
  endforeach()
  target_include_directories(${target} SYSTEM
                             INTERFACE $<BUILD_INTERFACE:${VAM_${library}_INCLUDE_DIR}>)
  target_link_libraries(${target} INTERFACE "$<BUILD_INTERFACE:${VAM_${library}_LINK}>"
                                            $<INSTALL_INTERFACE:vam::sdk_${name}>)

  set_property(GLOBAL PROPERTY VAM_${library}_LINKED_FILE "${VAM_${library}_LIBRARY_FILE}")

  # Users of the installed library look for it by the name of the file that was linked.
  get_filename_component(found "${VAM_${library}_LIBRARY_FILE}" NAME)
  set(flags -l:${found})
  if(found MATCHES "^lib(.+)\\.(so|a)$")
    set(found ${CMAKE_MATCH_1})
    set(flags -l${found})
  endif()
  foreach(extra IN LISTS VAM_${library}_EXTRA_LIBRARIES)
    get_filename_component(file "${extra}" NAME)
    if(extra MATCHES "^-")
      list(APPEND flags ${extra})
    elseif(NOT IS_ABSOLUTE "${extra}")
      list(APPEND flags -l${extra})
    elseif(file MATCHES "^lib(.+)\\.(so|a)$")
      list(APPEND flags -l${CMAKE_MATCH_1})
    else()
      list(APPEND flags -l:${file})
    endif()
  endforeach()
  set_property(GLOBAL PROPERTY VAM_${library}_LINK_FLAGS ${flags})
  string(CONCAT call "vam_sdk_library(${library} \"${title}\" \"${VAM_${library}_HEADER}\" "
                "\"${found}\" \"${VAM_${library}_EXTRA_LIBRARIES}\" vam::sdk_${name})\n")
  set_property(GLOBAL APPEND_STRING PROPERTY VAM_SDK_LIBRARIES "${call}")
endfunction()

# What the toolchain files of Debian's cross compilers share: the libraries are those of Debian's
# packages for the architecture, in a folder of their own beside the builds.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${triplet}-g++)

get_filename_component(repository ${CMAKE_CURRENT_LIST_DIR}/../.. ABSOLUTE)
set(packages_root ${repository}/build/packages-${debian_architecture})
get_property(in_try_compile GLOBAL PROPERTY IN_TRY_COMPILE)
if(NOT in_try_compile)
  execute_process(
    COMMAND
      ${repository}/scripts/foreign-packages ${debian_architecture} bookworm ${packages_root}
      libcli11-dev libssl-dev libssl3 libteec1 libtomlplusplus-dev nlohmann-json3-dev
      optee-client-dev ${more_packages}
    RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "Debian's ${debian_architecture} packages could not be fetched; see above.")
  endif()
endif()

set(CMAKE_FIND_ROOT_PATH ${packages_root})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Headers that differ between architectures, which the compiler expects in its own root.
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${packages_root}/usr/include/${triplet})

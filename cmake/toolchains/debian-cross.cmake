# What the toolchain files of Debian's cross compilers share. The libraries come from Debian's packages
# for the architecture, which are unpacked in a folder beside the builds.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${triplet}-g++)

get_filename_component(repository ${CMAKE_CURRENT_LIST_DIR}/../.. ABSOLUTE)
set(packages_root ${repository}/build/packages-${debian_architecture})
get_property(in_try_compile GLOBAL PROPERTY IN_TRY_COMPILE)
if(NOT in_try_compile)
  execute_process(
    COMMAND
      ${repository}/scripts/foreign-packages ${debian_architecture} bookworm ${packages_root}
      libc6 libcli11-dev libgcc-s1 libssl-dev libssl3 libstdc++6 libteec1 libtomlplusplus-dev
      nlohmann-json3-dev optee-client-dev ${more_packages}
    RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "Debian's packages for ${debian_architecture} could not be fetched; the reason is above.")
  endif()
endif()

set(CMAKE_FIND_ROOT_PATH ${packages_root})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
# Debian keeps the headers that differ between architectures here. The compiler looks for them in its
# own root only.
set(CMAKE_CXX_STANDARD_INCLUDE_DIRECTORIES ${packages_root}/usr/include/${triplet})

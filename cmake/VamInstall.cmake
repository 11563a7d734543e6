# What is installed where, in five components: runtime (the tool), development (libraries and
# headers), vamctl, recorder (vam-record), and simulator (the simulated board).

set(VAM_PACKAGE_FOLDER ${CMAKE_INSTALL_LIBDIR}/cmake/vam)
# The stand-ins have the names of a device's libraries, so they stay out of the loader's way.
set(VAM_SIMULATOR_FOLDER ${CMAKE_INSTALL_LIBDIR}/vam-simulator)

# vam_install(argument of install()...)
# Installs, unless VAM_INSTALL is off. Notes which component a target comes with.
function(vam_install)
  if(VAM_INSTALL)
    install(${ARGN})
    cmake_parse_arguments(arg "" "TARGETS;COMPONENT" "" ${ARGN})
    set_property(GLOBAL APPEND PROPERTY VAM_TARGETS_OF_${arg_COMPONENT} ${arg_TARGETS})
  endif()
endfunction()

# vam_install_library(TARGET [HEADERS path...])
# Installs a target vam_NAME for development as vam::NAME, with the headers that its users include.
# They are given from the repository's root. A project that adds this one has vam::NAME too, and
# includes the headers as if they were installed.
function(vam_install_library target)
  cmake_parse_arguments(arg "" "" "HEADERS" ${ARGN})
  string(REGEX REPLACE "^vam_" "" name ${target})
  add_library(vam::${name} ALIAS ${target})
  foreach(header IN LISTS arg_HEADERS)
    set(link ${PROJECT_BINARY_DIR}/include-roots/${target}/vam/${header})
    get_filename_component(parent ${link} DIRECTORY)
    file(MAKE_DIRECTORY ${parent})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${header} ${link} SYMBOLIC)
  endforeach()
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  vam_install(
    TARGETS ${target}
    EXPORT vam
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
    INCLUDES
    DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
  set_property(GLOBAL APPEND PROPERTY VAM_INSTALLED_HEADERS ${arg_HEADERS})
endfunction()

# vam_install_program(TARGET COMPONENT FOLDER)
# Installs a program so that it finds the stand-ins that it links.
function(vam_install_program target component folder)
  if(VAM_ANY_SIMULATED)
    file(RELATIVE_PATH simulator ${CMAKE_INSTALL_FULL_SBINDIR}
         ${CMAKE_INSTALL_PREFIX}/${VAM_SIMULATOR_FOLDER})
    set_target_properties(${target} PROPERTIES INSTALL_RPATH "$ORIGIN/${simulator}")
  endif()
  vam_install(TARGETS ${target} RUNTIME DESTINATION ${folder} COMPONENT ${component})
endfunction()

# vam_completion(COMPONENT PROGRAM GENERATOR)
# Makes the scripts that complete PROGRAM's command line in bash and zsh, and installs them. GENERATOR
# is the target that prints them. It runs on this machine, so other builds do without.
function(vam_completion component program generator)
  if(CMAKE_CROSSCOMPILING OR NOT VAM_ALL_SIMULATED)
    return()
  endif()
  set(bash ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  set(zsh ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
  set(scripts ${PROJECT_BINARY_DIR}/${bash}/${program} ${PROJECT_BINARY_DIR}/${zsh}/_${program})
  file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/${bash} ${PROJECT_BINARY_DIR}/${zsh})
  add_custom_command(
    OUTPUT ${scripts}
    COMMAND ${generator} --completion bash > ${bash}/${program}
    COMMAND ${generator} --completion zsh > ${zsh}/_${program}
    WORKING_DIRECTORY ${PROJECT_BINARY_DIR}
    DEPENDS ${generator}
    VERBATIM)
  add_custom_target(${program}-completion ALL DEPENDS ${scripts})
  vam_install(FILES ${PROJECT_BINARY_DIR}/${bash}/${program} DESTINATION ${bash} COMPONENT ${component})
  vam_install(FILES ${PROJECT_BINARY_DIR}/${zsh}/_${program} DESTINATION ${zsh} COMPONENT ${component})
endfunction()

# vam_install_stand_in(TARGET HEADER)
# Installs a stand-in for a device's library, and for development the header that stands in for the
# library's.
function(vam_install_stand_in target header)
  string(REGEX REPLACE "^vam_" "" name ${target})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  target_include_directories(
    ${target} SYSTEM INTERFACE $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/vam-simulator>)
  vam_install(
    TARGETS ${target}
    EXPORT vam
    LIBRARY DESTINATION ${VAM_SIMULATOR_FOLDER}
            COMPONENT simulator
            NAMELINK_COMPONENT development)
  vam_install(FILES ${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vam-simulator
          COMPONENT development)
endfunction()

# vam_install_package()
# Installs what users of the libraries need: the headers, the CMake package and the pkg-config files.
# REQUIRES: every target has been added.
function(vam_install_package)
  if(NOT VAM_INSTALL)
    return()
  endif()
  include(CMakePackageConfigHelpers)

  get_property(headers GLOBAL PROPERTY VAM_INSTALLED_HEADERS)
  set(staging ${PROJECT_BINARY_DIR}/installed-headers)
  install(
    CODE "set(source \"${PROJECT_SOURCE_DIR}\")
          set(staging \"${staging}\")
          set(headers \"${headers}\")
          include(\"${PROJECT_SOURCE_DIR}/cmake/install-headers.cmake\")"
    COMPONENT development)
  install(DIRECTORY ${staging}/vam DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

  get_property(vam_sdk_libraries GLOBAL PROPERTY VAM_SDK_LIBRARIES)
  set(vam_components driver interface platform report tee version)
  if(TARGET vam_util)
    list(APPEND vam_components util)
    set(vam_find_dependencies "find_dependency(OpenSSL ${VAM_OLDEST_OPENSSL} COMPONENTS Crypto)")
  endif()
  configure_package_config_file(
    ${PROJECT_SOURCE_DIR}/cmake/vam-config.cmake.in ${PROJECT_BINARY_DIR}/vam-config.cmake
    INSTALL_DESTINATION ${VAM_PACKAGE_FOLDER} NO_SET_AND_CHECK_MACRO)
  write_basic_package_version_file(${PROJECT_BINARY_DIR}/vam-config-version.cmake
                                   COMPATIBILITY SameMajorVersion)
  install(
    FILES ${PROJECT_BINARY_DIR}/vam-config.cmake ${PROJECT_BINARY_DIR}/vam-config-version.cmake
          ${PROJECT_SOURCE_DIR}/cmake/VamPlatformLibrary.cmake
    DESTINATION ${VAM_PACKAGE_FOLDER}
    COMPONENT development)
  install(
    EXPORT vam
    FILE vam-targets.cmake
    NAMESPACE vam::
    DESTINATION ${VAM_PACKAGE_FOLDER}
    COMPONENT development)

  if(VAM_LTO AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_STRIP)
    # What -flto added serves only this version of the compiler, and names the build's folder.
    install(
      CODE "file(GLOB libraries \"\$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/libvam_*.a\")
            execute_process(COMMAND \"${CMAKE_STRIP}\" --strip-debug --enable-deterministic-archives
                            --remove-section=.gnu.lto_* --remove-section=.gnu.debuglto_*
                            \${libraries} RESULT_VARIABLE result)
            if(NOT result EQUAL 0)
              message(FATAL_ERROR \"${CMAKE_STRIP} could not strip the static libraries.\")
            endif()"
      COMPONENT development)
  endif()

  # The pkg-config files name the folders relative to their own, so that a prefix can be moved.
  file(RELATIVE_PATH vam_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  string(REGEX REPLACE "/$" "" vam_prefix ${vam_prefix})
  vam_pkg_config(vam MARSHALLER TEEC)
  if(TARGET vam_util)
    vam_pkg_config(vam-util SETTINGS SYSTEM_INFO)
  endif()
endfunction()

# vam_pkg_config(NAME LIBRARY...)
# Installs the pkg-config file NAME.pc. It passes on the flags that the platform libraries need.
function(vam_pkg_config name)
  set(platform_flags "")
  set(platform_libraries "")
  foreach(library IN LISTS ARGN)
    get_property(flags GLOBAL PROPERTY VAM_${library}_LINK_FLAGS)
    list(APPEND platform_libraries ${flags})
    if(VAM_${library} STREQUAL "simulated")
      list(INSERT platform_libraries 0 "-L\${libdir}/vam-simulator")
      # As one word: pkg-config leaves a blank in a word of its own as it is.
      list(APPEND platform_flags "-isystem\${includedir}/vam-simulator")
    endif()
    get_property(definition GLOBAL PROPERTY VAM_${library}_HEADER_DEFINITION)
    if(definition)
      list(APPEND platform_flags "'-D${definition}'")
    endif()
  endforeach()
  foreach(list IN ITEMS platform_flags platform_libraries)
    list(REMOVE_DUPLICATES ${list})
    list(JOIN ${list} " " ${list})
  endforeach()
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${name}.pc.in ${PROJECT_BINARY_DIR}/${name}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/${name}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
          COMPONENT development)
endfunction()

# vam_compress(FILE)
# Makes FILE.gz of a file in the current binary folder. The same file gives the same bytes.
function(vam_compress file)
  if(NOT VAM_INSTALL)
    return()
  endif()
  execute_process(COMMAND ${VAM_GZIP} -9 --no-name --force --keep ${file}
                  WORKING_DIRECTORY ${CMAKE_CURRENT_BINARY_DIR} RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "gzip could not compress ${CMAKE_CURRENT_BINARY_DIR}/${file}.")
  endif()
endfunction()

# How this project adds its targets: one place for the language level, the warnings and the include
# roots.

# vam_expose(TARGET path...)
# Lets TARGET, and the targets that link it, include the given folders or single headers of this
# repository. Every target has an include root of its own, filled with links, so an include from a
# folder whose target is not linked does not build.
function(vam_expose target)
  get_target_property(type ${target} TYPE)
  set(scope PUBLIC)
  if(type STREQUAL "INTERFACE_LIBRARY")
    set(scope INTERFACE)
  endif()
  set(root ${PROJECT_BINARY_DIR}/include-roots/${target})
  # A link to a folder may remain from an earlier configuration. Links made below it would end up in
  # the source tree.
  file(REMOVE_RECURSE ${root})
  foreach(path IN LISTS ARGN)
    get_filename_component(parent ${root}/${path} DIRECTORY)
    file(MAKE_DIRECTORY ${parent})
    file(CREATE_LINK ${PROJECT_SOURCE_DIR}/${path} ${root}/${path} SYMBOLIC)
  endforeach()
  target_include_directories(${target} ${scope} $<BUILD_INTERFACE:${root}>)
endfunction()

# vam_strict(TARGET)
# Compiles TARGET as C++17, whatever the compiler's default is, with warnings. A library's users may
# take a later standard.
function(vam_strict target)
  target_compile_features(${target} PUBLIC cxx_std_17)
  set_target_properties(
    ${target} PROPERTIES CXX_STANDARD 17 CXX_STANDARD_REQUIRED ON CXX_EXTENSIONS OFF
                         POSITION_INDEPENDENT_CODE ON)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wconversion -Wshadow
                         $<$<BOOL:${VAM_WARNINGS_AS_ERRORS}>:-Werror>)
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    # Without these, stat fails for a file of 2 GiB and for a time after 2038. glibc takes the second
    # only with the first, and ignores it before 2.34.
    target_compile_definitions(${target} PRIVATE _FILE_OFFSET_BITS=64 _TIME_BITS=64)
  endif()
endfunction()

# vam_add_library(NAME [SHARED|STATIC] SOURCES ... [EXPOSE path...] [PUBLIC lib...] [PRIVATE lib...])
function(vam_add_library name)
  cmake_parse_arguments(arg "SHARED;STATIC" "" "SOURCES;EXPOSE;PUBLIC;PRIVATE" ${ARGN})
  set(kind STATIC)
  if(arg_SHARED)
    set(kind SHARED)
  endif()
  add_library(${name} ${kind} ${arg_SOURCES})
  vam_strict(${name})
  vam_expose(${name} ${arg_EXPOSE})
  target_link_libraries(${name} PUBLIC ${arg_PUBLIC} PRIVATE ${arg_PRIVATE})
endfunction()

# vam_add_executable(NAME SOURCES ... [LINK lib...])
function(vam_add_executable name)
  cmake_parse_arguments(arg "" "" "SOURCES;LINK" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  vam_strict(${name})
  target_link_libraries(${name} PRIVATE ${arg_LINK})
endfunction()

# vam_quick_to_compile(TARGET): a developer's build spends more time on making a parser fast than the
# parser ever takes. A device's build and the packages keep their level. FORTIFY needs what is left out.
function(vam_quick_to_compile target)
  if(VAM_PLATFORM STREQUAL "simulated")
    target_compile_options(
      ${target} PRIVATE $<$<CONFIG:RelWithDebInfo>:-O0> $<$<CONFIG:RelWithDebInfo>:-U_FORTIFY_SOURCE>)
  endif()
endfunction()

# vam_add_test(NAME SOURCES ... [EXPOSE path...] [LINK lib...])
# Adds a GoogleTest program, which CTest runs under its own name: all of its tests, whatever the
# environment says of them.
function(vam_add_test name)
  if(NOT BUILD_TESTING)
    return()
  endif()
  cmake_parse_arguments(arg "" "" "SOURCES;EXPOSE;LINK" ${ARGN})
  add_executable(${name} ${arg_SOURCES})
  vam_strict(${name})
  vam_expose(${name} ${arg_EXPOSE})
  # Most of a build's time went into making the tests' own code fast. FORTIFY needs what is left out.
  target_compile_options(${name} PRIVATE -O0 -U_FORTIFY_SOURCE)
  target_link_libraries(${name} PRIVATE ${arg_LINK} GTest::gmock vam_test_main)
  add_test(NAME ${name} COMMAND ${name})
  # What a program ends with when it could not run some of its tests.
  set_tests_properties(
    ${name}
    PROPERTIES SKIP_RETURN_CODE 77
               ENVIRONMENT "GTEST_FILTER=*;GTEST_REPEAT=1;GTEST_TOTAL_SHARDS=1;GTEST_SHARD_INDEX=0")
endfunction()

# What the compiler says of its target and of the flags that it is given, whatever the toolchain file
# calls the processor.

# vam_ask_compiler(VARIABLE)
# Sets VARIABLE to the macros that are defined before the first line of a source.
function(vam_ask_compiler variable)
  string(TOUPPER "${CMAKE_BUILD_TYPE}" type)
  separate_arguments(flags UNIX_COMMAND
                     "${CMAKE_CXX_COMPILER_ARG1} ${CMAKE_CXX_FLAGS} ${CMAKE_CXX_FLAGS_${type}}")
  if(CMAKE_CXX_COMPILER_TARGET)
    list(APPEND flags ${CMAKE_CXX_COMPILE_OPTIONS_TARGET}${CMAKE_CXX_COMPILER_TARGET})
  endif()
  # Some compilers define _FORTIFY_SOURCE themselves, when they optimise.
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} ${flags} -O2 -E -dM -x c++ /dev/null
                  OUTPUT_VARIABLE macros ERROR_VARIABLE error RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "${CMAKE_CXX_COMPILER} does not say what it defines:\n${error}")
  endif()
  set(${variable} "${macros}" PARENT_SCOPE)
endfunction()

# vam_package_architectures(DEBIAN RPM)
# Sets both to the target's name in such packages, or to nothing where this list does not have it.
function(vam_package_architectures debian rpm)
  set(names "")
  if(VAM_COMPILER_MACROS MATCHES "#define __aarch64__ ")
    set(names arm64 aarch64)
  elseif(VAM_COMPILER_MACROS MATCHES "#define __ARM_PCS_VFP ")
    set(names armhf armv7hl)
  elseif(VAM_COMPILER_MACROS MATCHES "#define __arm__ ")
    set(names armel armv7l)
  elseif(VAM_COMPILER_MACROS MATCHES "#define __x86_64__ ")
    set(names amd64 x86_64)
  elseif(VAM_COMPILER_MACROS MATCHES "#define __i386__ ")
    set(names i386 i686)
  elseif(VAM_COMPILER_MACROS MATCHES "#define __riscv_xlen 64")
    set(names riscv64 riscv64)
  else()
    set(names "" "")
  endif()
  list(GET names 0 name)
  set(${debian} "${name}" PARENT_SCOPE)
  list(GET names 1 name)
  set(${rpm} "${name}" PARENT_SCOPE)
endfunction()

# vam_check_lto(LACKS)
# Sets LACKS to what the compiler's last link with -flto complained of, or to nothing.
function(vam_check_lto lacks)
  set(state "${CMAKE_CXX_COMPILER} ${CMAKE_CXX_FLAGS} ${CMAKE_EXE_LINKER_FLAGS} ${CMAKE_AR}")
  if(NOT VAM_LTO_STATE STREQUAL state)
    unset(VAM_LTO_WORKS CACHE)
    try_compile(
      VAM_LTO_WORKS ${PROJECT_BINARY_DIR}/lto-check ${PROJECT_SOURCE_DIR}/cmake/lto-check lto_check
      CMAKE_FLAGS "-DCMAKE_CXX_FLAGS=${CMAKE_CXX_FLAGS}"
                  "-DCMAKE_EXE_LINKER_FLAGS=${CMAKE_EXE_LINKER_FLAGS}" "-DARCHIVER=${CMAKE_AR}"
      OUTPUT_VARIABLE output)
    string(REGEX MATCH "[^\n]*(rror|ailed|undefined)[^\n]*" complaint "${output}")
    string(REPLACE ";" "," complaint "${complaint}")
    if(complaint STREQUAL "")
      set(complaint "the link fails")
    endif()
    set(VAM_LTO_STATE "${state}" CACHE INTERNAL "What was checked")
    set(VAM_LTO_COMPLAINT "${complaint}" CACHE INTERNAL "What the check said")
  endif()
  set(${lacks} "" PARENT_SCOPE)
  if(NOT VAM_LTO_WORKS)
    set(${lacks} "${VAM_LTO_COMPLAINT}" PARENT_SCOPE)
  endif()
endfunction()

vam_ask_compiler(VAM_COMPILER_MACROS)

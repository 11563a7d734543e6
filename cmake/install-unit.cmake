# Writes the unit ${unit} from ${template} for the prefix that the installation has, which need not be
# the configuration's.
get_filename_component(prefix "${CMAKE_INSTALL_PREFIX}" ABSOLUTE)
string(REGEX REPLACE "/$" "" prefix "${prefix}")
foreach(folder IN ITEMS BINDIR SBINDIR)
  if(NOT IS_ABSOLUTE "${${folder}}")
    set(${folder} "${prefix}/${${folder}}")
  endif()
endforeach()
set(CMAKE_INSTALL_FULL_BINDIR "${BINDIR}")
set(CMAKE_INSTALL_FULL_SBINDIR "${SBINDIR}")
configure_file("${template}" "${unit}" @ONLY)

# Writes the unit ${unit} from ${template} for the prefix that the installation has, which need not be
# the configuration's.
get_filename_component(prefix "${CMAKE_INSTALL_PREFIX}" ABSOLUTE)
string(REGEX REPLACE "/$" "" prefix "${prefix}")
foreach(folder IN ITEMS BINDIR SBINDIR)
  if(NOT IS_ABSOLUTE "${${folder}}")
    set(${folder} "${prefix}/${${folder}}")
  endif()
endforeach()
set(recorder "${BINDIR}/vam-verdict")
set(tool "${SBINDIR}/vam-update")
# systemd takes a blank for the end of a word.
foreach(program IN ITEMS recorder tool)
  if(${program} MATCHES " ")
    set(${program} "\"${${program}}\"")
  endif()
endforeach()
configure_file("${template}" "${unit}" @ONLY)

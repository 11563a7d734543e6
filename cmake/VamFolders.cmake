# Where the target's systemd and udev look for their files. Folders that are not absolute stand below
# the installation's prefix.

# vam_ask_pkg_config(VARIABLE PACKAGE NAME)
# Sets VARIABLE to what the target's pkg-config knows as the variable NAME of PACKAGE, or to nothing. In
# a cross build the machine's own pkg-config speaks of the machine, unless it was pointed elsewhere.
function(vam_ask_pkg_config variable package name)
  find_program(PKG_CONFIG_EXECUTABLE NAMES $ENV{PKG_CONFIG} pkg-config DOC "pkg-config executable")
  set(${variable} "" PARENT_SCOPE)
  get_filename_component(program "${PKG_CONFIG_EXECUTABLE}" NAME)
  if(NOT PKG_CONFIG_EXECUTABLE
     OR CMAKE_CROSSCOMPILING AND program MATCHES "^(pkg-config|pkgconf)$"
        AND NOT DEFINED ENV{PKG_CONFIG_LIBDIR} AND NOT DEFINED ENV{PKG_CONFIG_SYSROOT_DIR})
    return()
  endif()
  execute_process(COMMAND ${PKG_CONFIG_EXECUTABLE} --variable=${name} ${package}
                  OUTPUT_VARIABLE folder OUTPUT_STRIP_TRAILING_WHITESPACE
                  ERROR_QUIET RESULT_VARIABLE result)
  if(result EQUAL 0)
    # Some put the sysroot in front.
    string(LENGTH "$ENV{PKG_CONFIG_SYSROOT_DIR}" length)
    string(FIND "${folder}" "$ENV{PKG_CONFIG_SYSROOT_DIR}" place)
    if(length GREATER 0 AND place EQUAL 0)
      string(SUBSTRING "${folder}" ${length} -1 folder)
    endif()
    set(${variable} "${folder}" PARENT_SCOPE)
  endif()
endfunction()

# vam_folder(VARIABLE WHAT DEFAULT PACKAGE NAME [BELOW])
# Makes the option VARIABLE, the folder of WHAT. It defaults to the variable NAME of the pkg-config
# PACKAGE, with BELOW after it, or else to DEFAULT.
function(vam_folder variable what default package name)
  if(NOT DEFINED ${variable})
    vam_ask_pkg_config(folder ${package} ${name})
    # Below the prefix: the folders of a system in /usr are those of /usr, by either name.
    string(REGEX REPLACE "^/(usr/)?" "" folder "${folder}")
    if(folder)
      set(default ${folder}${ARGN})
    endif()
  endif()
  set(${variable} ${default} CACHE STRING "Folder of ${what}, absolute or below the prefix")
endfunction()

vam_folder(VAM_SYSTEMD_UNIT_FOLDER "systemd's units" lib/systemd/system systemd systemdsystemunitdir)
vam_folder(VAM_UDEV_RULES_FOLDER "udev's rules" lib/udev/rules.d udev udevdir /rules.d)
vam_folder(VAM_TMPFILES_FOLDER "systemd-tmpfiles' rules" lib/tmpfiles.d systemd tmpfilesdir)

# The version and the date of the release, for the programs, the packages, the pkg-config files and
# the manual pages: those of the newest entry of CHANGELOG.md.
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS CHANGELOG.md)
file(STRINGS CHANGELOG.md entries REGEX "^## ")
list(GET entries 0 entry)
if(NOT entry MATCHES "^## ([0-9]+\\.[0-9]+\\.[0-9]+) - ([0-9]+-[0-9]+-[0-9]+)$")
  message(FATAL_ERROR "The newest entry of CHANGELOG.md is '${entry}'; give it the form "
                      "'## 1.2.3 - 2026-11-21'.")
endif()
set(VAM_RELEASE_VERSION ${CMAKE_MATCH_1})
set(VAM_RELEASE_DATE ${CMAKE_MATCH_2})

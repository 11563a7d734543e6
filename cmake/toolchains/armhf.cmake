# 32-bit ARM with Debian's cross compiler (package g++-arm-linux-gnueabihf).
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(debian_architecture armhf)
set(triplet arm-linux-gnueabihf)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)

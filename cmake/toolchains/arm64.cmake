# 64-bit ARM with Debian's cross compiler (package g++-aarch64-linux-gnu).
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(debian_architecture arm64)
# The virtual device's node is made with it.
set(more_packages libfuse3-3 libfuse3-dev)
set(triplet aarch64-linux-gnu)
include(${CMAKE_CURRENT_LIST_DIR}/debian-cross.cmake)

# Every source that the build linked into this folder.
srcs-y := $(wildcard *.cpp)
cppflags-y += -I$(repository) -include virtual_device/trusted_application/kit_headers.h
cxxflags-y += -std=c++17 -fno-exceptions -fno-rtti -Wall -Wextra -Werror

srcs-y := ballast.c

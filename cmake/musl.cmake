# x86-64 with musl: compiled with the glibc headers (no symbol of glibc's own comes of it without
# FORTIFY), linked by musl-gcc.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(CMAKE_C_COMPILER musl-gcc)
set(CMAKE_CXX_COMPILER g++)
set(L3_FORTIFY OFF CACHE BOOL "")

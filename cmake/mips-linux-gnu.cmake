# Big-endian MIPS with glibc, as Debian's cross compiler builds it; programs run under qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR mips)
set(CMAKE_C_COMPILER mips-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER mips-linux-gnu-g++)
set(CMAKE_FIND_ROOT_PATH /usr/mips-linux-gnu)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(L3_EMULATOR qemu-mips -L /usr/mips-linux-gnu)

# The ABI allows pages of 64 KiB and the linker pads for them; kernels of such devices use 4 KiB.
set(L3_PAGE_SIZE 4096 CACHE STRING "")
# The linker leaves the GOT writable here: RELRO would guard the 39 words of a table, for up to a page.
set(L3_RELRO OFF CACHE BOOL "")

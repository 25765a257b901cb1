# As mips-linux-gnu, for processors with the MIPS16e instructions: the library alone is built of them,
# and its callers stay as they are.
include(${CMAKE_CURRENT_LIST_DIR}/mips-linux-gnu.cmake)
set(L3_LIBRARY_OPTIONS -mips16 CACHE STRING "")

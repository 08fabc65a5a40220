set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(triple aarch64-linux-gnu)
set(emulated aarch64)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)

set(CMAKE_SYSTEM_PROCESSOR armhf)
set(triple arm-linux-gnueabihf)
set(emulated arm)
include(${CMAKE_CURRENT_LIST_DIR}/debian_cross.cmake)

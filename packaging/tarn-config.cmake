include(${CMAKE_CURRENT_LIST_DIR}/tarn-targets.cmake)

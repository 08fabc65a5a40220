# Rules that hold for every target of the house.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

add_library(vela_warnings INTERFACE)
target_compile_options(vela_warnings INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror)

# Libraries of ours that need no exceptions are built without them.
add_library(vela_no_exceptions INTERFACE)
target_compile_options(vela_no_exceptions INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>)

# Every public header compiles alone: one empty source per header, which includes it and nothing else.
# vela_check_headers(<target> [LANGUAGE C|CXX] HEADERS <header>...), headers relative to the current folder.
function(vela_check_headers target)
  if(NOT VELA_HEADER_CHECKS)
    return()
  endif()
  cmake_parse_arguments(arg "" "LANGUAGE" "HEADERS" ${ARGN})
  if(arg_LANGUAGE STREQUAL "C")
    set(ending c)
  else()
    set(ending cpp)
  endif()
  set(sources)
  foreach(header IN LISTS arg_HEADERS)
    cmake_path(ABSOLUTE_PATH header OUTPUT_VARIABLE full)
    string(REPLACE "/" "_" name "${header}")
    set(source ${CMAKE_CURRENT_BINARY_DIR}/header_alone/${name}.${ending})
    file(CONFIGURE OUTPUT ${source} CONTENT "#include \"${full}\"\n")
    list(APPEND sources ${source})
  endforeach()
  add_library(${target}_headers_alone_${ending} OBJECT ${sources})
  target_link_libraries(${target}_headers_alone_${ending} PRIVATE ${target} vela_warnings)
endfunction()

# Pages that a program carries: vela_embed_pages(<target> <file>...), files relative to the current folder.
function(vela_embed_pages target)
  set(files)
  foreach(file IN LISTS ARGN)
    cmake_path(ABSOLUTE_PATH file NORMALIZE OUTPUT_VARIABLE full)
    list(APPEND files ${full})
  endforeach()
  set(out ${CMAKE_CURRENT_BINARY_DIR}/${target}_pages)
  add_custom_command(
    OUTPUT ${out}/page_sources.h ${out}/page_sources.cpp
    COMMAND ${CMAKE_COMMAND} "-DOUT=${out}" "-DFILES=${files}" -P ${PROJECT_SOURCE_DIR}/cmake/embed_pages.cmake
    DEPENDS ${files} ${PROJECT_SOURCE_DIR}/cmake/embed_pages.cmake
    VERBATIM)
  target_sources(${target} PRIVATE ${out}/page_sources.h ${out}/page_sources.cpp)
  target_include_directories(${target} PRIVATE ${out})
endfunction()

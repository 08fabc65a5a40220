# cmake -DOUT=<folder> -DFILES=<file>;... -P embed_pages.cmake: texts as constants of a program, one a file, in
# page_sources.h and .cpp. A file "station.html" becomes page_sources::station_html.
set(header "#pragma once\n#include <string_view>\nnamespace page_sources {\n")
# A library of scripts is one text, longer than every compiler would have to take.
set(source "#pragma GCC diagnostic ignored \"-Woverlength-strings\"\n#include \"page_sources.h\"\nnamespace page_sources {\n")
foreach(file IN LISTS FILES)
  get_filename_component(name "${file}" NAME)
  string(REGEX REPLACE "[^a-zA-Z0-9]" "_" name "${name}")
  file(READ "${file}" content)
  string(APPEND header "extern const std::string_view ${name};\n")
  string(APPEND source "const std::string_view ${name} = R\"page_source(${content})page_source\";\n")
endforeach()
file(WRITE "${OUT}/page_sources.h" "${header}}\n")
file(WRITE "${OUT}/page_sources.cpp" "${source}}\n")

# Debian packages by CPack, one a component: flight, tarn, tarn_dev, tools, router. `./dev package` builds them.
if(TARN_ROOT)
  message(FATAL_ERROR "VELA_PACKAGES packs the platform of tarn/; another one at TARN_ROOT has packages of its own.")
endif()
find_program(SCDOC scdoc REQUIRED)
find_program(GZIP gzip REQUIRED)
set(VELA_MAINTAINER "vela_flight maintainers <maintainers@vela-flight.example>" CACHE STRING "Named in the packages")
set(packaging ${CMAKE_SOURCE_DIR}/packaging)
set(made ${CMAKE_BINARY_DIR}/packaging)
set(tarn_package libtarn0)  # by the SONAME, so that an incompatible one can stand beside it

# pack(INPUT FILE OUTPUT FILE): packed without name and time, so that equal inputs give equal packages.
function(pack from to)
  execute_process(COMMAND ${GZIP} -9nc INPUT_FILE ${from} OUTPUT_FILE ${to} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

# The tool's exit codes as a list of the manual page.
function(read_exit_codes out)
  file(READ ${CMAKE_SOURCE_DIR}/cli/exit_codes.h header)
  string(REGEX MATCHALL "exit_code_row_t{exit_code::[a-z_]+, \"[a-z_]+\", \"[^\"]+\"}" rows "${header}")
  set(text)
  foreach(row IN LISTS rows)
    string(REGEX MATCH "::([a-z_]+), \"[a-z_]+\", \"([^\"]+)\"" parts "${row}")
    set(meaning "${CMAKE_MATCH_2}")
    string(REGEX MATCH "[ \n]${CMAKE_MATCH_1} = ([0-9]+)," parts "${header}")
    string(APPEND text "*${CMAKE_MATCH_1}*\n\t${meaning}\n\n")
  endforeach()
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

function(make_page name)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${packaging}/man/${name}.scd)
  configure_file(${packaging}/man/${name}.scd ${made}/${name}.scd @ONLY)
  execute_process(COMMAND ${SCDOC} INPUT_FILE ${made}/${name}.scd OUTPUT_FILE ${made}/${name} COMMAND_ERROR_IS_FATAL ANY)
  pack(${made}/${name} ${made}/${name}.gz)
endfunction()

# Licences of what the pages carry, in the form of the copyright file.
function(read_license file out)
  file(STRINGS ${file} lines)
  set(text)
  foreach(line IN LISTS lines)
    if(line STREQUAL "")
      set(line ".")
    endif()
    string(APPEND text " ${line}\n")
  endforeach()
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

file(MAKE_DIRECTORY ${made})
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/cli/exit_codes.h CHANGELOG.md)
read_exit_codes(EXIT_CODES)
make_page(vela.1)
make_page(vela_flight.8)
make_page(tarn-router.1)
read_license(${CMAKE_SOURCE_DIR}/cli/pages/vendor/uplot-LICENSE UPLOT_LICENSE)
read_license(${CMAKE_SOURCE_DIR}/cli/pages/vendor/leaflet-LICENSE LEAFLET_LICENSE)
string(TIMESTAMP VELA_COPYRIGHT_YEAR "%Y" UTC)
string(TIMESTAMP now "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(${packaging}/copyright.in ${made}/copyright @ONLY)
file(WRITE ${made}/changelog "vela-flight (${PROJECT_VERSION}-1) unstable; urgency=medium\n\n  * What changed is in changelog.gz.\n\n -- ${VELA_MAINTAINER}  ${now}\n")
pack(${made}/changelog ${made}/changelog.Debian.gz)
pack(${CMAKE_SOURCE_DIR}/CHANGELOG.md ${made}/changelog.gz)

# Every package says what it is, what changed and whose it is.
foreach(package IN ITEMS flight:vela-flight tarn:${tarn_package} tarn_dev:libtarn-dev tools:vela-tools router:tarn-router)
  string(REPLACE ":" ";" package ${package})
  list(GET package 0 component)
  list(GET package 1 name)
  install(FILES ${made}/copyright ${made}/changelog.gz ${made}/changelog.Debian.gz
    DESTINATION share/doc/${name} COMPONENT ${component})
  list(APPEND CPACK_COMPONENTS_ALL ${component})
  string(TOUPPER ${component} component)
  set(CPACK_DEBIAN_${component}_PACKAGE_NAME ${name})
endforeach()

install(FILES ${packaging}/flight/vela-flight.service DESTINATION lib/systemd/system COMPONENT flight)
install(FILES ${packaging}/flight/vela-flight.sysusers DESTINATION lib/sysusers.d RENAME vela-flight.conf COMPONENT flight)
install(FILES ${packaging}/flight/vela-flight.tmpfiles DESTINATION lib/tmpfiles.d RENAME vela-flight.conf COMPONENT flight)
install(FILES ${packaging}/vela.json DESTINATION /etc/vela-flight COMPONENT flight)
install(FILES ${packaging}/flight/rights.conf DESTINATION share/doc/vela-flight/examples COMPONENT flight)
install(FILES ${CMAKE_SOURCE_DIR}/docs/installing.md DESTINATION share/doc/vela-flight COMPONENT flight)
install(FILES ${made}/vela_flight.8.gz DESTINATION share/man/man8 COMPONENT flight)

install(FILES ${made}/vela.1.gz DESTINATION share/man/man1 COMPONENT tools)
install(FILES ${made}/tarn-router.1.gz DESTINATION share/man/man1 COMPONENT router)
install(FILES ${CMAKE_SOURCE_DIR}/docs/router.md DESTINATION share/doc/tarn-router COMPONENT router)
foreach(program IN ITEMS vela-fly vela-station)
  file(CREATE_LINK vela.1.gz ${made}/${program}.1.gz SYMBOLIC)
  install(FILES ${made}/${program}.1.gz DESTINATION share/man/man1 COMPONENT tools)
endforeach()
install(FILES ${packaging}/completions/vela.bash
  DESTINATION share/bash-completion/completions RENAME vela COMPONENT tools)
install(FILES ${packaging}/completions/_vela DESTINATION share/zsh/vendor-completions COMPONENT tools)
install(DIRECTORY examples DESTINATION share/doc/vela-tools COMPONENT tools)
install(DIRECTORY docs/ DESTINATION share/doc/vela-tools COMPONENT tools
  FILES_MATCHING PATTERN "*.md" PATTERN "*.schema.json" PATTERN installing.md EXCLUDE PATTERN dependencies.md EXCLUDE)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vela-flight)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # it would stand above that of each package
set(CPACK_PACKAGE_CONTACT "${VELA_MAINTAINER}")
set(CPACK_OUTPUT_FILE_PREFIX ${CMAKE_BINARY_DIR}/packages)
set(CPACK_SET_DESTDIR ON)  # the configuration is outside the prefix
set(CPACK_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(our_tarn "${tarn_package} (= ${PROJECT_VERSION}-1)")

# depends_on(COMPONENT DEPENDENCY...): those and, of a package with programs or libraries, what these link. That is found
# on the machine that they are for; for another one it is read from the packages that were made here.
set(VELA_PACKAGES_HERE "" CACHE PATH "Folder of the same packages for this machine, when building for another one")
if(CMAKE_CROSSCOMPILING)
  string(REPLACE "aarch64" arm64 CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${CMAKE_SYSTEM_PROCESSOR})
endif()
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/tarn)
function(depends_on component)
  string(REPLACE ";" ", " depends "${ARGN}")
  if(CMAKE_CROSSCOMPILING)
    file(GLOB here ${VELA_PACKAGES_HERE}/${CPACK_DEBIAN_${component}_PACKAGE_NAME}_${PROJECT_VERSION}-1_*.deb)
    execute_process(COMMAND dpkg-deb --field ${here} Depends OUTPUT_VARIABLE depends
      OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  else()
    set(CPACK_DEBIAN_${component}_PACKAGE_SHLIBDEPS ON PARENT_SCOPE)
  endif()
  set(CPACK_DEBIAN_${component}_PACKAGE_DEPENDS "${depends}" PARENT_SCOPE)
endfunction()

set(CPACK_DEBIAN_FLIGHT_PACKAGE_SECTION misc)
set(CPACK_DEBIAN_FLIGHT_DESCRIPTION "flight service of a small camera drone
It takes no-fly-zone databases and restricted areas from the app, serves
them to the flight controller, and flies the factory's flight test.")
depends_on(FLIGHT ${our_tarn} "systemd | systemd-standalone-sysusers" "systemd | systemd-standalone-tmpfiles")
set(CPACK_DEBIAN_FLIGHT_PACKAGE_SUGGESTS vela-tools)
set(CPACK_DEBIAN_FLIGHT_PACKAGE_CONTROL_EXTRA
  ${packaging}/flight/postinst ${packaging}/flight/prerm ${packaging}/flight/postrm ${packaging}/flight/conffiles)

file(WRITE ${made}/shlibs "libtarn 0 ${tarn_package} (>= ${PROJECT_VERSION})\n")
file(WRITE ${made}/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_TARN_PACKAGE_CONTROL_EXTRA ${made}/shlibs ${made}/triggers)
depends_on(TARN)
set(CPACK_DEBIAN_TARN_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_TARN_DESCRIPTION "message bus, timers and logger of a companion computer
The platform that the flight service and the programs it talks to stand on.")

set(CPACK_DEBIAN_TARN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_TARN_DEV_DESCRIPTION "message bus of a companion computer: development files
Headers in C, and what pkg-config and CMake need to find the library.")
set(CPACK_DEBIAN_TARN_DEV_PACKAGE_DEPENDS "${our_tarn}")

set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION "tools for the flight service of a small camera drone
Databases, restricted areas and flight tests: made, checked, sent, read
back, simulated and reported.")
depends_on(TOOLS ${our_tarn})
set(CPACK_DEBIAN_TOOLS_PACKAGE_SUGGESTS "vela-flight, gnuplot-nox, chromium")

depends_on(ROUTER ${our_tarn})
set(CPACK_DEBIAN_ROUTER_PACKAGE_SECTION net)
set(CPACK_DEBIAN_ROUTER_DESCRIPTION "joins the message buses of several machines
One station reaches many aircraft, a desk reaches a drone: over TCP, with
keys at both ends, programs on the bus unchanged.")
include(CPack)

# SPDX-License-Identifier: MIT
# What `cmake --install` installs. The components are those of the Debian packages: "runtime" has what
# programs need to run, "development" what is needed to build them.

# The key of a lock that all processes of the machine share is made from the library's own file, so it
# is in /usr/lib itself on every machine, and not in a folder named after the architecture.
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
  set(CMAKE_INSTALL_PREFIX /usr CACHE PATH "Where to install" FORCE)
endif()
set(CMAKE_INSTALL_LIBDIR lib CACHE PATH "Where below the prefix libraries go")
set(CMAKE_INSTALL_DOCDIR share/doc/libvelutils++-dev CACHE PATH "Where documents go")
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS velutils++ EXPORT velutils++
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(DIRECTORY include/velutils++ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  COMPONENT development FILES_MATCHING PATTERN "*.h")

# Files for pkg-config and find_package. The folder share/pkgconfig is searched for every target.
configure_file(cmake/velutils++.pc.in velutils++.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/velutils++.pc
  DESTINATION ${CMAKE_INSTALL_DATADIR}/pkgconfig COMPONENT development)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/velutils++)

# velutils++::configd makes the linker keep the configuration daemon's client library, which the program
# names as well. The source file of the target makes strong references. A static library that links this
# target privately passes on the options but not the source file. Then the options make the linker take
# the functions out of an archive.
add_library(velutils_configd INTERFACE)
set_target_properties(velutils_configd PROPERTIES EXPORT_NAME configd)
target_sources(velutils_configd INTERFACE
  $<INSTALL_INTERFACE:$<INSTALL_PREFIX>/${package_dir}/use_configd.cc>)
target_link_options(velutils_configd INTERFACE
  LINKER:-u,configd_open,-u,configd_get,-u,configd_set,-u,configd_close)
target_link_libraries(velutils_configd INTERFACE velutils++)
install(TARGETS velutils_configd EXPORT velutils++)
install(FILES cmake/use_configd.cc DESTINATION ${package_dir} COMPONENT development)

write_basic_package_version_file(velutils++-config-version.cmake COMPATIBILITY SameMajorVersion)
install(EXPORT velutils++ FILE velutils++-config.cmake NAMESPACE velutils++::
  DESTINATION ${package_dir} COMPONENT development)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/velutils++-config-version.cmake
  DESTINATION ${package_dir} COMPONENT development)

# For cross-building programs for the routers
install(FILES cmake/toolchain-debian.cmake DESTINATION ${package_dir} COMPONENT development)

# Makes /tmp/status at boot: daemons of several users share it, so none of them may own it.
install(FILES packaging/velutils++.conf DESTINATION lib/tmpfiles.d COMPONENT runtime)

# The gdb printers. gdb looks for this file beside the library, and below its own auto-load folder under
# the library's full path.
set(printers $<TARGET_FILE_NAME:velutils++>-gdb.py)
add_custom_command(TARGET velutils++ POST_BUILD VERBATIM COMMAND ${CMAKE_COMMAND} -E copy_if_different
  ${CMAKE_SOURCE_DIR}/tools/gdb/velutils.py $<TARGET_FILE_DIR:velutils++>/${printers})
install(FILES tools/gdb/velutils.py COMPONENT development RENAME ${printers}
  DESTINATION ${CMAKE_INSTALL_DATADIR}/gdb/auto-load${CMAKE_INSTALL_FULL_LIBDIR})

# Documents
file(GLOB pages CONFIGURE_DEPENDS docs/*.md)
install(FILES README.md SECURITY.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT development)
install(FILES ${pages} docs/daemon.svg DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs
  COMPONENT development)
install(DIRECTORY examples platform DESTINATION ${CMAKE_INSTALL_DOCDIR}
  COMPONENT development USE_SOURCE_PERMISSIONS)

# The manual, made from the pages
find_program(LOWDOWN lowdown DOC "Makes manual pages of docs/*.md")
if(LOWDOWN)
  add_custom_command(OUTPUT manual/done
    COMMAND ${CMAKE_SOURCE_DIR}/docs/build-manual ${CMAKE_CURRENT_BINARY_DIR}/manual
    COMMAND ${CMAKE_COMMAND} -E touch manual/done
    DEPENDS ${pages} docs/build-manual docs/man/velutils++.7 CMakeLists.txt
    COMMENT "Building the manual")
  add_custom_target(manual ALL DEPENDS manual/done)
  install(DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/manual/man5 ${CMAKE_CURRENT_BINARY_DIR}/manual/man7
    DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT development)
else()
  message(STATUS "lowdown is missing: no manual pages of sections 5 and 7")
endif()

add_custom_target(uninstall VERBATIM COMMENT "Removing what was installed"
  COMMAND ${CMAKE_COMMAND} -DBUILD=${CMAKE_BINARY_DIR} -P ${CMAKE_SOURCE_DIR}/cmake/uninstall.cmake)

# The reference, made from the public headers
option(VELUTILS_REFERENCE "Build the reference: HTML, and man pages to install" OFF)
if(VELUTILS_REFERENCE)
  file(GLOB public_headers CONFIGURE_DEPENDS include/velutils++/*.h)
  file(GLOB makers CONFIGURE_DEPENDS docs/build-reference docs/site/*)
  add_custom_command(OUTPUT reference/done
    COMMAND ${CMAKE_SOURCE_DIR}/docs/build-reference ${CMAKE_CURRENT_BINARY_DIR}/reference
    COMMAND ${CMAKE_COMMAND} -E touch reference/done
    DEPENDS ${public_headers} ${pages} ${makers} README.md
    COMMENT "Building the reference")
  add_custom_target(reference ALL DEPENDS reference/done)
  install(DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/reference/man/man3
    DESTINATION ${CMAKE_INSTALL_MANDIR} COMPONENT development)
endif()

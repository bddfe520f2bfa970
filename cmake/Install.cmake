# SPDX-License-Identifier: Apache-2.0
# What `cmake --install` puts where, by component:
#
#   daemon         cloudclient; with host/ its unit of systemd, user and folders
#   tools          cloudclientctl
#   service        cloudservice; its unit, user and folders
#   source-TYPE    a module of sources, one component for each kind
#   development    the headers of platform/ and the package cloudclient-platform
#   documentation  docs/, examples/ and the licence
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS cloudclient RUNTIME COMPONENT daemon)
if(TARGET cloudclientctl)
  install(TARGETS cloudclientctl RUNTIME COMPONENT tools)
endif()
if(TARGET cloudservice)
  install(TARGETS cloudservice RUNTIME COMPONENT service)
endif()

set(CLOUDCLIENT_UNIT_FOLDER lib/systemd/system CACHE STRING
  "Where units of systemd are installed; a relative path lies below the prefix")

# install_unit(NAME COMPONENT): the unit of systemd that starts the program NAME, and what its user
# and folders are made from. The unit names the program as it is installed.
function(install_unit name component)
  set(_units "${CMAKE_SOURCE_DIR}/packaging/systemd")
  set(_built "${CMAKE_BINARY_DIR}/packaging")
  install(CODE "
    set(program \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_BINDIR}/${name}\")
    set(modules \"\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_LIBDIR}/cloudclient\")
    file(READ \"${_units}/sandbox.conf\" sandbox)
    string(CONFIGURE \"\${sandbox}\" sandbox @ONLY)
    configure_file(\"${_units}/${name}.service.in\" \"${_built}/${name}.service\" @ONLY)"
    COMPONENT ${component})
  install(FILES "${_built}/${name}.service" DESTINATION "${CLOUDCLIENT_UNIT_FOLDER}"
    COMPONENT ${component})
  foreach(_kind sysusers tmpfiles)
    install(FILES "${_units}/${name}.${_kind}" DESTINATION lib/${_kind}.d RENAME ${name}.conf
      COMPONENT ${component})
  endforeach()
endfunction()
# The appliance's own framework starts the daemon that is linked against it.
if(CLOUDCLIENT_PLATFORM STREQUAL "host")
  install_unit(cloudclient daemon)
endif()
if(TARGET cloudservice)
  install_unit(cloudservice service)
endif()

get_property(_sources GLOBAL PROPERTY CLOUDCLIENT_SOURCES)
foreach(_type IN LISTS _sources)
  install(TARGETS source_${_type} LIBRARY COMPONENT source-${_type}
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/cloudclient/sources")
endforeach()

# find_package(cloudclient-platform) gives the target cloudclient::platform.
set(_package cloudclient-platform)
set(_package_folder "${CMAKE_INSTALL_DATADIR}/cmake/${_package}")
install(TARGETS platform EXPORT ${_package}
  INCLUDES DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/cloudclient")
install(DIRECTORY platform DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/cloudclient"
  COMPONENT development FILES_MATCHING PATTERN "*.h")
install(EXPORT ${_package} NAMESPACE cloudclient:: FILE ${_package}-config.cmake
  DESTINATION "${_package_folder}" COMPONENT development)
write_basic_package_version_file("${CMAKE_BINARY_DIR}/${_package}-config-version.cmake"
  COMPATIBILITY SameMinorVersion ARCH_INDEPENDENT)
install(FILES "${CMAKE_BINARY_DIR}/${_package}-config-version.cmake"
  DESTINATION "${_package_folder}" COMPONENT development)

install(DIRECTORY docs/ DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT documentation)
install(FILES LICENSE DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT documentation)
install(DIRECTORY examples DESTINATION "${CMAKE_INSTALL_DOCDIR}" COMPONENT documentation)

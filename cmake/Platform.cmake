# SPDX-License-Identifier: Apache-2.0
# What implements platform/ in the daemon: host/, or libraries of the appliance.
#
# CLOUDCLIENT_PLATFORM_TARGETS is what the daemon links for it. Tests, benchmarks and cloudclientctl
# stand on host/ and are not built without it.
include(CMakeDependentOption)

set(CLOUDCLIENT_PLATFORM host CACHE STRING
  "What implements platform/: host, or external (see CLOUDCLIENT_PLATFORM_LIBS)")
set_property(CACHE CLOUDCLIENT_PLATFORM PROPERTY STRINGS host external)
set(CLOUDCLIENT_PLATFORM_LIBS "" CACHE STRING
  "Libraries that implement platform/: absolute paths, or names for the linker to search for")

if(CLOUDCLIENT_PLATFORM STREQUAL "host")
  if(CLOUDCLIENT_PLATFORM_LIBS)
    message(FATAL_ERROR
      "CLOUDCLIENT_PLATFORM_LIBS is given, and host/ would be linked: "
      "set CLOUDCLIENT_PLATFORM to external")
  endif()
  set(CLOUDCLIENT_PLATFORM_TARGETS host)
elseif(CLOUDCLIENT_PLATFORM STREQUAL "external")
  if(NOT CLOUDCLIENT_PLATFORM_LIBS)
    message(FATAL_ERROR
      "CLOUDCLIENT_PLATFORM is external: name the libraries that implement platform/ "
      "in CLOUDCLIENT_PLATFORM_LIBS")
  endif()
  foreach(_library IN LISTS CLOUDCLIENT_PLATFORM_LIBS)
    if(NOT _library MATCHES "/")
      continue()
    endif()
    if(NOT IS_ABSOLUTE "${_library}")
      message(FATAL_ERROR "CLOUDCLIENT_PLATFORM_LIBS: ${_library} is no absolute path")
    endif()
    if(NOT EXISTS "${_library}" OR IS_DIRECTORY "${_library}")
      message(FATAL_ERROR "CLOUDCLIENT_PLATFORM_LIBS: there is no library ${_library}")
    endif()
  endforeach()
  set(CLOUDCLIENT_PLATFORM_TARGETS ${CLOUDCLIENT_PLATFORM_LIBS})
else()
  message(FATAL_ERROR
    "CLOUDCLIENT_PLATFORM is \"${CLOUDCLIENT_PLATFORM}\": it is either host or external")
endif()

cmake_dependent_option(CLOUDCLIENT_TESTS "Build the tests" ON
  "CLOUDCLIENT_PLATFORM STREQUAL host" OFF)
cmake_dependent_option(CLOUDCLIENT_BENCH "Build the benchmarks" OFF
  "CLOUDCLIENT_PLATFORM STREQUAL host" OFF)

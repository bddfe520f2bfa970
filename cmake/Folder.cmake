# SPDX-License-Identifier: Apache-2.0
# cloudclient_folder(PATH [INTERFACE] [SOURCES ...] [LINK ...] [LINK_PRIVATE ...])
#
# Makes the calling folder, which is PATH below the root, a target: "base" is the target base,
# "host/util" the target host_util. What the target exports is a folder that shows this one and
# nothing else, so that a source includes "PATH/File.h" only when its target links that target.
function(cloudclient_folder path)
  cmake_parse_arguments(arg "INTERFACE" "" "SOURCES;LINK;LINK_PRIVATE" ${ARGN})
  string(REPLACE "/" "_" name "${path}")
  set(view "${CMAKE_BINARY_DIR}/include/${name}")
  get_filename_component(above "${view}/${path}" DIRECTORY)
  file(MAKE_DIRECTORY "${above}")
  file(CREATE_LINK "${CMAKE_CURRENT_SOURCE_DIR}" "${view}/${path}" SYMBOLIC)
  if(arg_INTERFACE)
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE "$<BUILD_INTERFACE:${view}>")
    target_link_libraries(${name} INTERFACE ${arg_LINK})
  else()
    add_library(${name} STATIC ${arg_SOURCES})
    target_include_directories(${name} PUBLIC "${view}")
    target_link_libraries(${name} PUBLIC ${arg_LINK} PRIVATE ${arg_LINK_PRIVATE})
    cloudclient_warnings(${name})
  endif()
endfunction()

# SPDX-License-Identifier: Apache-2.0
# The page: bundled in the build folder by what package-lock.json names, and put into the program as
# bytes. Nothing is written into the source tree.
find_program(CLOUDCLIENT_NODE NAMES node nodejs REQUIRED)
find_program(CLOUDCLIENT_NPM npm REQUIRED)

set(_source "${CMAKE_CURRENT_LIST_DIR}")
set(_build "${CMAKE_CURRENT_BINARY_DIR}/page")
file(MAKE_DIRECTORY "${_build}")
# The packages stand beside the link, so that the sources find them.
file(CREATE_LINK "${_source}/src" "${_build}/src" SYMBOLIC)

set(_packages "${_source}/package.json" "${_source}/package-lock.json" "${_source}/.npmrc")
add_custom_command(OUTPUT "${_build}/packages.stamp"
  COMMAND "${CMAKE_COMMAND}" -E copy_if_different ${_packages} .
  # No package runs anything of its own here.
  COMMAND "${CLOUDCLIENT_NPM}" ci --ignore-scripts --no-progress --loglevel=error
  COMMAND "${CMAKE_COMMAND}" -E touch packages.stamp
  DEPENDS ${_packages}
  WORKING_DIRECTORY "${_build}"
  COMMENT "Fetching what the page is built with" VERBATIM)

file(GLOB _files CONFIGURE_DEPENDS "${_source}/src/*")
set(_tools "${_source}/build.mjs" "${_source}/tsconfig.json")
add_custom_command(OUTPUT "${_build}/Assets.cpp"
  COMMAND "${CMAKE_COMMAND}" -E copy_if_different ${_tools} .
  COMMAND "${CLOUDCLIENT_NODE}" build.mjs Assets.cpp
  DEPENDS ${_files} ${_tools} "${_build}/packages.stamp"
  WORKING_DIRECTORY "${_build}"
  COMMENT "Bundling the page" VERBATIM)

# By itself it is all that lint needs of a build.
add_custom_target(page DEPENDS "${_build}/Assets.cpp")
target_sources(service PRIVATE page/Page.cpp "${_build}/Assets.cpp")

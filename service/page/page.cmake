# The page: bundled in the build folder by what package-lock.json names, and put into the program as
# bytes. Nothing is written into the source tree.
find_program(CLOUDCLIENT_NODE NAMES node nodejs REQUIRED)
find_program(CLOUDCLIENT_NPM npm REQUIRED)

set(_source "${CMAKE_CURRENT_LIST_DIR}")
set(CLOUDCLIENT_PAGE_BUILD "${CMAKE_CURRENT_BINARY_DIR}/page")
file(MAKE_DIRECTORY "${CLOUDCLIENT_PAGE_BUILD}")
# The packages stand beside the link, so that the sources find them.
file(CREATE_LINK "${_source}/src" "${CLOUDCLIENT_PAGE_BUILD}/src" SYMBOLIC)

set(_packages "${_source}/package.json" "${_source}/package-lock.json" "${_source}/.npmrc")
add_custom_command(OUTPUT "${CLOUDCLIENT_PAGE_BUILD}/packages.stamp"
  COMMAND "${CMAKE_COMMAND}" -E copy_if_different ${_packages} .
  # No package runs anything of its own here.
  COMMAND "${CLOUDCLIENT_NPM}" ci --ignore-scripts --no-progress --loglevel=error
  COMMAND "${CMAKE_COMMAND}" -E touch packages.stamp
  DEPENDS ${_packages}
  WORKING_DIRECTORY "${CLOUDCLIENT_PAGE_BUILD}"
  COMMENT "Fetching what the page is built with" VERBATIM)

file(GLOB _files CONFIGURE_DEPENDS "${_source}/src/*")
set(_tools "${_source}/build.mjs" "${_source}/tsconfig.json")
add_custom_command(OUTPUT "${CLOUDCLIENT_PAGE_BUILD}/Assets.cpp"
  COMMAND "${CMAKE_COMMAND}" -E copy_if_different ${_tools} .
  COMMAND "${CLOUDCLIENT_NODE}" build.mjs Assets.cpp
  DEPENDS ${_files} ${_tools} "${CLOUDCLIENT_PAGE_BUILD}/packages.stamp"
  WORKING_DIRECTORY "${CLOUDCLIENT_PAGE_BUILD}"
  COMMENT "Bundling the page" VERBATIM)

target_sources(service PRIVATE page/Page.cpp "${CLOUDCLIENT_PAGE_BUILD}/Assets.cpp")

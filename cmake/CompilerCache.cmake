# SPDX-License-Identifier: Apache-2.0
# Every compile goes through ccache where there is one. The build's own path is no part of what is
# remembered: a second clone in another folder finds what the first one compiled.
option(CLOUDCLIENT_CCACHE "Compile through ccache, if it is installed" ON)
find_program(CLOUDCLIENT_CCACHE_PROGRAM ccache)
if(CLOUDCLIENT_CCACHE AND CLOUDCLIENT_CCACHE_PROGRAM AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_CXX_COMPILER_LAUNCHER env "CCACHE_BASEDIR=${CMAKE_SOURCE_DIR}" CCACHE_NOHASHDIR=1
    CCACHE_SLOPPINESS=pch_defines,time_macros "${CLOUDCLIENT_CCACHE_PROGRAM}")
endif()

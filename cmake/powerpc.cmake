# SPDX-License-Identifier: Apache-2.0
# Toolchain of the appliance's processor: 32-bit big-endian PowerPC, by Debian's cross compiler and
# under its user-mode emulator. The libraries are those of scripts/powerpc-sysroot.sh.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ppc)
set(_triplet powerpc-linux-gnu)
set(CMAKE_C_COMPILER ${_triplet}-gcc)
set(CMAKE_CXX_COMPILER ${_triplet}-g++)

# Read again by each of CMake's own trials: the folder is asked for once.
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES CLOUDCLIENT_POWERPC_PREFIX)
if(NOT CLOUDCLIENT_POWERPC_PREFIX)
  execute_process(COMMAND "${CMAKE_CURRENT_LIST_DIR}/../scripts/powerpc-sysroot.sh" --path
    OUTPUT_VARIABLE CLOUDCLIENT_POWERPC_PREFIX OUTPUT_STRIP_TRAILING_WHITESPACE
    RESULT_VARIABLE _failed)
  if(_failed OR NOT EXISTS "${CLOUDCLIENT_POWERPC_PREFIX}/complete")
    message(FATAL_ERROR
      "The libraries for ${_triplet} are not there: run scripts/powerpc-sysroot.sh")
  endif()
endif()

set(CMAKE_FIND_ROOT_PATH "${CLOUDCLIENT_POWERPC_PREFIX}" /usr/${_triplet})
set(CMAKE_PREFIX_PATH /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} "${CLOUDCLIENT_POWERPC_PREFIX}/lib/pkgconfig")

# By CMake's own search, as on the build machine: curl's own file names no include folder.
set(CURL_NO_CURL_CMAKE ON)

# The processor has no atomic operation on 64 bits.
set(CMAKE_CXX_STANDARD_LIBRARIES "-Wl,--as-needed -latomic")

set(CMAKE_CROSSCOMPILING_EMULATOR qemu-ppc-static -L /usr/${_triplet})

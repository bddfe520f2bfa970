# SPDX-License-Identifier: Apache-2.0
# Read behind project() for a program that needs the C library of the machine and nothing else:
# archives in the place of shared libraries, and behind everything what those of
# scripts/powerpc-sysroot.sh need themselves.
set(CMAKE_FIND_LIBRARY_SUFFIXES .a)
set(CMAKE_EXE_LINKER_FLAGS "${CMAKE_EXE_LINKER_FLAGS} -static-libstdc++ -static-libgcc")
set(CMAKE_CXX_STANDARD_LIBRARIES
  "-L${CLOUDCLIENT_POWERPC_PREFIX}/lib -lmbedtls -lmbedx509 -lmbedcrypto -l:libatomic.a")

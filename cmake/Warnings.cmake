# SPDX-License-Identifier: Apache-2.0
# cloudclient_warnings(TARGET): the project's warnings for a target of its own.
function(cloudclient_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wformat=2
    -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wcast-qual -Wundef -Wvla)
  # A source that others are compiled with is an included one to g++, which minds there that a class
  # holds what an unnamed namespace declares.
  if(CMAKE_UNITY_BUILD)
    target_compile_options(${target} PRIVATE -Wno-subobject-linkage)
  endif()
  if(CLOUDCLIENT_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

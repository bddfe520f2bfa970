# SPDX-License-Identifier: Apache-2.0
# CLOUDCLIENT_SANITIZE for everything that this build compiles and links.
if(CLOUDCLIENT_SANITIZE)
  string(REPLACE ";" "," _sanitizers "${CLOUDCLIENT_SANITIZE}")
  add_compile_options(-fsanitize=${_sanitizers} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${_sanitizers})
  # With a sanitizer's code between, g++ 12 reports uninitialised members inside the standard
  # library that are none. The plain builds warn of the real ones.
  add_compile_options($<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  if(_sanitizers MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=undefined)
  endif()
  if(_sanitizers MATCHES "thread")
    # ThreadSanitizer knows no fences; what Asio shares is also guarded by its mutexes.
    add_compile_definitions(BOOST_ASIO_DISABLE_FENCED_BLOCK)
  endif()
endif()

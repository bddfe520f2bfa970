# SPDX-License-Identifier: Apache-2.0
# Times beyond January 2038: where time_t has four bytes, the C library is asked for eight.
include(CheckTypeSize)
include(CMakePushCheckState)

cmake_push_check_state(RESET)
set(CMAKE_EXTRA_INCLUDE_FILES time.h)
check_type_size(time_t CLOUDCLIENT_TIME_SIZE LANGUAGE CXX)
if(CLOUDCLIENT_TIME_SIZE EQUAL 4)
  set(_times _FILE_OFFSET_BITS=64 _TIME_BITS=64)
  list(TRANSFORM _times PREPEND -D OUTPUT_VARIABLE CMAKE_REQUIRED_DEFINITIONS)
  check_type_size(time_t CLOUDCLIENT_ASKED_TIME_SIZE LANGUAGE CXX)
  if(CLOUDCLIENT_ASKED_TIME_SIZE EQUAL 8)
    add_compile_definitions(${_times})
  else()
    message(WARNING "This C library has no times of 64 bits: dates end in January 2038")
  endif()
endif()
cmake_pop_check_state()

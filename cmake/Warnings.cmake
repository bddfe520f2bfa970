# cloudclient_warnings(TARGET): the project's warnings for a target of its own.
function(cloudclient_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wformat=2
    -Wnon-virtual-dtor -Woverloaded-virtual -Wold-style-cast -Wcast-qual -Wundef -Wvla)
  if(CLOUDCLIENT_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

# Warning policy for our own targets: strict, and fatal when QEL_WERROR is on.
function(qel_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor)
  if(QEL_WERROR)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
endfunction()

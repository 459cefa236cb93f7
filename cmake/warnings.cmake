# Warnings as errors for our own targets only; third-party headers come in as
# system includes and stay quiet.
function(inetmgr_warnings target)
  target_compile_options(${target} PRIVATE -Wall -Wextra -Werror -Wshadow -Wnon-virtual-dtor)
endfunction()

# SPDX-License-Identifier: Apache-2.0
#
# The compiler's own DLLs, beside the programs that need them. Linking them statically would give the
# library a std::cout of its own, and exceptions would not cross its border.
foreach(dll libgcc_s_seh-1 libstdc++-6 libwinpthread-1)
  execute_process(COMMAND ${CMAKE_CXX_COMPILER} -print-file-name=${dll}.dll
    OUTPUT_VARIABLE file OUTPUT_STRIP_TRAILING_WHITESPACE)
  if(IS_ABSOLUTE "${file}" AND EXISTS "${file}")
    file(COPY ${file} DESTINATION ${CMAKE_RUNTIME_OUTPUT_DIRECTORY})
  endif()
endforeach()

# SPDX-License-Identifier: Apache-2.0
#
# GoogleTest for another system than this one, from its sources: packages hold compiled libraries for
# this machine only.
set(VEK_GOOGLETEST_DIR /usr/src/googletest CACHE PATH "Sources of GoogleTest, for cross compilation")
if(NOT EXISTS ${VEK_GOOGLETEST_DIR}/CMakeLists.txt)
  message(FATAL_ERROR "The tests need the sources of GoogleTest in ${VEK_GOOGLETEST_DIR} "
    "(package googletest), or where VEK_GOOGLETEST_DIR says")
endif()
set(BUILD_SHARED_LIBS OFF)
set(INSTALL_GTEST OFF)
add_subdirectory(${VEK_GOOGLETEST_DIR} ${CMAKE_CURRENT_BINARY_DIR}/googletest EXCLUDE_FROM_ALL)
foreach(library gtest gtest_main gmock gmock_main)
  if(NOT TARGET GTest::${library})
    add_library(GTest::${library} ALIAS ${library})
  endif()
endforeach()

# SPDX-License-Identifier: Apache-2.0
#
# What `cmake --install` puts where: the libraries and headers, a CMake package and a pkg-config
# file. All of them find one another by relative paths, so that the prefix can be moved.
include(CMakePackageConfigHelpers)

set(VEK_INSTALL_CMAKEDIR ${CMAKE_INSTALL_LIBDIR}/cmake/vek)

install(TARGETS vek EXPORT vek-shared
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vek)
install(TARGETS vek_static EXPORT vek-static
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vek)
install(FILES ${VEK_HEADERS}
  DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/vek COMPONENT development)

foreach(variant shared static)
  install(EXPORT vek-${variant} NAMESPACE vek:: FILE vek-${variant}-targets.cmake
    DESTINATION ${VEK_INSTALL_CMAKEDIR} COMPONENT development)
endforeach()
configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/vekConfig.cmake.in
  ${PROJECT_BINARY_DIR}/vekConfig.cmake INSTALL_DESTINATION ${VEK_INSTALL_CMAKEDIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/vekConfigVersion.cmake
  COMPATIBILITY ${VEK_COMPATIBILITY})
install(FILES
  ${PROJECT_BINARY_DIR}/vekConfig.cmake ${PROJECT_BINARY_DIR}/vekConfigVersion.cmake
  DESTINATION ${VEK_INSTALL_CMAKEDIR} COMPONENT development)

# An absolute folder stays; a relative one is relative to the prefix, and that to the file.
foreach(folder LIBDIR INCLUDEDIR)
  if(IS_ABSOLUTE "${CMAKE_INSTALL_${folder}}")
    set(VEK_PC_${folder} "${CMAKE_INSTALL_${folder}}")
  else()
    set(VEK_PC_${folder} "\${prefix}/${CMAKE_INSTALL_${folder}}")
  endif()
endforeach()
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}")
  set(VEK_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
else()
  file(RELATIVE_PATH VEK_PC_UP "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
  string(REGEX REPLACE "/$" "" VEK_PC_UP "${VEK_PC_UP}")
  set(VEK_PC_PREFIX "\${pcfiledir}/${VEK_PC_UP}")
endif()
# What a C++ compiler adds to a program by itself and another one has to be told.
set(VEK_PC_LIBS_PRIVATE ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
list(FILTER VEK_PC_LIBS_PRIVATE INCLUDE REGEX "^(stdc\\+\\+|c\\+\\+|m)$")
list(REMOVE_DUPLICATES VEK_PC_LIBS_PRIVATE)
list(TRANSFORM VEK_PC_LIBS_PRIVATE PREPEND "-l")
list(JOIN VEK_PC_LIBS_PRIVATE " " VEK_PC_LIBS_PRIVATE)
configure_file(${PROJECT_SOURCE_DIR}/cmake/vek.pc.in ${PROJECT_BINARY_DIR}/vek.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/vek.pc
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)

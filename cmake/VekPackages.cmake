# SPDX-License-Identifier: Apache-2.0
#
# Packages of the installed files: `cpack` in the build folder makes the Debian ones (the library, its
# development files, the tools), `cpack -G TGZ` one archive of everything. Configured with
# -DCMAKE_INSTALL_PREFIX=/usr, the library lies where Debian wants it.
set(VEK_RUNTIME_PACKAGE libvek${VEK_SOVERSION})

set(CPACK_PACKAGE_NAME vek)
set(CPACK_PACKAGE_VENDOR "libvek maintainers")
if(NOT CPACK_PACKAGE_CONTACT)
  set(CPACK_PACKAGE_CONTACT "libvek maintainers <maintainers@libvek.example>")
endif()
set(CPACK_RESOURCE_FILE_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # Each package has a summary of its own.
set(CPACK_STRIP_FILES ON)
set(CPACK_VERBATIM_VARIABLES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_SOURCE_IGNORE_FILES "/\\.git/;/build(-[^/]*)?/")
if(NOT CPACK_GENERATOR)
  find_program(VEK_DPKG_DEB dpkg-deb)
  mark_as_advanced(VEK_DPKG_DEB)
  if(VEK_DPKG_DEB)
    set(CPACK_GENERATOR DEB)
  else()
    set(CPACK_GENERATOR TGZ)
  endif()
endif()

set(CPACK_COMPONENTS_ALL runtime development)
if(VEK_BUILD_TOOLS)
  list(APPEND CPACK_COMPONENTS_ALL tools)
endif()

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR}/lib)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(VEK_PACKAGE_TEXT
"libvek writes and reads animated geometry caches: the snapshots of a scene,
sample after sample, from which any object can be fetched at any sample or
interpolated at any time without reading the rest.
")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${VEK_RUNTIME_PACKAGE})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_DESCRIPTION
"animated geometry caches - shared library
${VEK_PACKAGE_TEXT}
This package holds the shared library that programs are linked with.")
# Programs linked with it depend on this package, and the linker learns of it.
file(WRITE ${PROJECT_BINARY_DIR}/debian/shlibs
  "libvek ${VEK_SOVERSION} ${VEK_RUNTIME_PACKAGE} (>= ${PROJECT_VERSION})\n")
file(WRITE ${PROJECT_BINARY_DIR}/debian/triggers "activate-noawait ldconfig\n")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  ${PROJECT_BINARY_DIR}/debian/shlibs ${PROJECT_BINARY_DIR}/debian/triggers)

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvek-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${VEK_RUNTIME_PACKAGE} (= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
"animated geometry caches - development files
${VEK_PACKAGE_TEXT}
This package holds the headers, the static library, the CMake package and the
pkg-config file that programs are built with.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME vek-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION graphics)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${VEK_RUNTIME_PACKAGE} (>= ${PROJECT_VERSION})")
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
"animated geometry caches - command line tools
${VEK_PACKAGE_TEXT}
This package holds vekinfo, which summarises a file, vek2txt, which prints
it as text, vekdiff, which compares two, and vektest, which writes a sample
file.")

# Debian wants a few files in every package that no other installation has a place for.
set(CPACK_PRE_BUILD_SCRIPTS ${PROJECT_SOURCE_DIR}/cmake/DebianFiles.cmake)
set(CPACK_VEK_LICENSE ${PROJECT_SOURCE_DIR}/LICENSE)

include(CPack)

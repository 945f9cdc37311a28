# SPDX-License-Identifier: Apache-2.0
#
# Run by CPack between installing the files of a package and packing them: adds the copyright and the
# changelog that Debian looks for in every package, and compresses the manuals.
if(NOT CPACK_GENERATOR STREQUAL "DEB")
  return()
endif()

find_program(GZIP gzip REQUIRED)
# Without these CPack fails later on, or leaves out what the packages depend on.
foreach(program file dpkg-shlibdeps)
  find_program(VEK_${program} ${program})
  if(NOT VEK_${program})
    message(FATAL_ERROR "${program} is missing: install the packages file and dpkg-dev")
  endif()
endforeach()

# The time of the build, or what SOURCE_DATE_EPOCH says for a reproducible one.
string(TIMESTAMP date "%a, %d %b %Y %H:%M:%S +0000" UTC)
set(copyright
"Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/
Upstream-Name: libvek

Files: *
Copyright: 2026 The libvek contributors
License: Apache-2.0
 On Debian systems the text of the Apache License, version 2.0, is in
 /usr/share/common-licenses/Apache-2.0.
")
set(changelog
"vek (${CPACK_PACKAGE_VERSION}) unstable; urgency=medium

  * Version ${CPACK_PACKAGE_VERSION} of libvek.

 -- ${CPACK_PACKAGE_CONTACT}  ${date}
")

foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} upper)
  set(root ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/${component}/usr)
  set(doc ${root}/share/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  file(WRITE ${doc}/copyright "${copyright}")
  file(WRITE ${doc}/changelog "${changelog}")
  file(GLOB manuals ${root}/share/man/man*/*.1)
  execute_process(COMMAND ${GZIP} -9nf ${doc}/changelog ${manuals} RESULT_VARIABLE failed)
  if(failed)
    message(FATAL_ERROR "${GZIP} failed: ${failed}")
  endif()
endforeach()

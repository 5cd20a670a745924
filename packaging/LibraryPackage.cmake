# After cpack: the package of the shared library as Debian wants it. CPack gives it scripts that call ldconfig; a trigger
# does that without them, and what is linked against the library learns from "shlibs" which package it needs.
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  if(NOT package MATCHES "/libfeedkit([0-9]+)_([^_]+)_[^/]*\\.deb$")
    continue()
  endif()
  set(number ${CMAKE_MATCH_1})
  set(version ${CMAKE_MATCH_2})
  set(tree ${package}.tree)
  file(REMOVE_RECURSE ${tree})
  execute_process(COMMAND dpkg-deb --raw-extract ${package} ${tree} COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE ${tree}/DEBIAN/postinst ${tree}/DEBIAN/postrm)
  file(WRITE ${tree}/DEBIAN/triggers "activate-noawait ldconfig\n")
  file(WRITE ${tree}/DEBIAN/shlibs "libfeedkit ${number} libfeedkit${number} (>= ${version})\n")
  file(CHMOD ${tree}/DEBIAN/triggers ${tree}/DEBIAN/shlibs PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  execute_process(COMMAND dpkg-deb --root-owner-group -Zxz --build ${tree} ${package}
    OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE_RECURSE ${tree})
endforeach()

# Three packages for Debian: the programs, FeedKit for other programs, and what building those takes.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vitrel)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
# Each package has one of its own.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_CONTACT "The Vitrel authors <maintainers@vitrel.example>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_STRIP_FILES ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
set(CPACK_COMPONENTS_ALL FeedKit FeedKitDevelopment)
if(NOT VITREL_FEEDKIT_ONLY)
  list(APPEND CPACK_COMPONENTS_ALL Programs)
endif()
set(CPACK_COMPONENTS_GROUPING IGNORE)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_POST_BUILD_SCRIPTS ${CMAKE_CURRENT_SOURCE_DIR}/LibraryPackage.cmake)

set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME vitrel)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION x11)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SHLIBDEPS ON)
# Opened at run time, so that nobody finds them in the programs.
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_DEPENDS "fonts-dancingscript, libegl1, libgl1, libgvc6, libcgraph6, libvips42 | libvips42t64")
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_RECOMMENDS "fonts-inter, fonts-noto-core, libegl-mesa0, libgl1-mesa-dri, xscreensaver")
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SUGGESTS "fonts-noto-cjk, fonts-noto-color-emoji, mpv-mpris, qt6-wayland, xss-lock")
set(CPACK_COMPONENT_PROGRAMS_DESCRIPTION "screen saver with your music and your news
Vitrel plays compositions full screen on every display and keeps them fed
with live data: the track now playing in any player that speaks MPRIS, with
its cover, and the articles of a feed. Twelve compositions come with it; .qtz
files of your own are played as well.
.
It is started by XScreenSaver, by the idle tools of a desktop, or by itself
when the desktop is idle. It draws and never locks the screen.
.
The package has three programs: vitrel, the screen saver with its settings
window; muralis, which tells savers without a session bus what is playing;
and feedkit, which prints RSS, RDF, Atom and JSON feeds as JSON.")

set(CPACK_DEBIAN_FEEDKIT_PACKAGE_NAME libfeedkit${FEEDKIT_VERSION_MAJOR})
set(CPACK_DEBIAN_FEEDKIT_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_FEEDKIT_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_FEEDKIT_DESCRIPTION "parser for RSS, RDF, Atom and JSON Feed - shared library
FeedKit is a C++20 library that reads feeds from memory, from files and from
the network into plain models, with limits that make it fit for documents
from strangers.
.
This package has the shared library.")

set(CPACK_DEBIAN_FEEDKITDEVELOPMENT_PACKAGE_NAME libfeedkit-dev)
set(CPACK_DEBIAN_FEEDKITDEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_FEEDKITDEVELOPMENT_PACKAGE_DEPENDS
  "libfeedkit${FEEDKIT_VERSION_MAJOR} (= ${CPACK_PACKAGE_VERSION})")
set(CPACK_COMPONENT_FEEDKITDEVELOPMENT_DESCRIPTION "parser for RSS, RDF, Atom and JSON Feed - development files
FeedKit is a C++20 library that reads feeds from memory, from files and from
the network into plain models, with limits that make it fit for documents
from strangers.
.
This package has the headers, and what CMake (find_package(FeedKit)) and
pkg-config (feedkit) need to find the library.")

include(CPack)

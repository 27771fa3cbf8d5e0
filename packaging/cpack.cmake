# The Debian packages, built by scripts/package with CPack: the program
# (component speckmend: the window, the command line tool, the desktop files,
# the data and the manual pages) and the simulated camera library with its
# control tool (component simulator).
#
# The program depends on the camera library by its soname's package name,
# libtavo-api1: the simulator package provides it, and so can a vendor's
# package that replaces it. Installed programs have no RUNPATH, so the system's
# normal search finds whichever library is installed.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME speckmend)
set(CPACK_PACKAGE_VENDOR "Brevant Optics GmbH")
set(CPACK_PACKAGE_CONTACT "Brevant Optics GmbH <support@brevant.example>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)

set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL speckmend simulator)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_HOMEPAGE ${SPECKMEND_HOMEPAGE})
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# dpkg-shlibdeps finds the camera library in the build tree; the dependency
# on it is declared by hand below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})

set(CPACK_DEBIAN_SPECKMEND_PACKAGE_NAME ${SPECKMEND_DEB_speckmend})
set(CPACK_DEBIAN_SPECKMEND_PACKAGE_SECTION science)
set(CPACK_DEBIAN_SPECKMEND_PACKAGE_DEPENDS "libtavo-api1-sim | libtavo-api1")
set(CPACK_COMPONENT_SPECKMEND_DESCRIPTION
    "find and manage the hot pixels of industrial cameras
Tavo Speckmend lists the cameras attached to the machine, opens one, shows
its live image and a magnifier on single sensor pixels, and manages the
camera's hot pixel list: it reads the factory and user lists out of the
camera's memory, finds new hot pixels in ten dark frames or takes them by
hand, writes the user list back into the camera, and saves and exchanges it
as a file.")

set(CPACK_DEBIAN_SIMULATOR_PACKAGE_NAME ${SPECKMEND_DEB_simulator})
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_PROVIDES libtavo-api1)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_CONFLICTS libtavo-api1)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_REPLACES libtavo-api1)
# The library's shlibs entry, and the ldconfig trigger in place of the calls
# of ldconfig that CPack would write into the maintainer scripts.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_CONTROL_EXTRA
    ${CMAKE_CURRENT_SOURCE_DIR}/simulator/triggers
    ${CMAKE_CURRENT_SOURCE_DIR}/simulator/postinst
    ${CMAKE_CURRENT_SOURCE_DIR}/simulator/postrm)
set(CPACK_DEBIAN_SIMULATOR_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)
set(CPACK_COMPONENT_SIMULATOR_DESCRIPTION
    "camera library with simulated cameras for Tavo Speckmend
This libtavo_api.so.1 implements the camera library's interface on a small
fleet of simulated cameras, with hot pixels, dark frames, hot plugging and
faults to inject. The tool tavo-sim plugs and unplugs them, covers their
lenses and injects faults from a shell.
.
A vendor's libtavo_api.so.1 can take its place without a rebuild of the
programs that use it.")

include(CPack)

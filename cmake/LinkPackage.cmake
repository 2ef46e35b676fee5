# A Debian package of the installed tree (`make package`, or cpack in the
# build folder). Its dependencies are what dpkg-shlibdeps finds the binaries
# linked against, so they follow the Qt and libmm-glib the build used.
set(LINK_PACKAGE_MAINTAINER "linkmarrow developers <lead@linkmarrow.dev>"
    CACHE STRING "Maintainer field of the Debian package")

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME linkhost)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_VENDOR linkmarrow)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Connection manager for USB mobile-broadband modems")
string(CONCAT CPACK_PACKAGE_DESCRIPTION
    "linkhost manages USB mobile-broadband modems (data cards with a SIM): it\n"
    "notices cards being plugged in and removed, lets the user pick among\n"
    "several, asks for the SIM PIN or PUK when needed, enables, disables and\n"
    "changes the PIN, switches the radio and takes the card offline. It drives\n"
    "the modems of ModemManager, or a virtual card for trying it out.")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
# What runs, without the debug information (and the build paths it names).
set(CPACK_STRIP_FILES ON)

set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER ${LINK_PACKAGE_MAINTAINER})
set(CPACK_DEBIAN_PACKAGE_SECTION net)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# linkhost works without the daemon (the virtual card), but real modems need it.
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS modemmanager)
# Our own libraries are private to the package: dpkg-shlibdeps must find them
# in the staged tree (it runs in it, hence the relative folder) and not look
# for a package that provides them.
string(REGEX REPLACE "^/" "" _link_staged_libdir
       "${CPACK_PACKAGING_INSTALL_PREFIX}/${LINK_INSTALL_LIBDIR}")
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${_link_staged_libdir})

include(CPack)

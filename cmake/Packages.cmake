# A Debian package and a tarball of what is installed; scripts/package makes and tries both.
set(CPACK_PACKAGE_NAME quorvel)
set(CPACK_PACKAGE_VENDOR Quorvel)
set(CPACK_PACKAGE_CONTACT "The makers of Quorvel <makers@quorvel.example>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "Store texts, versions and builds of apps on App Store Connect")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_GENERATOR TGZ DEB)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SECTION devel)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON) # the packages of the libraries that the programs are linked with
set(CPACK_DEBIAN_PACKAGE_DEPENDS ca-certificates)
set(CPACK_DEBIAN_PACKAGE_RECOMMENDS git)
include(CPack)

# Read by cpack before it builds the packages (CPACK_PROJECT_CONFIG_FILE).
if(CPACK_GENERATOR STREQUAL "DEB" AND NOT CPACK_ZARNCRT_MULTIARCH_LIBDIR)
  message(FATAL_ERROR "Debian packages need the multiarch library directory, "
    "but this build installs libraries into '${CPACK_ZARNCRT_LIBDIR}': "
    "configure a build directory with -DCMAKE_INSTALL_PREFIX=/usr for packaging")
endif()
# The install step writes the .pc files for the prefix the packages install
# under, not for cpack's staging directory (cmake/Install.cmake).
set(ENV{ZARNCRT_PACKAGING_PREFIX} "${CPACK_PACKAGING_INSTALL_PREFIX}")

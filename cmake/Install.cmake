# Install contract: both libraries with their SONAME links, a CMake package
# giving zarncrt::core++ (and zarncrt::core), and pkg-config files.
include(CMakePackageConfigHelpers)

set(ZARNCRT_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/zarncrt_core++)

# The checked libraries go to a directory of their own, where an unchanged
# application finds them through LD_LIBRARY_PATH instead of the normal ones.
set(ZARNCRT_LIBRARY_DIR ${CMAKE_INSTALL_LIBDIR})
if(ZARNCRT_CHECKED)
  set(ZARNCRT_LIBRARY_DIR ${CMAKE_INSTALL_LIBDIR}/zarncrt-checked)
endif()

install(TARGETS zarncrt_core zarncrt_core++
  EXPORT zarncrt_coreTargets
  LIBRARY DESTINATION ${ZARNCRT_LIBRARY_DIR} COMPONENT runtime NAMELINK_COMPONENT development
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
  INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/zarncrt_core++)

install(EXPORT zarncrt_coreTargets
  NAMESPACE zarncrt::
  FILE zarncrt_core++Targets.cmake
  DESTINATION ${ZARNCRT_CMAKE_DIR})

configure_package_config_file(${PROJECT_SOURCE_DIR}/cmake/zarncrt_core++Config.cmake.in
  ${PROJECT_BINARY_DIR}/zarncrt_core++Config.cmake
  INSTALL_DESTINATION ${ZARNCRT_CMAKE_DIR})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/zarncrt_core++ConfigVersion.cmake
  VERSION ${PROJECT_VERSION}
  COMPATIBILITY SameMajorVersion)
install(FILES
  ${PROJECT_BINARY_DIR}/zarncrt_core++Config.cmake
  ${PROJECT_BINARY_DIR}/zarncrt_core++ConfigVersion.cmake
  DESTINATION ${ZARNCRT_CMAKE_DIR})

# The .pc files name the prefix they are installed under as a plain absolute
# path (prefix=/usr in the packages), so that pkg-config prints clean flags
# such as -I/usr/include/zarncrt_core++. The prefix is the one of the install
# itself, not of the configure step: `cmake --install <dir> --prefix <p>`
# writes <p>. cpack installs into a staging directory under the packages'
# prefix, which packaging/CPackProjectConfig.cmake hands over in the
# environment variable ZARNCRT_PACKAGING_PREFIX. A tree moved after it was
# installed is found with `pkg-config --define-prefix` (lib/pkgconfig layout).
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/pkgconfig)
set(ZARNCRT_PC_PREFIX "@ZARNCRT_PC_PREFIX@")  # kept for the install step
foreach(pc zarncrt_core zarncrt_core++)
  configure_file(${PROJECT_SOURCE_DIR}/cmake/${pc}.pc.in ${PROJECT_BINARY_DIR}/pkgconfig/${pc}.pc.in @ONLY)
  install(CODE "
    if(DEFINED ENV{ZARNCRT_PACKAGING_PREFIX})
      set(ZARNCRT_PC_PREFIX \"\$ENV{ZARNCRT_PACKAGING_PREFIX}\")
    else()
      set(ZARNCRT_PC_PREFIX \"\${CMAKE_INSTALL_PREFIX}\")
    endif()
    configure_file(\"${PROJECT_BINARY_DIR}/pkgconfig/${pc}.pc.in\"
                   \"${PROJECT_BINARY_DIR}/pkgconfig/${pc}.pc\" @ONLY)")
  install(FILES ${PROJECT_BINARY_DIR}/pkgconfig/${pc}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

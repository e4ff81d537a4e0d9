# Debian packages made by CPack from the install rules, one per install
# component:
#   libzarncrt-core++2     both shared libraries (component "runtime")
#   libzarncrt-core++-dev  headers, .so links, pkg-config files, CMake package
#                          (component "development", the default below)
#   zarncrt-tools          wordindex and its manual page (component "tools")
#   libzarncrt-core++-doc  the HTML API reference, Architecture all (component
#                          "doc"; built when ZARNCRT_BUILD_DOCS is on, which
#                          it is by default in /usr builds with doxygen)
# A build configured with -DZARNCRT_CHECKED=ON makes one package instead:
#   libzarncrt-core++2-checked  the checked libraries in <libdir>/zarncrt-checked
#                          (component "runtime" of that build)
# Configure with -DCMAKE_INSTALL_PREFIX=/usr so that GNUInstallDirs picks the
# multiarch library directory, then `cmake --build <dir> --target package`.
# Included before the subdirectories so that their install rules without a
# COMPONENT argument (the headers) land in the -dev package.
#
# Adding a package: name it in ZARNCRT_DEB_<COMPONENT> and append its
# component to ZARNCRT_DEB_COMPONENTS below (that gives it the copyright
# file, the changelog and its lintian overrides, packaging/lintian/<name>),
# set its CPACK_DEBIAN_<COMPONENT>_* block at the end, and add it to the
# package table of scripts/check-packages.sh.

set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)

# Installed under /usr the libraries are in the linker's default search path:
# the $ORIGIN run paths that make a relocatable tree work are not wanted there.
if(CMAKE_INSTALL_PREFIX STREQUAL "/usr")
  set(CMAKE_SKIP_INSTALL_RPATH ON)
endif()

set(ZARNCRT_DEB_RUNTIME libzarncrt-core++${PROJECT_VERSION_MAJOR})
set(ZARNCRT_DEB_DEVELOPMENT libzarncrt-core++-dev)
set(ZARNCRT_DEB_TOOLS zarncrt-tools)
set(ZARNCRT_DEB_DOC libzarncrt-core++-doc)
# The components packaged, in the order of the table above.
set(ZARNCRT_DEB_COMPONENTS runtime development tools)
if(ZARNCRT_BUILD_DOCS)
  list(APPEND ZARNCRT_DEB_COMPONENTS doc)
endif()
if(ZARNCRT_CHECKED)
  set(ZARNCRT_DEB_RUNTIME_NORMAL ${ZARNCRT_DEB_RUNTIME})
  set(ZARNCRT_DEB_RUNTIME ${ZARNCRT_DEB_RUNTIME}-checked)
  set(ZARNCRT_DEB_COMPONENTS runtime)
endif()

# Every package carries its copyright notice and changelog; these files belong
# only to packages, not to a plain `cmake --install`.
set(ZARNCRT_DEB_CHANGELOG ${PROJECT_BINARY_DIR}/packaging/changelog.gz)
file(MAKE_DIRECTORY ${PROJECT_BINARY_DIR}/packaging)
add_custom_command(OUTPUT ${ZARNCRT_DEB_CHANGELOG}
  COMMAND gzip -n -9 -c ${PROJECT_SOURCE_DIR}/packaging/changelog > ${ZARNCRT_DEB_CHANGELOG}
  DEPENDS ${PROJECT_SOURCE_DIR}/packaging/changelog
  COMMENT "Compressing the package changelog")
add_custom_target(zarncrt_deb_changelog ALL DEPENDS ${ZARNCRT_DEB_CHANGELOG})
foreach(component ${ZARNCRT_DEB_COMPONENTS})
  string(TOUPPER ${component} upper)
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/copyright ${ZARNCRT_DEB_CHANGELOG}
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${ZARNCRT_DEB_${upper}}
    COMPONENT ${component} EXCLUDE_FROM_ALL)
  # Lintian findings the package accepts, each with its reason.
  if(EXISTS ${PROJECT_SOURCE_DIR}/packaging/lintian/${ZARNCRT_DEB_${upper}})
    install(FILES ${PROJECT_SOURCE_DIR}/packaging/lintian/${ZARNCRT_DEB_${upper}}
      DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/lintian/overrides
      COMPONENT ${component} EXCLUDE_FROM_ALL)
  endif()
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zarncrt-core++)
set(CPACK_PACKAGE_VENDOR "zarncrt_core++ developers")
set(CPACK_PACKAGE_CONTACT "zarncrt_core++ developers <zarncrt-core@lists.invalid>")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL ${ZARNCRT_DEB_COMPONENTS})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# A shlibs file for the package that has shared libraries (the runtime one);
# the symbols file beside it gives the finer, per-symbol versions.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")
# wordindex needs the library it is packaged beside: let dpkg-shlibdeps find
# it in the build tree (the dependency itself is declared below).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/core)

# Descriptions: the first line is the synopsis, the others the extended text
# (CPack indents them; an empty line separates paragraphs).
set(ZARNCRT_DEB_ABOUT
  "libzarncrt_core++ is the object-oriented companion of the runtime core library\n"
  "libzarncrt_core: a growable text buffer (CStringBuffer), a pointer list,\n"
  "stacks, a text-keyed hash map (QorStringMap), a levelled file logger and an\n"
  "in-memory B+ tree index with typed and composite keys.\n")
string(CONCAT ZARNCRT_DEB_ABOUT ${ZARNCRT_DEB_ABOUT})

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${ZARNCRT_DEB_RUNTIME})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA
  ${PROJECT_SOURCE_DIR}/packaging/symbols ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_STRICT_PERMISSION ON)
string(CONCAT CPACK_DEBIAN_RUNTIME_DESCRIPTION
  "C++ B+ tree index, text buffer, containers and logger - libraries\n"
  "${ZARNCRT_DEB_ABOUT}\n"
  "This package contains the shared libraries libzarncrt_core++.so.2 and\n"
  "libzarncrt_core.so.2.")

if(ZARNCRT_CHECKED)
  # Libraries in a directory of their own, which the dynamic loader searches
  # only when told to (LD_LIBRARY_PATH): no shlibs or symbols file, no
  # ldconfig trigger. The application is linked against the normal package,
  # which stays installed beside this one, at the same version.
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA)
  set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS OFF)
  set(CPACK_DEBIAN_RUNTIME_PACKAGE_DEPENDS "${ZARNCRT_DEB_RUNTIME_NORMAL} (= ${PROJECT_VERSION})")
  string(CONCAT CPACK_DEBIAN_RUNTIME_DESCRIPTION
    "C++ B+ tree index, text buffer, containers and logger - checked libraries\n"
    "${ZARNCRT_DEB_ABOUT}\n"
    "This package contains a checked build of libzarncrt_core++.so.2 and\n"
    "libzarncrt_core.so.2 in /usr/lib/<multiarch>/zarncrt-checked: the same\n"
    "interface, with checks of the libraries' ownership rules (keys a tree holds,\n"
    "stale cursors, items and buffers used after they moved, blocks freed twice).\n"
    "A misuse is reported on standard error with a backtrace. Run an unchanged\n"
    "application on it with LD_LIBRARY_PATH=/usr/lib/<multiarch>/zarncrt-checked.")
endif()

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${ZARNCRT_DEB_DEVELOPMENT})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${ZARNCRT_DEB_RUNTIME} (= ${PROJECT_VERSION})")
if(ZARNCRT_BUILD_DOCS)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS ${ZARNCRT_DEB_DOC})
endif()
string(CONCAT CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION
  "C++ B+ tree index, text buffer, containers and logger - development files\n"
  "${ZARNCRT_DEB_ABOUT}\n"
  "This package contains the headers, the pkg-config files zarncrt_core.pc and\n"
  "zarncrt_core++.pc and the CMake package zarncrt_core++ (zarncrt::core++).")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME ${ZARNCRT_DEB_TOOLS})
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS "${ZARNCRT_DEB_RUNTIME} (>= ${PROJECT_VERSION})")
string(CONCAT CPACK_DEBIAN_TOOLS_DESCRIPTION
  "word index demo program for libzarncrt_core++\n"
  "wordindex indexes the words of text files in a B+ tree and prints a summary,\n"
  "the most frequent words, exact and prefix searches and ranges of words.")

# Pages only: one package serves every architecture.
set(CPACK_DEBIAN_DOC_PACKAGE_NAME ${ZARNCRT_DEB_DOC})
set(CPACK_DEBIAN_DOC_PACKAGE_SECTION doc)
set(CPACK_DEBIAN_DOC_PACKAGE_ARCHITECTURE all)
string(CONCAT CPACK_DEBIAN_DOC_DESCRIPTION
  "C++ B+ tree index, text buffer, containers and logger - API reference\n"
  "${ZARNCRT_DEB_ABOUT}\n"
  "This package contains the API reference in HTML, made with Doxygen from the\n"
  "headers of ${ZARNCRT_DEB_DEVELOPMENT}, in\n"
  "/usr/share/doc/${ZARNCRT_DEB_DOC}/html/index.html.")

# Packages made from a build configured for another prefix would put the
# libraries outside the multiarch directory: cpack refuses such a tree.
if(CMAKE_LIBRARY_ARCHITECTURE AND CMAKE_INSTALL_LIBDIR STREQUAL "lib/${CMAKE_LIBRARY_ARCHITECTURE}")
  set(CPACK_ZARNCRT_MULTIARCH_LIBDIR ON)
else()
  set(CPACK_ZARNCRT_MULTIARCH_LIBDIR OFF)
endif()
set(CPACK_ZARNCRT_LIBDIR ${CMAKE_INSTALL_LIBDIR})
set(CPACK_PROJECT_CONFIG_FILE ${PROJECT_SOURCE_DIR}/packaging/CPackProjectConfig.cmake)

include(CPack)

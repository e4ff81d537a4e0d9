# The API reference: the `docs` target runs Doxygen (docs/Doxyfile.in) over
# the installed public headers (zarncrt_public_headers) and the pages of
# docs/ into <build>/docs/html. Every warning is an error, an undocumented
# public class or operation included. checks.docs builds the target; with
# ZARNCRT_BUILD_DOCS the target is part of `all` and the HTML is installed
# into the -doc package (component "doc", see cmake/Packaging.cmake).

get_property(ZARNCRT_DOC_HEADERS GLOBAL PROPERTY ZARNCRT_PUBLIC_HEADERS)
file(GLOB ZARNCRT_DOC_PAGES CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/docs/*.md)
list(SORT ZARNCRT_DOC_PAGES)
set(ZARNCRT_DOC_DIR ${PROJECT_BINARY_DIR}/docs)
set(ZARNCRT_DOC_STAMP ${ZARNCRT_DOC_DIR}/html.stamp)

if(NOT ZARNCRT_DOXYGEN)
  add_custom_target(docs
    COMMAND ${CMAKE_COMMAND} -E echo "docs: doxygen not found (Debian package doxygen)"
    COMMAND ${CMAKE_COMMAND} -E false
    VERBATIM)
  return()
endif()

# Doxygen takes a list of quoted paths.
set(ZARNCRT_DOXYGEN_INPUT "")
foreach(path ${ZARNCRT_DOC_HEADERS} ${ZARNCRT_DOC_PAGES})
  string(APPEND ZARNCRT_DOXYGEN_INPUT " \\\n    \"${path}\"")
endforeach()
configure_file(${PROJECT_SOURCE_DIR}/docs/Doxyfile.in ${ZARNCRT_DOC_DIR}/Doxyfile @ONLY)

# The stamp is written only when doxygen succeeds (no warning), so a failed
# run is repeated by the next build; the old pages go first, so no page of a
# removed class stays behind.
add_custom_command(OUTPUT ${ZARNCRT_DOC_STAMP}
  COMMAND ${CMAKE_COMMAND} -E rm -rf ${ZARNCRT_DOC_DIR}/html ${ZARNCRT_DOC_STAMP}
  COMMAND ${ZARNCRT_DOXYGEN} ${ZARNCRT_DOC_DIR}/Doxyfile
  COMMAND ${CMAKE_COMMAND} -E touch ${ZARNCRT_DOC_STAMP}
  DEPENDS ${ZARNCRT_DOC_HEADERS} ${ZARNCRT_DOC_PAGES} ${ZARNCRT_DOC_DIR}/Doxyfile
  WORKING_DIRECTORY ${ZARNCRT_DOC_DIR}
  COMMENT "API reference (Doxygen): ${ZARNCRT_DOC_DIR}/html/index.html"
  VERBATIM)
if(ZARNCRT_BUILD_DOCS)
  add_custom_target(docs ALL DEPENDS ${ZARNCRT_DOC_STAMP})
  install(DIRECTORY ${ZARNCRT_DOC_DIR}/html/
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc/${ZARNCRT_DEB_DOC}/html
    COMPONENT doc EXCLUDE_FROM_ALL)
  # Registers the pages with doc-base (the documentation browsers' index).
  install(FILES ${PROJECT_SOURCE_DIR}/packaging/doc-base
    DESTINATION ${CMAKE_INSTALL_DATAROOTDIR}/doc-base RENAME ${ZARNCRT_DEB_DOC}
    COMPONENT doc EXCLUDE_FROM_ALL)
else()
  add_custom_target(docs DEPENDS ${ZARNCRT_DOC_STAMP})
endif()

# The manual of the client, in docs/man of the build folder.
set(manual ${PROJECT_BINARY_DIR}/docs/man)
include(cmake/ManualPages.cmake)
file(GLOB sources CONFIGURE_DEPENDS docs/man/*.[1-8].in docs/man/parts/*.man)  # a new one configures anew, a changed one as well
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${sources})
foreach(page IN LISTS pages)
  get_filename_component(name ${page} NAME_WLE)
  string(REGEX MATCH "[1-8]$" section ${name})
  install(FILES ${manual}/${name} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section} COMPONENT client)
endforeach()

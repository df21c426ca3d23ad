# The manual: the pages docs/man/NAME.SECTION.in become docs/man/NAME.SECTION of the build folder. What several pages have in
# common stands once, in docs/man/parts: @OPTIONS_OUTPUT@ in a page is parts/options_output.man.
set(MAN_DATE 2026-11-22)  # of the last change

set(manual ${PROJECT_BINARY_DIR}/docs/man)
file(GLOB parts CONFIGURE_DEPENDS docs/man/parts/*.man)
foreach(part IN LISTS parts)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${part})
  get_filename_component(name ${part} NAME_WE)
  string(TOUPPER ${name} name)
  file(READ ${part} ${name})
  string(STRIP "${${name}}" ${name})  # a blank line would be one on the page
endforeach()

file(GLOB pages CONFIGURE_DEPENDS docs/man/*.[1-8].in)
foreach(page IN LISTS pages)
  get_filename_component(name ${page} NAME_WLE)
  configure_file(${page} ${manual}/${name} @ONLY)
  string(REGEX MATCH "[1-8]$" section ${name})
  install(FILES ${manual}/${name} DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section})
endforeach()

# Writes the pages docs/man/NAME.SECTION.in as NAME.SECTION into the folder `manual`. What several pages have in common stands once, in
# docs/man/parts: @OPTIONS_OUTPUT@ in a page is parts/options_output.man.
# Works without a project as well: cmake -D manual=FOLDER -P cmake/ManualPages.cmake (then pages name neither version nor date).
set(source ${CMAKE_CURRENT_LIST_DIR}/../docs/man)
file(GLOB parts ${source}/parts/*.man)
foreach(part IN LISTS parts)
  get_filename_component(name ${part} NAME_WE)
  string(TOUPPER ${name} name)
  file(READ ${part} ${name})
  string(STRIP "${${name}}" ${name})  # a blank line would be one on the page
  string(CONFIGURE "${${name}}" ${name} @ONLY)  # parts of parts, which come before them by name
endforeach()

file(GLOB pages ${source}/*.[1-8].in)
foreach(page IN LISTS pages)
  get_filename_component(name ${page} NAME_WLE)
  configure_file(${page} ${manual}/${name} @ONLY)
endforeach()

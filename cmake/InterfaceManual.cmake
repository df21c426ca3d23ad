# Section 3 of the manual, written from the header of the C interface by docs/man/interface.py into docs/man of the build folder.
find_program(QOR_PYTHON NAMES python3 PATHS /usr/bin NO_DEFAULT_PATH)
if(NOT QOR_PYTHON)
  message(STATUS "No /usr/bin/python3: section 3 of the manual is left out")
  return()
endif()

set(manual ${PROJECT_BINARY_DIR}/docs/man)
set(header ${PROJECT_SOURCE_DIR}/include/qor_api_trace.h)
set(script ${PROJECT_SOURCE_DIR}/docs/man/interface.py)
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${header} ${script})
execute_process(
  COMMAND ${QOR_PYTHON} -B ${script} ${header} ${manual} ${PROJECT_VERSION} ${MAN_DATE}
  OUTPUT_VARIABLE pages OUTPUT_STRIP_TRAILING_WHITESPACE
  COMMAND_ERROR_IS_FATAL ANY)
string(REPLACE "\n" ";" pages "${pages}")
list(TRANSFORM pages PREPEND ${manual}/)
install(FILES ${pages} DESTINATION ${CMAKE_INSTALL_MANDIR}/man3 COMPONENT development)

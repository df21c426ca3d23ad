# What is installed, and where; in brackets the component (cmake --install BUILD --component NAME), without which all is installed:
#
#   lib/libqor_api_trace.so.2          the trace library [runtime]
#   lib/qor-sim/libqor_api.so.2        the simulator, in a place of its own: it has the SONAME of the real hardware
#                                      library and must never be found in its stead by accident [simulator]
#   lib/pkgconfig, lib/cmake           qor_api_trace (and qor_sim) for those who build against them [development, simulator]
#   include/qor_api_trace.h            the C interface [development]
#   include/qor_adapter.h              how others make interfaces of theirs known to the client [development]
#   include/qor_api_trace/             the C++ headers, by the names that they have in src/ [development]
#   include/qor-sim/qor_sim.h          the simulator's own calls [simulator]
#   bin/qor-trace                      the client; it uses the simulator, which it finds by its run path, or another hardware
#                                      library that it is given [client]
#   bin/qor-trace-capture              opens capture sockets for it where it may not itself [client]
#   lib/qor-trace/libqor-trace-client.so   all of the client but the choice of that library [client]
#   share/man                          its manual [client], and that of the C interface: section 3 [development]
#   share/bash-completion, zsh, fish   what their shells offer while its command line is typed [client]
#   share/doc                          texts and examples [documentation]
include(CMakePackageConfigHelpers)

set(simulator_dir ${CMAKE_INSTALL_LIBDIR}/qor-sim)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qor_api_trace)

install(TARGETS qor_api_trace EXPORT qor_api_trace
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT development)
install(TARGETS qor_api EXPORT qor_sim LIBRARY DESTINATION ${simulator_dir} COMPONENT simulator)
set_target_properties(qor_api PROPERTIES EXPORT_NAME simulator INTERFACE_INCLUDE_DIRECTORIES
  "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/hardware/simulator>;$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/qor-sim>")

install(FILES include/qor_api_trace.h include/qor_adapter.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
install(FILES hardware/simulator/qor_sim.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qor-sim COMPONENT simulator)
# The C++ interface: the MDF classes, the ASC writer, what their headers lean on, and the platform helpers.
set(headers ${CMAKE_INSTALL_INCLUDEDIR}/qor_api_trace)
# The queue of the workers is nobody else's: it leans on what is not installed.
install(DIRECTORY src/mdf DESTINATION ${headers} COMPONENT development
        FILES_MATCHING PATTERN "*.h" PATTERN "PackQueue.h" EXCLUDE)
install(FILES src/export/AscLineState.h src/export/ExportFile.h src/export/Qor_Trace_AscTarget.h
              src/export/Qor_Trace_Export_ASC.h
        DESTINATION ${headers}/export COMPONENT development)
install(FILES src/internal/FileDescriptor.h src/internal/Qor_Trace_Exception.h src/internal/Span.h
              src/internal/Visibility.h src/internal/qor_internal.h
        DESTINATION ${headers}/internal COMPONENT development)
install(FILES src/record/Qor_Trace_Entry.h src/record/Qor_Trace_EntryStore.h src/record/RecordKind.h
              src/record/RecordSegment.h src/record/RecordView.h
        DESTINATION ${headers}/record COMPONENT development)

# The pkg-config files find everything from where they lie, so that the installation can be moved as a whole.
file(RELATIVE_PATH prefix_from_pkgconfig /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/qor_api_trace.pc.in ${PROJECT_BINARY_DIR}/qor_api_trace.pc @ONLY)
configure_file(cmake/qor_sim.pc.in ${PROJECT_BINARY_DIR}/qor_sim.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qor_api_trace.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
install(FILES ${PROJECT_BINARY_DIR}/qor_sim.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT simulator)

configure_package_config_file(cmake/qor_api_traceConfig.cmake.in ${PROJECT_BINARY_DIR}/qor_api_traceConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qor_api_traceConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qor_api_traceConfig.cmake ${PROJECT_BINARY_DIR}/qor_api_traceConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT development)
install(EXPORT qor_api_trace NAMESPACE qor_api_trace:: DESTINATION ${package_dir} FILE qor_api_traceTargets.cmake
        COMPONENT development)
install(EXPORT qor_sim NAMESPACE qor_api_trace:: DESTINATION ${package_dir} FILE qor_simTargets.cmake COMPONENT simulator)

set(MAN_DATE 2026-11-22)  # of the manual's last change
include(cmake/InterfaceManual.cmake)
if(QOR_BUILD_CLIENT)
  set(program_dir ${CMAKE_INSTALL_LIBDIR}/qor-trace)
  set_target_properties(qor-trace PROPERTIES INSTALL_RPATH "$ORIGIN/../${program_dir};$ORIGIN/../${simulator_dir}")
  set_target_properties(qor_trace_program PROPERTIES INSTALL_RPATH "$ORIGIN/..")
  install(TARGETS qor_trace_program LIBRARY DESTINATION ${program_dir} COMPONENT client)
  install(TARGETS qor-trace qor-trace-capture RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT client)
  include(cmake/Manual.cmake)
  set(completion tools/qor-trace/completion)
  set(QOR_ZSH_COMPLETION_DIR ${CMAKE_INSTALL_DATADIR}/zsh/site-functions CACHE PATH "Where zsh finds completions")
  install(FILES ${completion}/qor-trace.bash DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          RENAME qor-trace COMPONENT client)
  install(FILES ${completion}/_qor-trace DESTINATION ${QOR_ZSH_COMPLETION_DIR} COMPONENT client)
  install(FILES ${completion}/qor-trace.fish DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d COMPONENT client)
endif()
install(FILES README.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
file(GLOB texts CONFIGURE_DEPENDS docs/*.md)
install(FILES ${texts} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT documentation)
install(DIRECTORY docs/images DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs COMPONENT documentation)
# The examples as a project that builds alone; one of them takes a header along that is the client's.
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT documentation)
install(FILES tools/qor-trace/recording/TraceDrain.h DESTINATION ${CMAKE_INSTALL_DOCDIR}/examples/recording
        COMPONENT documentation)

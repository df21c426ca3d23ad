# What is installed, and where:
#
#   lib/libqor_api_trace.so.2          the trace library
#   lib/qor-sim/libqor_api.so.2        the simulator, in a place of its own: it has the SONAME of the real hardware
#                                      library and must never be found in its stead by accident
#   lib/pkgconfig, lib/cmake           qor_api_trace (and qor_sim) for those who build against them
#   include/qor_api_trace.h            the C interface
#   include/qor_api_trace/             the C++ headers, by the names that they have in src/
#   include/qor-sim/qor_sim.h          the simulator's own calls
#   bin/qor-trace-capture              opens capture sockets for it where it may not itself
#   bin/qor-trace                      the client; it uses the simulator and finds it by its run path
#   share/man, share/doc
include(CMakePackageConfigHelpers)

set(simulator_dir ${CMAKE_INSTALL_LIBDIR}/qor-sim)
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/qor_api_trace)

install(TARGETS qor_api_trace EXPORT qor_api_trace LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
install(TARGETS qor_api EXPORT qor_api_trace LIBRARY DESTINATION ${simulator_dir})
set_target_properties(qor_api PROPERTIES EXPORT_NAME simulator INTERFACE_INCLUDE_DIRECTORIES
  "$<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/hardware/simulator>;$<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}/qor-sim>")

install(FILES include/qor_api_trace.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(FILES hardware/simulator/qor_sim.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/qor-sim)
# The C++ interface: the MDF classes, the ASC writer, what their headers lean on, and the platform helpers.
set(headers ${CMAKE_INSTALL_INCLUDEDIR}/qor_api_trace)
# The queue of the workers is nobody else's: it leans on what is not installed.
install(DIRECTORY src/mdf DESTINATION ${headers} FILES_MATCHING PATTERN "*.h" PATTERN "PackQueue.h" EXCLUDE)
install(FILES src/export/AscLineState.h src/export/ExportFile.h src/export/Qor_Trace_AscTarget.h
              src/export/Qor_Trace_Export_ASC.h
        DESTINATION ${headers}/export)
install(FILES src/internal/FileDescriptor.h src/internal/Visibility.h src/internal/qor_internal.h src/internal/Qor_Trace_Exception.h
        DESTINATION ${headers}/internal)
install(FILES src/record/Qor_Trace_Entry.h src/record/Qor_Trace_EntryStore.h src/record/RecordKind.h src/record/RecordSegment.h src/record/RecordView.h
        DESTINATION ${headers}/record)

# The pkg-config files find everything from where they lie, so that the installation can be moved as a whole.
file(RELATIVE_PATH prefix_from_pkgconfig /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
configure_file(cmake/qor_api_trace.pc.in ${PROJECT_BINARY_DIR}/qor_api_trace.pc @ONLY)
configure_file(cmake/qor_sim.pc.in ${PROJECT_BINARY_DIR}/qor_sim.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/qor_api_trace.pc ${PROJECT_BINARY_DIR}/qor_sim.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

configure_package_config_file(cmake/qor_api_traceConfig.cmake.in ${PROJECT_BINARY_DIR}/qor_api_traceConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/qor_api_traceConfigVersion.cmake
                                 COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/qor_api_traceConfig.cmake ${PROJECT_BINARY_DIR}/qor_api_traceConfigVersion.cmake
        DESTINATION ${package_dir})
install(EXPORT qor_api_trace NAMESPACE qor_api_trace:: DESTINATION ${package_dir} FILE qor_api_traceTargets.cmake)

if(TARGET qor-trace)
  set_target_properties(qor-trace PROPERTIES INSTALL_RPATH
                        "$ORIGIN/../${CMAKE_INSTALL_LIBDIR};$ORIGIN/../${simulator_dir}")
  install(TARGETS qor-trace qor-trace-capture RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()

include(cmake/Manual.cmake)
install(FILES README.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
file(GLOB texts CONFIGURE_DEPENDS docs/*.md)
install(FILES ${texts} DESTINATION ${CMAKE_INSTALL_DOCDIR}/docs)

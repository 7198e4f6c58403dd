# Install rules of the library, its headers, the CMake package and the pkg-config file
# (included when QUORVI_INSTALL is on).
include(CMakePackageConfigHelpers)
install(TARGETS quorviftp quorviftp_shared EXPORT QuorviFtpTargets
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT library)
if(QUORVI_QT_ON)
  install(DIRECTORY include/quorvi DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT library)
else()
  install(DIRECTORY include/quorvi DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT library
    PATTERN qt_user_interface.h EXCLUDE)
endif()
install(EXPORT QuorviFtpTargets NAMESPACE QuorviFtp::
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QuorviFtp COMPONENT library)
# The qt component has an export file of its own: find_package(QuorviFtp COMPONENTS qt)
# loads it (and Qt) only when asked for.
if(QUORVI_QT_ON)
  install(TARGETS quorviftp_qt EXPORT QuorviFtpQtTargets ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT library)
  install(EXPORT QuorviFtpQtTargets NAMESPACE QuorviFtp::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QuorviFtp COMPONENT library)
endif()
configure_package_config_file(cmake/QuorviFtpConfig.cmake.in
  ${CMAKE_CURRENT_BINARY_DIR}/QuorviFtpConfig.cmake
  INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QuorviFtp)
write_basic_package_version_file(${CMAKE_CURRENT_BINARY_DIR}/QuorviFtpConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/QuorviFtpConfig.cmake
  ${CMAKE_CURRENT_BINARY_DIR}/QuorviFtpConfigVersion.cmake
  DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/QuorviFtp COMPONENT library)
# pkg-config: paths relative to the installed .pc file (${pcfiledir}), so the file is right
# for any prefix given at install time and any libdir depth (lib, lib64, lib/x86_64-linux-gnu);
# an absolute libdir or includedir is written as it is.
if(IS_ABSOLUTE "${CMAKE_INSTALL_LIBDIR}" OR IS_ABSOLUTE "${CMAKE_INSTALL_INCLUDEDIR}")
  set(QUORVI_PC_PREFIX "${CMAKE_INSTALL_PREFIX}")
  set(QUORVI_PC_LIBDIR "${CMAKE_INSTALL_FULL_LIBDIR}")
  set(QUORVI_PC_INCLUDEDIR "${CMAKE_INSTALL_FULL_INCLUDEDIR}")
else()
  file(RELATIVE_PATH quorvi_pc_up ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig ${CMAKE_INSTALL_PREFIX})
  string(REGEX REPLACE "/$" "" quorvi_pc_up "${quorvi_pc_up}")
  set(QUORVI_PC_PREFIX "\${pcfiledir}/${quorvi_pc_up}")
  set(QUORVI_PC_LIBDIR "\${prefix}/${CMAKE_INSTALL_LIBDIR}")
  set(QUORVI_PC_INCLUDEDIR "\${prefix}/${CMAKE_INSTALL_INCLUDEDIR}")
endif()
configure_file(cmake/quorviftp.pc.in ${CMAKE_CURRENT_BINARY_DIR}/quorviftp.pc @ONLY)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/quorviftp.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
  COMPONENT library)


# cmake --install: the header, the library with its soname links, and on a
# PC the host platform libraries, kestd, kestctl and vg-mgmt, with a
# pkg-config file and a CMake package (find_package(vg_mgmt_client)).
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(FILES include/vg_mgmt_client.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})

set(VG_INSTALL_LIBS vg_mgmt_client)
if(VG_BUILD_HOST)
  list(APPEND VG_INSTALL_LIBS qmi_cci vg_log vg_manager_msgr)
  install(TARGETS kestd kestctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
install(TARGETS ${VG_INSTALL_LIBS} EXPORT vg_mgmt_clientTargets
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
install(TARGETS vg-mgmt RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})

install(EXPORT vg_mgmt_clientTargets NAMESPACE vg_mgmt::
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vg_mgmt_client)
configure_package_config_file(cmake/vg_mgmt_clientConfig.cmake.in
    ${CMAKE_BINARY_DIR}/vg_mgmt_clientConfig.cmake
    INSTALL_DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vg_mgmt_client)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/vg_mgmt_clientConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/vg_mgmt_clientConfig.cmake
              ${CMAKE_BINARY_DIR}/vg_mgmt_clientConfigVersion.cmake
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/vg_mgmt_client)

# The .pc file finds its prefix from its own place, so the tree can move.
file(RELATIVE_PATH VG_PC_UP /x/${CMAKE_INSTALL_LIBDIR}/pkgconfig /x)
configure_file(cmake/vg_mgmt_client.pc.in ${CMAKE_BINARY_DIR}/vg_mgmt_client.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/vg_mgmt_client.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

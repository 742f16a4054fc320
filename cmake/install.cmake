# cmake --install, in four components that are also the Debian packages:
#   runtime  the library with its soname link                 libvg-mgmt-client1
#   dev      header, .so link, pkg-config file, CMake package,
#            libvg_mgmt_client(3) and the example               libvg-mgmt-client-dev
#   tool     vg-mgmt, its manual page and bash completion      vg-mgmt
#   sim      kestd, kestctl, vg-sim-run and the host platform   vg-mgmt-sim
#
# The host platform's libraries carry the sonames of the module's own
# (libqmi_cci.so.1, libvg_log.so.1, libvg_manager_msgr.so.1), so they never go
# where the dynamic loader looks by default: they live in VG_HOST_LIBDIR, a
# private folder. vg-mgmt finds them there through its RUNPATH, relative to
# its own place ($ORIGIN), so an installed tree can move; an application runs
# against them through vg-sim-run. The library itself has no RUNPATH: on the
# module it loads the platform's libraries, whatever else is installed.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

set(VG_HOST_LIBDIR ${CMAKE_INSTALL_LIBDIR}/vg_mgmt/host)
# Documentation goes where Debian wants it: one folder per package.
set(VG_DOCDIR ${CMAKE_INSTALL_DATADIR}/doc)

# A path from one installed folder to another, both relative to the prefix.
function(vg_relative_path out from to)
  file(RELATIVE_PATH rel /x/${from} /x/${to})
  set(${out} ${rel} PARENT_SCOPE)
endfunction()

# --- runtime and dev --------------------------------------------------------
install(TARGETS vg_mgmt_client
        LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev)
install(FILES include/vg_mgmt_client.h DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)

# The CMake package declares its imported target itself: an exported target
# would name the host platform's libraries, which on the module are the
# platform image's own and belong to no package of this project.
set(vg_cmake_dir ${CMAKE_INSTALL_LIBDIR}/cmake/vg_mgmt_client)
set(VG_LIBRARY_FILE ${CMAKE_INSTALL_LIBDIR}/libvg_mgmt_client.so.${PROJECT_VERSION_MAJOR})
configure_package_config_file(cmake/vg_mgmt_clientConfig.cmake.in
    ${CMAKE_BINARY_DIR}/vg_mgmt_clientConfig.cmake
    INSTALL_DESTINATION ${vg_cmake_dir}
    PATH_VARS VG_HOST_LIBDIR VG_LIBRARY_FILE CMAKE_INSTALL_INCLUDEDIR)
write_basic_package_version_file(${CMAKE_BINARY_DIR}/vg_mgmt_clientConfigVersion.cmake
    COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_BINARY_DIR}/vg_mgmt_clientConfig.cmake
              ${CMAKE_BINARY_DIR}/vg_mgmt_clientConfigVersion.cmake
        DESTINATION ${vg_cmake_dir} COMPONENT dev)

# The .pc file finds its prefix from its own place, so the tree can move.
vg_relative_path(VG_PC_UP ${CMAKE_INSTALL_LIBDIR}/pkgconfig .)
configure_file(cmake/vg_mgmt_client.pc.in ${CMAKE_BINARY_DIR}/vg_mgmt_client.pc @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/vg_mgmt_client.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

install(FILES examples/vg_mgmt_example.c examples/CMakeLists.txt
        DESTINATION ${VG_DOCDIR}/libvg-mgmt-client-dev/examples COMPONENT dev)

# --- tool -------------------------------------------------------------------
# vg-mgmt names the platform's libraries itself, so that its RUNPATH (which,
# unlike an RPATH, serves only the program's own DT_NEEDED) finds them.
vg_relative_path(vg_bin_to_lib ${CMAKE_INSTALL_BINDIR} ${CMAKE_INSTALL_LIBDIR})
vg_relative_path(vg_bin_to_host ${CMAKE_INSTALL_BINDIR} ${VG_HOST_LIBDIR})
# vg-mgmt and vg-webd are applications of the library: on a PC they load the
# host platform from its private folder.
set(vg_apps vg-mgmt)
if(TARGET vg-webd)
  list(APPEND vg_apps vg-webd)
endif()
foreach(app IN LISTS vg_apps)
  if(VG_BUILD_HOST)
    # By file, not by target, so that CMake keeps them inside the block.
    target_link_libraries(${app} PRIVATE -Wl,--push-state,--no-as-needed $<TARGET_LINKER_FILE:qmi_cci>
                          $<TARGET_LINKER_FILE:vg_log> $<TARGET_LINKER_FILE:vg_manager_msgr> -Wl,--pop-state)
    add_dependencies(${app} qmi_cci vg_log vg_manager_msgr)
    set_target_properties(${app} PROPERTIES
        INSTALL_RPATH "$ORIGIN/${vg_bin_to_host};$ORIGIN/${vg_bin_to_lib}")
  else()
    set_target_properties(${app} PROPERTIES INSTALL_RPATH "$ORIGIN/${vg_bin_to_lib}")
  endif()
endforeach()
install(TARGETS vg-mgmt RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)

# --- webd -------------------------------------------------------------------
# The web console, its page and its service: root, for the module's state
# folder, with everything else taken away (packaging/systemd/vg-webd.service).
if(TARGET vg-webd)
  install(TARGETS vg-webd RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT webd)
  install(DIRECTORY tools/web/www/ DESTINATION ${CMAKE_INSTALL_DATADIR}/vg-webd/www COMPONENT webd
          FILE_PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)
  install(FILES packaging/systemd/vg-webd.service DESTINATION lib/systemd/system COMPONENT webd)
endif()

# --- sim --------------------------------------------------------------------
if(VG_BUILD_HOST)
  install(TARGETS qmi_cci vg_log vg_manager_msgr
          LIBRARY DESTINATION ${VG_HOST_LIBDIR} COMPONENT sim NAMELINK_SKIP)
  install(TARGETS kestd kestctl RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT sim)

  # vg-sim-run COMMAND...: COMMAND with the host platform and the library of
  # this tree on its library path.
  set(VG_SIM_RUN_TO_HOST ${vg_bin_to_host})
  set(VG_SIM_RUN_TO_LIB ${vg_bin_to_lib})
  configure_file(cmake/vg-sim-run.in ${CMAKE_BINARY_DIR}/vg-sim-run @ONLY)
  install(PROGRAMS ${CMAKE_BINARY_DIR}/vg-sim-run
          DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT sim)
  install(FILES host/kestd/README.md
          DESTINATION ${VG_DOCDIR}/vg-mgmt-sim COMPONENT sim)
  # kestd as a service: socket activation, for the system (state in
  # /var/lib/kestd) and for each user (systemctl --user).
  install(FILES packaging/systemd/kestd.service packaging/systemd/kestd.socket
          DESTINATION lib/systemd/system COMPONENT sim)
  install(FILES packaging/systemd/user/kestd.service packaging/systemd/user/kestd.socket
          DESTINATION lib/systemd/user COMPONENT sim)
endif()

# Debian packages with CPack (cpack -G DEB in a build configured with
# -DCMAKE_INSTALL_PREFIX=/usr, so that the library goes to the multiarch
# folder; scripts/packages.sh does it all):
#   libvg-mgmt-client1     component runtime
#   libvg-mgmt-client-dev  component dev
#   vg-mgmt                component tool
#   vg-mgmt-sim            component sim (host builds)
#   ansible-vg-mgmt        component ansible (host builds; architecture all)
# Depends comes from dpkg-shlibdeps. A cross build finds the target's C and
# C++ libraries in the cross toolchain's folder (libc6-armhf-cross ships
# their shlibs files), and the package names those files give are mapped to
# the target's own: see cmake/deb_cross_shlibdeps.in.

# The Debian architecture of the build's target, from the compiler's triplet.
if(NOT VG_DEB_ARCH)
  execute_process(COMMAND ${CMAKE_C_COMPILER} -dumpmachine
                  OUTPUT_VARIABLE vg_triplet OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(vg_deb_arches x86_64-linux-gnu=amd64 arm-linux-gnueabihf=armhf aarch64-linux-gnu=arm64
                    i686-linux-gnu=i386)
  set(vg_arch "")
  foreach(row IN LISTS vg_deb_arches)
    if(row MATCHES "^${vg_triplet}=(.*)$")
      set(vg_arch ${CMAKE_MATCH_1})
    endif()
  endforeach()
  if(vg_arch)
    set(VG_DEB_ARCH ${vg_arch} CACHE STRING "Debian architecture of the packages")
  else()
    message(STATUS "No Debian architecture known for ${vg_triplet}: set VG_DEB_ARCH to package")
  endif()
endif()

set(vg_pkg_doc ${CMAKE_BINARY_DIR}/packaging)
set(vg_components runtime dev tool)
set(vg_packages libvg-mgmt-client1 libvg-mgmt-client-dev vg-mgmt)
if(TARGET vg-webd)
  list(APPEND vg_components webd)
  list(APPEND vg_packages vg-webd)
endif()
if(VG_BUILD_HOST)
  list(APPEND vg_components sim ansible)
  list(APPEND vg_packages vg-mgmt-sim ansible-vg-mgmt)
  # The vg.mgmt collection where Ansible looks for collections by default.
  install(DIRECTORY ansible/collections/ansible_collections/vg/mgmt
          DESTINATION ${CMAKE_INSTALL_DATADIR}/ansible/collections/ansible_collections/vg
          COMPONENT ansible USE_SOURCE_PERMISSIONS PATTERN __pycache__ EXCLUDE)
endif()

# Every package carries its copyright, its changelog (gzip -9n) and, where
# lintian has something to say that is right for this package, its overrides.
foreach(component package IN ZIP_LISTS vg_components vg_packages)
  set(VG_PACKAGE ${package})
  configure_file(packaging/changelog.in ${vg_pkg_doc}/${package}/changelog @ONLY)
  execute_process(COMMAND ${VG_GZIP} -9nf ${vg_pkg_doc}/${package}/changelog)
  install(FILES packaging/copyright ${vg_pkg_doc}/${package}/changelog.gz
          DESTINATION ${VG_DOCDIR}/${package} COMPONENT ${component})
  if(EXISTS ${PROJECT_SOURCE_DIR}/packaging/${package}.lintian-overrides)
    install(FILES packaging/${package}.lintian-overrides
            DESTINATION ${CMAKE_INSTALL_DATADIR}/lintian/overrides RENAME ${package}
            COMPONENT ${component})
  endif()
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vg-mgmt-client)
set(CPACK_PACKAGE_VENDOR "vg_mgmt_client developers")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "vg_mgmt_client developers <vg-mgmt-client@example.org>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL ${vg_components})
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${VG_DEB_ARCH})
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

# dpkg-shlibdeps: the libraries of this build are found in the build tree
# (the host platform's carry no dependency information, on purpose: on the
# module they are the platform image's own).
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR})
if(VG_BUILD_HOST)
  list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${CMAKE_BINARY_DIR}/host/platform)
endif()
if(CMAKE_CROSSCOMPILING)
  foreach(root IN LISTS CMAKE_FIND_ROOT_PATH)
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${root}/lib)
  endforeach()
  configure_file(cmake/deb_cross_shlibdeps.in ${vg_pkg_doc}/dpkg-shlibdeps @ONLY
                 FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
                                  GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  configure_file(cmake/cpack_cross.cmake.in ${vg_pkg_doc}/cpack_cross.cmake @ONLY)
  set(CPACK_PROJECT_CONFIG_FILE ${vg_pkg_doc}/cpack_cross.cmake)
endif()

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libvg-mgmt-client1)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
# The shlibs and symbols files, and the ldconfig trigger in place of the
# ldconfig calls that CPack would write into postinst and postrm (which
# therefore do nothing).
set(vg_runtime_control ${PROJECT_SOURCE_DIR}/packaging/libvg-mgmt-client1)
set(vg_runtime_gen ${vg_pkg_doc}/libvg-mgmt-client1)
configure_file(${vg_runtime_control}/shlibs.in ${vg_runtime_gen}/shlibs @ONLY)
foreach(script postinst postrm)
  configure_file(${vg_runtime_control}/maintscript ${vg_runtime_gen}/${script} COPYONLY
                 FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
                                  GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endforeach()
# The symbols file: every name of the version script, there since 1.0.0.
file(STRINGS src/vg_mgmt_client.map vg_map_lines REGEX "^ +[a-z_]+;$")
set(vg_symbols "libvg_mgmt_client.so.${PROJECT_VERSION_MAJOR} libvg-mgmt-client1 #MINVER#\n")
string(APPEND vg_symbols "* Build-Depends-Package: libvg-mgmt-client-dev\n")
foreach(line IN LISTS vg_map_lines)
  string(STRIP "${line}" line)
  string(REPLACE ";" "" symbol "${line}")
  string(APPEND vg_symbols " ${symbol}@Base 1.0.0\n")
endforeach()
file(CONFIGURE OUTPUT ${vg_runtime_gen}/symbols CONTENT "${vg_symbols}")
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA ${vg_runtime_gen}/shlibs ${vg_runtime_gen}/symbols
    ${vg_runtime_control}/triggers ${vg_runtime_gen}/postinst ${vg_runtime_gen}/postrm)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION
"client library of a cellular router module's KEST management service
libvg_mgmt_client.so.1 lets applications on the module read and change its
configuration - Wi-Fi, data calls, network, USB - through the module's KEST
management service, and receive its events. Plain C interface.
.
On the module it uses the platform's libqmi_cci.so.1, libvg_log.so.1 and
libvg_manager_msgr.so.1. On a PC the package vg-mgmt-sim provides stand-ins
and a simulated service.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libvg-mgmt-client-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEV_DEPENDS runtime)
set(CPACK_COMPONENT_DEV_DESCRIPTION
"client library of a cellular router module's KEST service - development files
The header, pkg-config file and CMake package of libvg_mgmt_client, its
manual page libvg_mgmt_client(3) and an example application.")

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME vg-mgmt)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION admin)
set(CPACK_COMPONENT_TOOL_DEPENDS runtime)
set(CPACK_COMPONENT_TOOL_DESCRIPTION
"command-line configuration tool of a cellular router module
vg-mgmt reads and changes every setting of the module that libvg_mgmt_client
offers - Wi-Fi, data calls, network, USB - and prints the module's events,
for people or as JSON.")

set(CPACK_DEBIAN_WEBD_PACKAGE_NAME vg-webd)
set(CPACK_DEBIAN_WEBD_PACKAGE_SECTION admin)
set(CPACK_COMPONENT_WEBD_DEPENDS runtime)
set(CPACK_COMPONENT_WEBD_DESCRIPTION
"web console and HTTP API of a cellular router module
vg-webd serves a page and a JSON-RPC API for the module's status and every
setting: forms made from the description of the settings, Save & Apply that
is rolled back unless the browser confirms it, backup, restore, history,
live events and Prometheus metrics. Users with yescrypt hashes, no default
password, sessions with CSRF tokens; it listens on loopback unless told.")

set(CPACK_DEBIAN_SIM_PACKAGE_NAME vg-mgmt-sim)
set(CPACK_DEBIAN_SIM_PACKAGE_SECTION devel)
set(CPACK_COMPONENT_SIM_DESCRIPTION
"simulated KEST management service of a cellular router module, for PCs
kestd stands in for the module's KEST management service on a PC, with
kestctl to play stations, faults and delays. The host platform (stand-ins
for the module's libqmi_cci.so.1, libvg_log.so.1 and libvg_manager_msgr.so.1)
lives in a private folder, so that it never shadows a module's own libraries;
vg-sim-run runs an application against it.")

set(CPACK_DEBIAN_ANSIBLE_PACKAGE_NAME ansible-vg-mgmt)
set(CPACK_DEBIAN_ANSIBLE_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_ANSIBLE_PACKAGE_SECTION admin)
set(CPACK_DEBIAN_ANSIBLE_PACKAGE_DEPENDS "ansible-core | ansible")
set(CPACK_DEBIAN_ANSIBLE_PACKAGE_SHLIBDEPS OFF)
set(CPACK_COMPONENT_ANSIBLE_DESCRIPTION
"Ansible collection vg.mgmt for cellular router modules
The modules vg.mgmt.config and vg.mgmt.facts manage a KEST module's
configuration as a vg-mgmt configuration document, in the states of Ansible's
network resource modules. They are POSIX shell: the managed module needs
vg-mgmt, not Python.")

# On a PC the library and the tool need the simulator; a module has the
# platform's libraries, and an armhf board may have either.
if(VG_DEB_ARCH STREQUAL "armhf")
  set(vg_sim_relation SUGGESTS)
else()
  set(vg_sim_relation RECOMMENDS)
endif()
foreach(component RUNTIME DEV)
  set(CPACK_DEBIAN_${component}_PACKAGE_${vg_sim_relation} vg-mgmt-sim)
endforeach()
# vg-mgmt cannot even start on a PC without the host platform's libraries
# (libqmi_cci.so.1 and the rest live in vg-mgmt-sim): there it depends on
# vg-mgmt-sim. On an armhf board the module's platform image has them.
if(NOT VG_DEB_ARCH STREQUAL "armhf" AND "sim" IN_LIST vg_components)
  list(APPEND CPACK_COMPONENT_TOOL_DEPENDS sim)
  list(APPEND CPACK_COMPONENT_WEBD_DEPENDS sim)
else()
  set(CPACK_DEBIAN_TOOL_PACKAGE_SUGGESTS vg-mgmt-sim)
  set(CPACK_DEBIAN_WEBD_PACKAGE_SUGGESTS vg-mgmt-sim)
endif()

include(CPack)

# Manual pages and the bash completion.
#
# The pages are scdoc sources under man/, built into gzipped roff and
# installed with the component of the program they describe. vg-mgmt's page
# and completion come from the tool's model of its commands: tools/ makes
# them (targets vg_mgmt_manpage_src, tools/vg-mgmt.1.scd, and
# vg_mgmt_completion, tools/vg-mgmt.bash-completion) wherever the built tool
# can run, natively or under the cross build's emulator.
# Not in the sanitizer and fuzzer builds, which only run tests.
if(VG_SANITIZE OR VG_TSAN OR VG_FUZZ)
  set(vg_docs_default OFF)
else()
  set(vg_docs_default ON)
endif()
option(VG_BUILD_DOCS "Build and install the manual pages" ${vg_docs_default})
set(VG_MAN_PAGES "" CACHE INTERNAL "Built manual pages (roff)")
if(NOT VG_BUILD_DOCS)
  return()
endif()
find_program(VG_SCDOC scdoc)
find_program(VG_GZIP gzip REQUIRED)
if(NOT VG_SCDOC)
  message(WARNING "scdoc not found: no manual pages (scripts/deps.sh installs it)")
  return()
endif()

# Where bash-completion looks for completions, relative to the prefix when it
# lies under /usr (normally share/bash-completion/completions).
find_package(PkgConfig QUIET)
set(vg_completionsdir ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
if(PKG_CONFIG_FOUND AND NOT CMAKE_CROSSCOMPILING)
  pkg_get_variable(vg_pc_completionsdir bash-completion completionsdir)
  if(vg_pc_completionsdir MATCHES "^/usr/(.+)$")
    set(vg_completionsdir ${CMAKE_MATCH_1})
  endif()
endif()
set(VG_BASH_COMPLETION_DIR ${vg_completionsdir} CACHE STRING
    "Folder of bash completions, relative to the prefix")

set(vg_man_dir ${CMAKE_BINARY_DIR}/man)
file(MAKE_DIRECTORY ${vg_man_dir})
set(vg_man_outputs "")
set(vg_man_pages "")

# vg_man_page(<scd source> <name> <section> <component> [DEPENDS ...]):
# scdoc, then gzip -9n, installed to man<section>.
function(vg_man_page source name section component)
  cmake_parse_arguments(PARSE_ARGV 4 arg "" "" "DEPENDS")
  set(page ${vg_man_dir}/${name}.${section})
  add_custom_command(OUTPUT ${page} ${page}.gz
      COMMAND ${CMAKE_COMMAND} -DSCDOC=${VG_SCDOC} -DGZIP=${VG_GZIP}
              -DSOURCE=${source} -DPAGE=${page} -P ${PROJECT_SOURCE_DIR}/cmake/scdoc_page.cmake
      DEPENDS ${source} ${PROJECT_SOURCE_DIR}/cmake/scdoc_page.cmake ${arg_DEPENDS}
      COMMENT "Manual page ${name}(${section})" VERBATIM)
  install(FILES ${page}.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man${section}
          COMPONENT ${component})
  set(vg_man_outputs ${vg_man_outputs} ${page} ${page}.gz PARENT_SCOPE)
  set(vg_man_pages ${vg_man_pages} ${page} PARENT_SCOPE)
endfunction()

# The library's page is installed with the development files.
vg_man_page(${PROJECT_SOURCE_DIR}/man/libvg_mgmt_client.3.scd libvg_mgmt_client 3 dev)
if(VG_BUILD_HOST)
  vg_man_page(${PROJECT_SOURCE_DIR}/man/kestd.1.scd kestd 1 sim)
  vg_man_page(${PROJECT_SOURCE_DIR}/man/kestctl.1.scd kestctl 1 sim)
  vg_man_page(${PROJECT_SOURCE_DIR}/man/vg-sim-run.1.scd vg-sim-run 1 sim)
endif()
if(TARGET vg-webd)
  vg_man_page(${PROJECT_SOURCE_DIR}/man/vg-webd.8.scd vg-webd 8 webd)
endif()

set(vg_docs_depends "")
if(TARGET vg_mgmt_manpage_src)
  set(vg_tool_scd ${CMAKE_BINARY_DIR}/tools/vg-mgmt.1.scd)
  vg_man_page(${vg_tool_scd} vg-mgmt 1 tool DEPENDS vg_mgmt_manpage_src)
  list(APPEND vg_docs_depends vg_mgmt_manpage_src)
endif()

if(TARGET vg_mgmt_completion)
  set(VG_COMPLETION_FILE ${CMAKE_BINARY_DIR}/tools/vg-mgmt.bash-completion)
  install(FILES ${VG_COMPLETION_FILE} DESTINATION ${VG_BASH_COMPLETION_DIR}
          RENAME vg-mgmt COMPONENT tool)
  list(APPEND vg_docs_depends vg_mgmt_completion)
else()
  set(VG_COMPLETION_FILE "")
endif()

add_custom_target(vg_docs ALL DEPENDS ${vg_man_outputs})
if(vg_docs_depends)
  add_dependencies(vg_docs ${vg_docs_depends})
endif()
set(VG_MAN_PAGES ${vg_man_pages} CACHE INTERNAL "Built manual pages (roff)")

# Checks what the built library asks of the target at run time, from its
# dynamic section: the soname, the needed libraries (the C library and the
# platform's libraries only: no libstdc++, no libgcc_s), the exported
# functions (exactly the public entry points) and the platform functions
# (left undefined, to be bound to the platform's libraries).
#
#   cmake -DREADELF=<readelf> -DLIBRARY=<libvg_mgmt_client.so> [-DEXTRA_NEEDED=<regex>]
#         -P check_library.cmake

cmake_minimum_required(VERSION 3.20)

foreach(v READELF LIBRARY)
  if(NOT ${v})
    message(FATAL_ERROR "${v} not given")
  endif()
endforeach()

set(soname libvg_mgmt_client.so.1)
set(exported
    vg_mgmt_client_open vg_mgmt_client_close vg_mgmt_get_errno vg_mgmt_set_errno
    vg_mgmt_client_set vg_mgmt_client_get
    wifi_command_handle data_call_command_handle network_command_handle usb_command_handle
    wifi_event_ind_msg data_call_status_event_ind_msg)
# Must be present and undefined.
set(platform_required
    qmi_client_notifier_init qmi_client_get_service_list qmi_client_init
    qmi_client_send_msg_sync qmi_client_message_decode qmi_client_release
    vg_manager_msgr_get_service_object_internal_v01 __vg_log vg_sys_log_print)
# May be absent (no caller yet), never defined.
set(platform_optional vg_ipv4_ntoa)
# The C library (with its dynamic loader and, on older C libraries, libpthread)
# and the platform libraries that the host platform stands in for.
set(needed_ok
    "^(libc\\.so\\.[0-9]+|ld-linux[-a-z0-9_.]*\\.so\\.[0-9]+|libpthread\\.so\\.0"
    "|libqmi_cci\\.so\\.1|libvg_log\\.so\\.1|libvg_manager_msgr\\.so\\.1)$")
string(JOIN "" needed_ok ${needed_ok})

set(errors "")
macro(fail text)
  string(APPEND errors "  ${text}\n")
endmacro()

function(run_readelf out)
  execute_process(COMMAND ${READELF} -W ${ARGN} ${LIBRARY}
                  OUTPUT_VARIABLE text ERROR_VARIABLE err RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "${READELF} ${ARGN} ${LIBRARY} failed (${rc}): ${err}")
  endif()
  string(REPLACE ";" "," text "${text}")
  string(REPLACE "\n" ";" text "${text}")
  set(${out} "${text}" PARENT_SCOPE)
endfunction()

# --- dynamic section: soname and needed libraries
run_readelf(dynamic -d)
set(sonames "")
set(needed "")
foreach(line IN LISTS dynamic)
  if(line MATCHES "\\(SONAME\\) +Library soname: \\[(.*)\\]")
    list(APPEND sonames "${CMAKE_MATCH_1}")
  elseif(line MATCHES "\\(NEEDED\\) +Shared library: \\[(.*)\\]")
    list(APPEND needed "${CMAKE_MATCH_1}")
  endif()
endforeach()
if(NOT sonames STREQUAL soname)
  fail("soname is '${sonames}', expected ${soname}")
endif()
set(has_libc FALSE)
foreach(lib IN LISTS needed)
  if(lib MATCHES "^libc\\.so\\.")
    set(has_libc TRUE)
  endif()
  if(NOT lib MATCHES "${needed_ok}" AND NOT (EXTRA_NEEDED AND lib MATCHES "${EXTRA_NEEDED}"))
    fail("needs ${lib} at run time")
  endif()
endforeach()
if(NOT has_libc)
  fail("does not name the C library among its needed libraries (${needed})")
endif()

# --- dynamic symbols: what is defined and exported, what is left undefined
run_readelf(symbols --dyn-syms)
set(defined "")
set(undefined "")
foreach(line IN LISTS symbols)
  # Num: Value Size Type Bind Vis Ndx Name[@version]
  if(line MATCHES "^ *[0-9]+: +[0-9a-f]+ +[0-9a-fx]+ +[A-Z_]+ +([A-Z_]+) +[A-Z_]+ +([A-Z0-9_]+) +([^ @]+)")
    set(bind "${CMAKE_MATCH_1}")
    set(ndx "${CMAKE_MATCH_2}")
    set(name "${CMAKE_MATCH_3}")
    if(ndx STREQUAL "UND")
      list(APPEND undefined "${name}")
    elseif(NOT bind STREQUAL "LOCAL")
      list(APPEND defined "${name}")
    endif()
  endif()
endforeach()

foreach(name IN LISTS defined)
  if(NOT name IN_LIST exported)
    fail("exports ${name}, which is no public entry point")
  endif()
endforeach()
foreach(name IN LISTS exported)
  if(NOT name IN_LIST defined)
    fail("does not export ${name}")
  endif()
endforeach()
foreach(name IN LISTS platform_required platform_optional)
  if(name IN_LIST defined)
    fail("defines the platform function ${name} itself")
  elseif(NOT name IN_LIST undefined AND NOT name IN_LIST platform_optional)
    fail("does not call the platform function ${name}")
  endif()
endforeach()

list(LENGTH defined n_defined)
list(LENGTH undefined n_undefined)
string(REPLACE ";" " " needed_text "${needed}")
message(STATUS "${LIBRARY}: soname ${sonames}; needs ${needed_text}; "
               "${n_defined} exported, ${n_undefined} undefined symbols")
if(errors)
  message(FATAL_ERROR "${LIBRARY}:\n${errors}")
endif()

# The library needs the platform's three libraries by soname and exports
# its twelve functions and nothing else.
# Run as: cmake -DLIB=<path of libvg_mgmt_client.so.1> -P check_library_links.cmake

execute_process(COMMAND readelf -d ${LIB} OUTPUT_VARIABLE dynamic RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "readelf failed on ${LIB}")
endif()
foreach(needed libqmi_cci.so.1 libvg_log.so.1 libvg_manager_msgr.so.1)
  string(FIND "${dynamic}" "[${needed}]" at)
  if(at EQUAL -1)
    message(FATAL_ERROR "${LIB} does not need ${needed}")
  endif()
endforeach()

execute_process(COMMAND nm -D --defined-only --format=just-symbols ${LIB}
                OUTPUT_VARIABLE defined RESULT_VARIABLE rc)
if(NOT rc EQUAL 0)
  message(FATAL_ERROR "nm failed on ${LIB}")
endif()
string(REGEX REPLACE "\n$" "" defined "${defined}")
string(REPLACE "\n" ";" defined "${defined}")
list(SORT defined)
set(expected
    data_call_command_handle data_call_status_event_ind_msg network_command_handle
    usb_command_handle vg_mgmt_client_close vg_mgmt_client_get vg_mgmt_client_open
    vg_mgmt_client_set vg_mgmt_get_errno vg_mgmt_set_errno wifi_command_handle
    wifi_event_ind_msg)
if(NOT defined STREQUAL expected)
  message(FATAL_ERROR "exported: ${defined}\nexpected: ${expected}")
endif()

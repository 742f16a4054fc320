// Wire records of the KEST management messages: what crosses the transport.
// Shared by the library, its tests, the host transport, the simulated service
// and the tool. Every record is packed; its size and field offsets are
// checked at compile time beside it.
#pragma once

#include "kest_wire.h"
#include "kest_wifi_msg.h"
#include "kest_data_call_msg.h"
#include "kest_network_msg.h"
#include "kest_usb_msg.h"

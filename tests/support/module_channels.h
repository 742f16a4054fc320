// The Wi-Fi channels the module takes, as its documentation lists them:
// 0 (automatic), 1 to 14 (2.4 GHz) and the 5 GHz channels below. Written
// here apart from the code, so that a channel added to or lost from the
// code's list is seen by the tests that try every number up to 200.
#pragma once

#include <cstdint>
#include <set>

inline const std::set<uint32_t> kModuleChannels = {
    0,   1,   2,   3,   4,   5,   6,   7,   8,   9,   10,  11,  12,  13,  14,
    36,  38,  40,  42,  44,  46,  48,  50,  52,  54,  56,  58,  60,  62,  64,
    100, 102, 104, 106, 108, 110, 112, 114, 116, 118, 120, 122, 124, 126, 128,
    132, 134, 136, 138, 140, 142, 144, 149, 151, 153, 155, 157, 159, 161, 165};

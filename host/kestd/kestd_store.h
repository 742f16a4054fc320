// The state file of kestd (--state FILE): the configuration as one binary
// record, rewritten atomically after every change.
//
// Layout, in the host's byte order:
//   offset 0   8 bytes  magic "KESTDCFG"
//   offset 8   u32      format version, KESTD_STORE_VERSION
//   offset 12  u32      length of the record that follows
//   offset 16  ...      the kestd_config record
//   end - 4    u32      CRC-32 (IEEE) of everything before it
// A file that differs in any of these, or whose record holds values the
// service would refuse, is damaged: kestd names the reason and stops, and
// leaves the file as it is.
#pragma once

#include <string>

#include "kestd_state.h"

inline constexpr uint32_t KESTD_STORE_VERSION = 1;

enum class kestd_load_result { loaded, missing, damaged };

kestd_load_result kestd_load_config(const std::string &path, kestd_config &cfg, std::string &why);

// Writes a temporary file beside `path`, syncs it, renames it over `path` and
// syncs the folder. False with the reason when any step fails.
bool kestd_save_config(const std::string &path, const kestd_config &cfg, std::string &why);

uint32_t kestd_crc32(const uint8_t *data, size_t len);

// The state file of kestd (--state FILE): the configuration as one binary
// record, rewritten atomically after every change.
//
// Layout, in the host's byte order:
//   offset 0   8 bytes  magic "KESTDCFG"
//   offset 8   u32      format version, kKestdStoreVersion
//   offset 12  u32      length of the record that follows
//   offset 16  ...      the kestd_config record
// A file that differs in any of these, or whose record holds values the
// service would refuse, is damaged: kestd names the reason and stops, and
// leaves the file as it is.
//
// The file carries no checksum: it is only ever replaced whole (a fresh
// file, synced, renamed over the old one, folder synced), so a crash leaves
// the old file or the new one and never a mix; what is left to catch is a
// file of another kind or version, which magic, version, length and the
// value checks do.
#pragma once

#include <string>

#include "kestd_state.h"

// The format's own number, then the count of Wi-Fi switches, each a byte of
// the record: a file written before a switch was added is refused by its
// version, not misread.
inline constexpr uint32_t kKestdStoreVersion = 3u << 8 | kKestWifiSwitchCount;

// unreadable: the file exists but cannot be opened or read (a directory, no
// permission, a symbolic link...); `why` carries the system's reason.
enum class kestd_load_result { loaded, missing, damaged, unreadable };

kestd_load_result kestd_load_config(const std::string &path, kestd_config &cfg, std::string &why);

// Writes a fresh file beside `path` (a new name, made with O_EXCL, mode 0600,
// never a file or link that was there before), syncs it, renames it over
// `path` and syncs the folder. False with the reason when any step fails.
bool kestd_save_config(const std::string &path, const kestd_config &cfg, std::string &why);

// Checks where the state is kept and takes its lock for the life of the
// process, on the state's folder (nothing is created, and nobody can delete
// the lock from under the service): a descriptor that is never closed, or -1
// with the reason (a folder other users can write to, a state file of
// another user, another kestd holds the lock).
int kestd_lock_state(const std::string &path, std::string &why);

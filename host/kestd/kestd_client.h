// A blocking client of kestd's socket: for kestctl and for tests that speak
// the frame format directly.
#pragma once

#include <string>
#include <vector>

#include "kest_frame.h"

// The socket path: `arg` when given, else the one kest_socket_path chooses
// (empty when it finds none).
std::string kestd_socket_path(const char *arg);

// A connected socket, or -1 with errno set (EACCES: the process at the
// other end is not trusted as the service, and nothing was sent). `why`,
// when given, receives a line that names the socket and the cause.
int kestd_connect(const std::string &path, std::string *why = nullptr);

// Sends one control command and waits for its answer, skipping indications.
// False when no answer came; otherwise `status` and `text` hold it.
bool kestd_control_call(int fd, const std::string &command, int32_t &status, std::string &text,
                        int timeout_ms);

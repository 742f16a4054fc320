// kestctl [--socket PATH] <command...>: sends one control command to kestd
// and prints its answer. Exits 0 when kestd carried the command out, 1 when
// it refused it, 2 when it could not be reached.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

#include "kestd_client.h"

int main(int argc, char **argv)
{
    const char *socket_arg = nullptr;
    int i = 1;
    if (i + 1 < argc && std::strcmp(argv[i], "--socket") == 0) {
        socket_arg = argv[i + 1];
        i += 2;
    }
    if (i >= argc) {
        std::fputs("usage: kestctl [--socket PATH] <command...>   (kestctl help lists the commands)\n", stderr);
        return 2;
    }
    std::string command;
    for (; i < argc; ++i)
        command += (command.empty() ? "" : " ") + std::string(argv[i]);
    const std::string path = kestd_socket_path(socket_arg);
    std::string why;
    const int fd = kestd_connect(path, &why);
    if (fd < 0) {
        std::fprintf(stderr, "kestctl: %s\n", why.c_str());
        return 2;
    }
    int32_t status = 0;
    std::string text;
    const bool answered = kestd_control_call(fd, command, status, text, 5000);
    ::close(fd);
    if (!answered) {
        std::fprintf(stderr, "kestctl: no answer from %s\n", path.c_str());
        return 2;
    }
    if (!text.empty() && text.back() != '\n')
        text += '\n';
    std::fputs(text.c_str(), status == 0 ? stdout : stderr);
    return status == 0 ? 0 : 1;
}

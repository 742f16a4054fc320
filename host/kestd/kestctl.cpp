// kestctl [--socket PATH] <command...>: sends one control command to kestd
// and prints its answer. Exits 0 when kestd carried the command out, 1 when
// it refused it, 2 when the command line is wrong or kestd could not be
// reached. --help, and a command word kestd does not know, need no service.
#include <getopt.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "kest_nearest.h"
#include "kestctl_messages.h"
#include "kestd_client.h"
#include "kestd_control_doc.h"

namespace {

constexpr const char *USAGE =
    "usage: kestctl [--socket PATH] <command...>\n"
    "       kestctl [--socket PATH] fail [--nth N] WORDS... ERROR [COUNT]\n";

int usage_error(const std::string &why)
{
    std::fprintf(stderr, "kestctl: %s\n%s", why.c_str(), USAGE);
    return 2;
}

void print_help()
{
    std::fputs(USAGE, stdout);
    std::fputs("\noptions:\n  --socket PATH   kestd's socket (default: VG_KEST_SOCKET, else "
               "/run/kestd/kestd.sock when it\n"
               "                  exists, else $XDG_RUNTIME_DIR/vg-kestd.sock, else "
               "/tmp/vg-kestd-UID/kestd.sock)\n"
               "  -h, --help      this help (needs no service)\n\ncommands:\n",
               stdout);
    for (const kestd_control_doc &d : kKestdControlDocs)
        std::printf("  %s\n", d.help);
    std::fputs(
        "\nfail also takes the words of the vg-mgmt command whose request should fail, and\n"
        "--nth N to let N-1 such requests pass first:\n"
        "  kestctl fail wifi channel set 104        the next 'wifi channel set' gets error 104\n"
        "  kestctl fail --nth 3 usb func set 103    the third 'usb func set' gets error 103\n",
        stdout);
}

bool is_number(const std::string &w)
{
    return !w.empty() && w.find_first_not_of("0123456789") == std::string::npos;
}

// "fail [--nth N] WORDS... ERROR [COUNT]" as kestd's "fail ERROR COUNT MSG_ID SKIP";
// "fail ERROR ..." passes as it is.
std::optional<std::string> fail_command(std::vector<std::string> args, std::string &why)
{
    unsigned long nth = 1;
    if (args.size() > 2 && args[1] == "--nth") {
        if (!is_number(args[2]) || (nth = std::strtoul(args[2].c_str(), nullptr, 10)) < 1 ||
            nth > 1000000)
            return why = "--nth takes a number from 1", std::nullopt;
        args.erase(args.begin() + 1, args.begin() + 3);
    }
    size_t at = 1;
    std::string words;
    for (; at < args.size() && !is_number(args[at]); ++at)
        words += (words.empty() ? "" : " ") + args[at];
    if (at == args.size())
        return why = "fail needs an error code", std::nullopt;
    uint32_t id = 0;
    if (!words.empty() && (id = kestctl_message_id(words)) == 0) {
        std::vector<std::string> known;
        for (const kestctl_message &m : kestctl_messages())
            for (const char *verb : {"", " get", " set"})
                if (kestctl_message_id(m.words + std::string(verb)) != 0)
                    known.push_back(m.words + std::string(verb));
        return why = kest_unknown_text("command", words, known), std::nullopt;
    }
    const std::string count = at + 1 < args.size() ? args[at + 1] : "1";
    if (words.empty() && nth == 1)
        return "fail " + args[at] + (at + 1 < args.size() ? " " + args[at + 1] : "") +
               (at + 2 < args.size() ? " " + args[at + 2] : "");
    const std::string msg = id != 0                ? std::to_string(id)
                            : at + 2 < args.size() ? args[at + 2]
                                                   : "0";
    return "fail " + args[at] + " " + count + " " + msg + " " + std::to_string(nth - 1);
}

// The command line as the text kestd takes; nothing when it is wrong (`why`).
std::optional<std::string> control_text(const std::vector<std::string> &args, std::string &why)
{
    std::vector<std::string> names;
    for (const kestd_control_doc &d : kKestdControlDocs)
        names.emplace_back(d.name);
    if (std::find(names.begin(), names.end(), args[0]) == names.end())
        return why = kest_unknown_text("command", args[0], names), std::nullopt;
    if (args[0] == "fail")
        return fail_command(args, why);
    std::string text;
    for (const std::string &a : args)
        text += (text.empty() ? "" : " ") + a;
    return text;
}

} // namespace

int main(int argc, char **argv)
{
    const char *socket_arg = nullptr;
    static const option kOptions[] = {{"socket", required_argument, nullptr, 's'},
                                      {"help", no_argument, nullptr, 'h'},
                                      {nullptr, 0, nullptr, 0}};
    opterr = 0;
    // '+': the options stand before the command; its words are its own.
    for (int c; (c = ::getopt_long(argc, argv, "+:h", kOptions, nullptr)) != -1;) {
        if (c == 's')
            socket_arg = optarg;
        else if (c == 'h')
            return print_help(), 0;
        else if (c == ':')
            return usage_error(std::string(argv[optind - 1]) + " needs a value");
        else
            return usage_error(
                kest_unknown_text("option", argv[optind - 1], {"--socket", "--help"}));
    }
    const std::vector<std::string> args(argv + optind, argv + argc);
    if (args.empty())
        return usage_error("no command given (kestctl --help lists them)");
    std::string why;
    const auto command = control_text(args, why);
    if (!command)
        return usage_error(why);
    const std::string path = kestd_socket_path(socket_arg);
    const int fd = kestd_connect(path, &why);
    if (fd < 0) {
        std::fprintf(stderr, "kestctl: %s\n", why.c_str());
        return 2;
    }
    int32_t status = 0;
    std::string text;
    const bool answered = kestd_control_call(fd, *command, status, text, 5000);
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

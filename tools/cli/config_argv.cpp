// vg-mgmt's global options given before "config": the ones config takes are
// moved to where its own command line takes them, any other is refused.
#include <algorithm>
#include <cstring>
#include <exception>
#include <string>
#include <vector>

#include "config_cmd.h"
#include "vg_mgmt_cli.h"

namespace {

bool takes_value(const std::string &w)
{
    return w == "--socket" || w == "--timeout";
}

// The first word in argv[from, argc) that is not an option (nor an
// option's value), or argc.
int first_word(int argc, char **argv, int from)
{
    for (int i = from; i < argc; ++i) {
        const std::string w = argv[i];
        if (takes_value(w))
            ++i;
        else if (!w.starts_with("-"))
            return i;
    }
    return argc;
}

// Where a global option goes in config's command line: before its verb
// (config's own options), after the verb (the verb's), or nowhere (`why`).
enum class place { before_verb, after_verb, refused };

place place_of(const std::string &opt, const std::string &verb, std::string &why)
{
    if (opt == "--socket" || opt.starts_with("--socket=") || opt == "--stats")
        return place::before_verb;
    if (opt == "-h" || opt == "--help")
        return place::after_verb;
    const bool json_verb = verb == "diff" || verb == "apply" || verb == "validate";
    if ((opt == "--show-secrets" && verb == "export") || (opt == "--json" && json_verb))
        return place::after_verb;
    if (opt == "--show-secrets" || opt == "--json")
        why = opt + " is an option of 'config " +
              (opt == "--json" ? "diff', 'apply' or 'validate" : "export") + "' only";
    else
        why = opt.substr(0, opt.find('=')) + " is not an option of config";
    return place::refused;
}

} // namespace

int vg_mgmt_config_at(int argc, char **argv)
{
    const int at = first_word(argc, argv, 1);
    return at < argc && std::strcmp(argv[at], "config") == 0 ? at : 0;
}

int vg_mgmt_config_main(int argc, char **argv, int at, FILE *out, FILE *err)
{
    for (int i = 1; i < at; ++i)
        if (std::strcmp(argv[i], "--version") ==
            0) { // as before any command: the version, nothing else
            char *version[] = {argv[0], argv[i], nullptr};
            return vg_mgmt_cli_run(2, version, out, err);
        }
    const int verb_at = first_word(argc, argv, at + 1);
    const std::string verb = verb_at < argc ? argv[verb_at] : "";
    std::vector<char *> before, after;
    for (int i = 1; i < at; ++i) {
        std::string why;
        const place p = place_of(argv[i], verb, why);
        if (p == place::refused) {
            fprintf(err, "vg-mgmt config: %s\n", why.c_str());
            return vgm::EXIT_USAGE;
        }
        std::vector<char *> &to = p == place::before_verb ? before : after;
        to.push_back(argv[i]);
        if (takes_value(argv[i]) && i + 1 < at)
            to.push_back(argv[++i]);
    }
    std::vector<char *> args = {argv[at]};
    args.insert(args.end(), before.begin(), before.end());
    args.insert(args.end(), argv + at + 1, argv + std::min(verb_at + 1, argc));
    args.insert(args.end(), after.begin(), after.end());
    if (verb_at + 1 < argc)
        args.insert(args.end(), argv + verb_at + 1, argv + argc);
    args.push_back(nullptr);
    try {
        return vg_mgmt_config_run(static_cast<int>(args.size()) - 1, args.data(), out, err);
    } catch (const std::exception &e) { // every failure is a message and a status, never an abort
        fprintf(err, "vg-mgmt config: cannot go on: %s\n", e.what());
        return vgm::EXIT_USAGE;
    }
}

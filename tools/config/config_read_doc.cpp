// Reading a document from a file or stdin, within bounds: its size is read
// with a limit (an endless stream is refused once past it), its nesting depth
// is limited, a key given twice in one object is a problem, and a problem
// line shows at most a short prefix of what it quotes.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <set>

#include "config_session.h"
#include "vg_mgmt_text.h"

namespace vgcfg {

namespace {

// The file's bytes, at most kMaxDocumentBytes; nullopt with the problem.
std::optional<std::string> read_bounded(const std::string &file, std::string &problem)
{
    const bool in = file == "-";
    const int fd = in ? STDIN_FILENO : open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    struct stat st;
    if (fd < 0 || fstat(fd, &st) != 0) {
        problem = "cannot be read: " + std::string(strerror(errno));
        if (fd >= 0 && !in)
            close(fd);
        return std::nullopt;
    }
    std::string text;
    if (S_ISDIR(st.st_mode))
        problem = "is a folder, not a document";
    char buf[65536];
    while (problem.empty()) {
        const ssize_t n = read(fd, buf, sizeof buf);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            if (n < 0)
                problem = "cannot be read: " + std::string(strerror(errno));
            break;
        }
        text.append(buf, static_cast<size_t>(n));
        if (text.size() > kMaxDocumentBytes)
            problem = "larger than " + std::to_string(kMaxDocumentBytes) +
                      " bytes: a document is at most that";
    }
    if (!in)
        close(fd);
    if (!problem.empty())
        return std::nullopt;
    return text;
}

// Keeps depth and duplicate keys in check while the parser builds the value;
// after the first problem every further value is dropped.
struct guard {
    std::vector<std::set<std::string>> keys;
    std::string problem;

    bool operator()(int depth, json::parse_event_t ev, json &parsed)
    {
        if (!problem.empty())
            return false;
        using e = json::parse_event_t;
        if ((ev == e::object_start || ev == e::array_start) && depth >= kMaxDocumentDepth) {
            problem = "nested deeper than " + std::to_string(kMaxDocumentDepth) + " levels";
            return false;
        }
        if (ev == e::object_start)
            keys.emplace_back();
        else if (ev == e::object_end && !keys.empty())
            keys.pop_back();
        else if (ev == e::key && !keys.empty() &&
                 !keys.back().insert(parsed.get<std::string>()).second)
            problem = "the key " + vgm::shown_value(parsed.get<std::string>(), false) +
                      " is given twice in one object";
        return problem.empty();
    }
};

// The parser's message without the text it last read (which may be long).
std::string parse_message(const json::exception &e)
{
    std::string m = e.what();
    const size_t tag = m.find("] ");
    if (tag != std::string::npos)
        m = m.substr(tag + 2);
    const size_t quoted = m.find("; last read: ");
    if (quoted != std::string::npos)
        m = m.substr(0, quoted);
    const size_t number = m.find("number overflow parsing '");
    if (number != std::string::npos)
        m = "a number out of every range (" +
            vgm::shown_value(m.substr(number + 25, m.size() - number - 26), false) + ")";
    return m.size() > 160 ? m.substr(0, 160) + "..." : m;
}

} // namespace

std::optional<json> parse_document(const std::string &text, const std::string &name,
                                   std::string &problem)
{
    guard g;
    try {
        json doc =
            json::parse(text, [&g](int d, json::parse_event_t ev, json &v) { return g(d, ev, v); });
        if (g.problem.empty())
            return doc;
        problem = name + ": " + g.problem;
    } catch (const json::exception &e) {
        problem = name + ": not JSON: " + (g.problem.empty() ? parse_message(e) : g.problem);
    }
    return std::nullopt;
}

std::optional<json> read_document(const std::string &file, std::string &problem)
{
    const std::string name = file == "-" ? std::string("(stdin)") : file;
    const std::optional<std::string> text = read_bounded(file, problem);
    if (!text) {
        problem = name + ": " + problem;
        return std::nullopt;
    }
    return parse_document(*text, name, problem);
}

} // namespace vgcfg

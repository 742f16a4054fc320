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

// The shape of a document, read once before it is built: its depth, the keys
// of each object (none twice, not more than any object of a document has)
// and whether it is JSON at all. The parser's own callbacks would do the
// same at a cost that grows with the square of a list's length.
class shape_check : public nlohmann::json_sax<json> {
public:
    std::string problem;

    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(number_integer_t) override { return true; }
    bool number_unsigned(number_unsigned_t) override { return true; }
    bool number_float(number_float_t, const string_t &) override { return true; }
    bool string(string_t &) override { return true; }
    bool binary(binary_t &) override { return true; }
    bool start_object(std::size_t) override
    {
        keys_.emplace_back();
        return deeper();
    }
    bool key(string_t &k) override
    {
        std::set<std::string> &seen = keys_.back();
        if (seen.size() == kMaxObjectKeys)
            return fail("an object with more than " + std::to_string(kMaxObjectKeys) +
                        " keys: no object of a document has that many");
        if (!seen.insert(k).second)
            return fail("the key " + vgm::shown_value(k, false) + " is given twice in one object");
        return true;
    }
    bool end_object() override
    {
        keys_.pop_back();
        --depth_;
        return true;
    }
    bool start_array(std::size_t) override { return deeper(); }
    bool end_array() override
    {
        --depth_;
        return true;
    }
    bool parse_error(std::size_t, const std::string &,
                     const nlohmann::detail::exception &e) override
    {
        return fail("not JSON: " + parse_message(static_cast<const json::exception &>(e)));
    }

private:
    static constexpr size_t kMaxObjectKeys = 256;
    std::vector<std::set<std::string>> keys_;
    int depth_ = 0;

    bool deeper()
    {
        if (++depth_ > kMaxDocumentDepth)
            return fail("not JSON: nested deeper than " + std::to_string(kMaxDocumentDepth) +
                        " levels");
        return true;
    }
    bool fail(std::string why)
    {
        problem = std::move(why);
        return false;
    }
};

} // namespace

std::optional<json> parse_document(const std::string &text, const std::string &name,
                                   std::string &problem)
{
    shape_check shape;
    if (!json::sax_parse(text, &shape) || !shape.problem.empty()) {
        problem = name + ": " + (shape.problem.empty() ? "not JSON" : shape.problem);
        return std::nullopt;
    }
    try {
        return json::parse(text);
    } catch (const json::exception &e) {
        problem = name + ": not JSON: " + parse_message(e);
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

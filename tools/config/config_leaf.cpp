// Naming what the service refused down to the leaf of the document: the
// entry of a list by its place in the document, and the field that the
// service's reason points at; a setting by the fields that it changes.
#include "config_leaf.h"

#include <cstring>

#include "vg_mgmt_errors.h"

namespace vgcfg {

namespace {

// The field of an entry that a reason of the service points at.
struct reason_field {
    const char *error; // the reason's name
    const char *key;   // the entry's field
};
constexpr reason_field kReasonFields[] = {
    {"INVALID_ADDRESS", "private-ip"}, // outside the LAN, or not an address
    {"DUPLICATE", "global-port"},      // a rule on the same global port and protocol
};

} // namespace

std::string entry_leaf(const list_desc &l, const std::string &list_path, size_t n, int32_t err)
{
    const std::string entry = list_path + "[" + std::to_string(n) + "]";
    if (l.single())
        return entry;
    const std::string reason = vgm::call_failure(err).name;
    for (const reason_field &r : kReasonFields)
        if (reason == r.error)
            for (const field &f : l.entry)
                if (std::strcmp(f.key, r.key) == 0)
                    return entry + "." + f.key;
    return entry;
}

std::string leaves_of(const std::vector<change> &changes)
{
    std::string out;
    for (const change &c : changes)
        out += (out.empty() ? "" : ", ") + c.path;
    return out;
}

std::function<bool(conn &)> naming(std::function<bool(conn &)> run,
                                   std::function<std::string(int32_t)> leaf)
{
    return [run = std::move(run), leaf = std::move(leaf)](conn &c) {
        if (run(c))
            return true;
        if (c.what.empty())
            c.what = leaf(c.err);
        return false;
    };
}

} // namespace vgcfg

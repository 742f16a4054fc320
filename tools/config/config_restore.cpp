// What a restore puts back after an apply that did not finish or was not
// confirmed: only what that apply changed, and of that only what is still as
// the apply left it. A value or entry that another client has set since is
// left as it is, and named.
#include "config_restore.h"

#include <algorithm>

namespace vgcfg {

namespace {

bool has(const json &list, const json &e)
{
    return list.is_array() && std::find(list.begin(), list.end(), e) != list.end();
}

// The entry's key: its instance fields in a keyed list, the entry elsewhere.
json key_of(const list_desc *l, const json &e)
{
    if (l == nullptr || l->kind != list_kind::keyed || !e.is_object())
        return e;
    return json::array({e.value(l->entry[0].key, json()), e.value(l->entry[1].key, json())});
}

struct restorer {
    const json &now;       // the configuration now, secrets masked
    const json &now_clear; // and in clear
    std::vector<std::string> &left;

    // A list: the entries that the apply added leave, the ones it removed come
    // back, the ones that others added stay.
    json list(const std::string &path, const json &restore, const json &was, const json &after,
              const json &cur)
    {
        const list_desc *l = list_of_path(path);
        json out = json::array();
        for (const json &e : cur.is_array() ? cur : json::array())
            if (!has(after, e) || has(was, e))
                out.push_back(e);
        for (size_t i = 0; i < restore.size() && i < was.size(); ++i) {
            if (has(after, was[i]) || has(cur, was[i]))
                continue;
            const bool taken = std::any_of(out.begin(), out.end(), [&](const json &e) {
                return key_of(l, e) == key_of(l, was[i]);
            });
            if (taken)
                left.push_back(path + ": " + key_of(l, was[i]).dump());
            else
                out.push_back(restore[i]);
        }
        return out;
    }

    // restore: the values from before, secrets in clear; was and after: the
    // same keys masked, before and as the apply meant them.
    std::optional<json> walk(const std::string &path, const json &restore, const json &was,
                             const json &after)
    {
        const json *found = path.empty() ? &now : find_path(now, path);
        const json cur = found != nullptr ? *found : json();
        if (restore.is_object() && was.is_object() && after.is_object()) {
            json out = json::object();
            for (const auto &[k, v] : restore.items())
                if (was.contains(k) && after.contains(k))
                    if (auto sub = walk(path.empty() ? k : path + "." + k, v, was[k], after[k]))
                        out[k] = *sub;
            return out.empty() ? std::nullopt : std::optional<json>(out);
        }
        if (was == after) {
            // Not changed by the apply, or a secret whose change the masks
            // hide: put back when it differs now.
            const json *clear = path.empty() ? &now_clear : find_path(now_clear, path);
            if (was.dump().find(kSecretMask) == std::string::npos ||
                (clear != nullptr && *clear == restore))
                return std::nullopt;
            return restore;
        }
        if (restore.is_array() && was.is_array())
            return list(path, restore, was, after, cur);
        if (cur == after || cur == was)
            return restore;
        left.push_back(path);
        return std::nullopt;
    }
};

} // namespace

json restoration(const json &restore, const json &was, const json &after, const json &now,
                 const json &now_clear, std::vector<std::string> &left)
{
    json doc =
        restorer{now, now_clear, left}.walk("", restore, was, after).value_or(json::object());
    doc["version"] = kDocumentVersion;
    return doc;
}

} // namespace vgcfg

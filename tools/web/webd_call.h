// What the API's methods share: one call as it is being answered, and the
// methods that run the configuration verbs (webd_methods.cpp).
#pragma once

#include <optional>
#include <string>

#include "webd_rpc.h"

namespace webd {

struct failure {
    int code = 0;
    std::string message;
    json data;
    int http = 200;
};

struct call {
    console &c;
    const request &rq;
    const json &params;
    std::optional<session_info> who;
    reply &out;
    std::optional<failure> failed;

    json fail(int code, std::string message, json data = nullptr, int http = 200)
    {
        failed = failure{code, std::move(message), std::move(data), http};
        return nullptr;
    }
};

// vg-mgmt status --json, or null with its exit status and why.
json module_status(bool secrets, double wait_s, int &status, std::string &why);

// The configuration's methods: vg-mgmt config's verbs, run in-process with --json.
bool show_secrets(call &k);
json m_status(call &k);
json m_schema(call &k);
json m_export(call &k);
json m_validate(call &k);
json m_diff(call &k);
json m_apply(call &k);
json m_confirm(call &k);
json m_revert(call &k);
json m_history(call &k);
json m_rollback(call &k);

} // namespace webd

// vg-mgmt config ansible ARGS: the module side of the Ansible collection.
// Ansible writes the task's arguments as one JSON object into a file; the
// module prints one JSON object, failed when the task fails. The options are
// checked as Ansible's own modules check theirs, before anything is sent.
#include <sys/stat.h>

#include <fstream>
#include <sstream>

#include "config_ansible.h"
#include "config_session.h"
#include "config_states.h"

namespace vgcfg {

namespace {

std::string py_type(const json &v)
{
    switch (v.type()) {
    case json::value_t::object:
        return "dict";
    case json::value_t::array:
        return "list";
    case json::value_t::string:
        return "str";
    case json::value_t::boolean:
        return "bool";
    case json::value_t::number_float:
        return "float";
    case json::value_t::null:
        return "NoneType";
    default:
        return "int";
    }
}

// Why a value is not of an option's type, or empty when it is.
std::string type_problem(const ansible_option &o, const json &v)
{
    const std::string t = o.type;
    bool ok = v.is_null();
    if (t == "str" || t == "path")
        ok = ok || v.is_string();
    else if (t == "bool")
        ok = ok || v.is_boolean();
    else if (t == "int")
        ok = ok || v.is_number_unsigned() || (v.is_number_integer() && v.get<int64_t>() >= 0);
    else if (t == "raw")
        ok = ok || v.is_object() || v.is_string();
    if (ok)
        return {};
    return "argument '" + std::string(o.name) + "' is of type <class '" + py_type(v) +
           "'> and we were unable to convert to " + t + ": " +
           (t == "raw" ? "give a dictionary or its JSON text" : "conversion is not allowed");
}

} // namespace

std::optional<json> read_json_file(const std::string &file, const char *what, std::string &problem)
{
    struct stat st;
    if (stat(file.c_str(), &st) != 0) {
        problem = what + std::string(" ") + file + ": does not exist or cannot be read";
        return std::nullopt;
    }
    if (!S_ISREG(st.st_mode)) {
        problem = what + std::string(" ") + file + ": not a regular file";
        return std::nullopt;
    }
    std::optional<json> j = read_document(file, problem); // bounded in size and depth, no key twice
    if (!j)
        problem = what + std::string(" ") + problem;
    return j;
}

std::string check_options(const json &args, const ansible_module &m)
{
    if (!args.is_object())
        return "the arguments file holds a " + py_type(args) +
               ", not the JSON object of the task's arguments";
    std::string unknown, supported;
    for (const ansible_option &o : m.options)
        supported += (supported.empty() ? "" : ", ") + std::string(o.name);
    for (const auto &[k, v] : args.items()) {
        if (k.rfind("_ansible_", 0) == 0) {
            for (const ansible_option &o : internal_options())
                if (k == o.name && !type_problem(o, v).empty())
                    return type_problem(o, v);
            continue;
        }
        const ansible_option *known = nullptr;
        for (const ansible_option &o : m.options)
            if (k == o.name)
                known = &o;
        if (known == nullptr)
            unknown += (unknown.empty() ? "" : ", ") + k;
        else if (std::string p = type_problem(*known, v); !p.empty())
            return p;
    }
    if (!unknown.empty())
        return "Unsupported parameters for (" + m.name + ") module: " + unknown +
               ". Supported parameters include: " + supported + ".";
    return {};
}

std::string option_string(const json &args, const char *name, const std::string &fallback)
{
    return args.contains(name) && args[name].is_string() ? args[name].get<std::string>() : fallback;
}

bool option_given(const json &args, const char *name)
{
    return args.contains(name) && !args[name].is_null();
}

json ansible_failure(const std::string &msg, const std::vector<std::string> &problems)
{
    json r = json{{"failed", true}, {"changed", false}, {"msg", msg}};
    if (!problems.empty())
        r["problems"] = problems;
    return r;
}

} // namespace vgcfg

int vg_mgmt_config_ansible(const char *args_file, FILE *out)
{
    using namespace vgcfg;
    json result;
    try {
        result = ansible_task(args_file);
    } catch (const std::exception &e) { // a last guard: Ansible always gets an answer
        result = ansible_failure(std::string("vg-mgmt could not run the task: ") + e.what(), {});
    }
    const std::string text = result.dump(-1, ' ', false, json::error_handler_t::replace);
    fprintf(out, "%s\n", text.c_str());
    return result.value("failed", false) ? 1 : 0;
}

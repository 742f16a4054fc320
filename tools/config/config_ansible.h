// The Ansible modules of the vg.mgmt collection, answered by vg-mgmt: their
// options, checked as Ansible checks a module's options, and the task.
#pragma once

#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "config_doc.h"

namespace vgcfg {

struct ansible_option {
    const char *name;
    const char *type; // str, path, bool, int or raw (a dictionary or its JSON text)
};

struct ansible_module {
    std::string name; // as Ansible names it in messages
    std::vector<ansible_option> options;
};

// The options that Ansible itself adds (_ansible_...) whose type is checked.
const std::vector<ansible_option> &internal_options();
// Why the arguments are not the module's options, in Ansible's words; empty when they are.
std::string check_options(const json &args, const ansible_module &m);
std::string option_string(const json &args, const char *name, const std::string &fallback);
bool option_given(const json &args, const char *name);
// A JSON file on the module: regular, read as a document is (bounded); what names it in the problem.
std::optional<json> read_json_file(const std::string &file, const char *what, std::string &problem);
json ansible_failure(const std::string &msg, const std::vector<std::string> &problems);
// The whole task: the arguments file in, the result out.
json ansible_task(const char *args_file);

} // namespace vgcfg

// Ansible's binary-module protocol: the arguments file in, one JSON object out.
int vg_mgmt_config_ansible(const char *args_file, FILE *out);

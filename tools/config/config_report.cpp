// Results and errors of the config commands, in text and as JSON.
#include "config_report.h"

#include "vg_mgmt_output.h"

namespace vgcfg {

json problem_json(const std::string &line)
{
    const size_t colon = line.find(": ");
    if (colon == std::string::npos)
        return json{{"path", ""}, {"problem", line}};
    return json{{"path", line.substr(0, colon)}, {"problem", line.substr(colon + 2)}};
}

json problems_json(const std::vector<std::string> &lines)
{
    json all = json::array();
    for (const std::string &l : lines)
        all.push_back(problem_json(l));
    return all;
}

int report::fail(int status, const std::string &why, const std::vector<std::string> &problems) const
{
    fprintf(err, "vg-mgmt config: %s\n", why.c_str());
    for (size_t i = 0; i < problems.size() && i < kMaxProblemLines; ++i)
        fprintf(err, "  %s\n", problems[i].c_str());
    if (problems.size() > kMaxProblemLines)
        fprintf(err, "  ... and %zu more problem(s); --json lists every one\n",
                problems.size() - kMaxProblemLines);
    if (as_json) {
        json e = json{{"message", why}};
        if (!problems.empty())
            e["problems"] = problems_json(problems);
        fprintf(out, "%s\n", vgm::dump_json(json{{"status", status}, {"error", e}}).c_str());
    }
    return status;
}

int report::result(int status, json obj) const
{
    if (as_json) {
        json r = json{{"status", status}};
        r.update(obj);
        fprintf(out, "%s\n", vgm::dump_json(r).c_str());
    }
    return status;
}

} // namespace vgcfg

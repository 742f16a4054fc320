// History entries: one file each, named by a sequence number that grows.
#include "config_history.h"

#include <algorithm>
#include <ctime>
#include <filesystem>

namespace vgcfg {

namespace {

std::string prefix()
{
    return state_store::module_file(".history.");
}

// The sequence numbers of this module's entries, newest first.
std::vector<unsigned long> sequence(const state_store &st)
{
    std::vector<unsigned long> seq;
    std::error_code ec;
    for (const auto &e : std::filesystem::directory_iterator(st.dir(), ec)) {
        const std::string name = e.path().filename().string();
        if (name.rfind(prefix(), 0) != 0 || !name.ends_with(".json"))
            continue;
        const std::string digits = name.substr(prefix().size(), name.size() - prefix().size() - 5);
        if (!digits.empty() && std::all_of(digits.begin(), digits.end(), ::isdigit) &&
            digits.size() < 10)
            seq.push_back(std::stoul(digits));
    }
    std::sort(seq.rbegin(), seq.rend());
    return seq;
}

std::string entry_name(unsigned long n)
{
    return prefix() + std::to_string(n) + ".json";
}

std::optional<json> entry(const state_store &st, unsigned long n)
{
    json j = st.read_object(entry_name(n));
    return j.is_object() ? std::optional<json>(std::move(j)) : std::nullopt;
}

} // namespace

bool history_add(const state_store &st, const json &replaced, size_t changes,
                 const std::string &applied, std::string &problem)
{
    const std::vector<unsigned long> seq = sequence(st);
    const json j = {
        {"when", utc_now()}, {"changes", changes}, {"applied", applied}, {"replaced", replaced}};
    if (!st.write(entry_name(seq.empty() ? 1 : seq.front() + 1), j.dump(), problem))
        return false;
    for (size_t i = kHistoryMax - 1; i < seq.size(); ++i)
        st.remove(entry_name(seq[i]));
    return true;
}

std::vector<json> history_list(const state_store &st)
{
    std::vector<json> out;
    const std::vector<unsigned long> seq = sequence(st);
    for (size_t i = 0; i < seq.size(); ++i)
        if (std::optional<json> j = entry(st, seq[i])) {
            j->erase("replaced");
            (*j)["n"] = i + 1;
            out.push_back(std::move(*j));
        }
    return out;
}

std::optional<json> history_document(const state_store &st, size_t n)
{
    const std::vector<unsigned long> seq = sequence(st);
    if (n == 0 || n > seq.size())
        return std::nullopt;
    std::optional<json> j = entry(st, seq[n - 1]);
    if (!j || !j->contains("replaced"))
        return std::nullopt;
    return (*j)["replaced"];
}

} // namespace vgcfg

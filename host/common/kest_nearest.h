// The nearest of a set of valid words to a mistyped one, so that every
// program of the tree names a wrong word the same way.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

// Edit distance (insertions, deletions, substitutions) between two words.
inline size_t kest_distance(const std::string &a, const std::string &b)
{
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diag = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t up = row[j];
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, diag + (a[i - 1] == b[j - 1] ? 0 : 1)});
            diag = up;
        }
    }
    return row[b.size()];
}

// "unknown word 'exprot'; did you mean 'export'?": `what` is "word",
// "option" or "command"; the nearest valid one is named when it is near.
inline std::string kest_unknown_text(const char *what, const std::string &given,
                                     const std::vector<std::string> &valid)
{
    std::string msg = std::string("unknown ") + what + " '" + given + "'";
    const auto best =
        std::min_element(valid.begin(), valid.end(), [&](const auto &a, const auto &b) {
            return kest_distance(given, a) < kest_distance(given, b);
        });
    if (best != valid.end() && kest_distance(given, *best) <= std::max<size_t>(2, given.size() / 3))
        msg += "; did you mean '" + *best + "'?";
    return msg;
}

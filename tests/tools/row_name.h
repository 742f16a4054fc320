// A parameterised test's name from its row's: letters and digits, the rest '_'.
#pragma once

#include <gtest/gtest.h>

#include <cctype>
#include <string>

namespace cli {

struct RowName {
    template <class Row>
    std::string operator()(const ::testing::TestParamInfo<Row> &i) const
    {
        std::string n = i.param.name;
        for (char &c : n)
            c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
        return n;
    }
};

} // namespace cli

// Names each case of a table-driven test after its row's `name`, for
// INSTANTIATE_TEST_SUITE_P.
#pragma once

#include <gtest/gtest.h>

#include <string>

struct RowName {
    template <typename Row>
    std::string operator()(const ::testing::TestParamInfo<Row>& info) const
    {
        return info.param.name;
    }
};

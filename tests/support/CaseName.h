// Names of the rows of a table of cases.
#pragma once

#include <gtest/gtest.h>

namespace test
{

/// Names each row of INSTANTIATE_TEST_SUITE_P by its member `name`.
inline constexpr auto caseName = [](const auto& row) { return row.param.name; };

/// A fixture with rows of a table.
template <class Row, class Fixture>
class TableOf : public Fixture, public testing::WithParamInterface<Row>
{
};

} // namespace test

// Names of the rows of a table of cases.
#pragma once

#include <gtest/gtest.h>

namespace test
{

/// Names each row of INSTANTIATE_TEST_SUITE_P by its member `name`.
inline constexpr auto caseName = [](const auto& row) { return row.param.name; };

/// Rows are printed by their name; without this, by their bytes.
template <class Row>
requires requires(const Row& row)
{
    row.name;
}
void PrintTo(const Row& row, std::ostream* out)
{
    *out << row.name;
}

} // namespace test

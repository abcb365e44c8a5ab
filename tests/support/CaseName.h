// Names of the rows of a table of cases.
#pragma once

#include <gtest/gtest.h>

namespace test
{

/// Names each row of INSTANTIATE_TEST_SUITE_P by its member `name`.
inline constexpr auto caseName = [](const auto& row) { return row.param.name; };

} // namespace test

/// Prints rows by their name; without this, by their bytes. No PrintTo: it would have to be in the namespace of each
/// row.
template <class Row>
requires requires(const Row& row)
{
    row.name;
}
class testing::internal::UniversalPrinter<Row>
{
public:
    static void Print(const Row& row, std::ostream* out) { *out << row.name; }
};

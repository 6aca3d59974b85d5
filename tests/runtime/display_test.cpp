#include "tessel/runtime/display.h"

#include <gtest/gtest.h>

#include <cmath>

namespace tessel {
namespace {

HostArray matrix(Dimensions dims, std::vector<double> values, std::vector<double> imaginary = {}) {
  HostArray a = HostArray::zeros(ArrayClass::Double, std::move(dims), !imaginary.empty());
  for (std::size_t i = 0; i < values.size(); ++i) a.mutableReal<double>()[i] = values[i];
  for (std::size_t i = 0; i < imaginary.size(); ++i) a.mutableImag<double>()[i] = imaginary[i];
  return a;
}

TEST(Display, ShowsNumbersInFiveDigits) {
  const double inf = INFINITY;
  const struct {
    HostArray value;
    const char* body;
  } cases[] = {
      {matrix({1, 1}, {0.5}), "    0.5000\n"},
      {matrix({1, 1}, {-3.14159265}), "   -3.1416\n"},
      {matrix({1, 1}, {1e-5}), "   1.0000e-05\n"},
      {matrix({1, 1}, {-1234.5}), "  -1.2345e+03\n"},
      {matrix({1, 1}, {5}), "     5\n"},
      {matrix({1, 1}, {-1000}), "       -1000\n"},
      {matrix({1, 1}, {1e10}), "   1.0000e+10\n"},
      {matrix({1, 1}, {-0.0}), "     0\n"},
      {matrix({1, 3}, {1, -20, inf}), "     1   -20   Inf\n"},
      {matrix({2, 2}, {1, 20, 300, 4000}), "           1         300\n          20        4000\n"},
      {matrix({1, 3}, {0, 0.5, NAN}), "         0    0.5000       NaN\n"},
      {matrix({1, 2}, {1000.5, 1}), "   1.0e+03 *\n\n    1.0005    0.0010\n"},
      {matrix({1, 2}, {2e-16, 0}), "   1.0e-15 *\n\n    0.2000         0\n"},
      {matrix({1, 1}, {0.5}, {1}), "   0.5000 + 1.0000i\n"},
      {matrix({1, 2}, {0.5, -1}, {-1, 10}), "    0.5000 -  1.0000i   -1.0000 + 10.0000i\n"},
      {matrix({0, 0}, {}), "     []\n"},
      {matrix({0, 3}, {}), "   Empty matrix: 0-by-3\n"},
      {HostArray::logical(true), "   1\n"},
      {HostArray::scalarOf<std::int8_t>(-100), "   -100\n"},
      {HostArray::scalarOf<std::uint64_t>(~std::uint64_t{0}), "   18446744073709551615\n"},
      {HostArray::charMatrix({"abc", "d"}), "abc\nd  \n"},
      {HostArray::text(""), "     ''\n"},
  };
  for (const auto& each : cases) EXPECT_EQ(displayBody(each.value), each.body);
}

TEST(Display, WrapsColumnsAndTurnsPages) {
  const HostArray wide = matrix({1, 9}, std::vector<double>(9, 0.25));
  EXPECT_EQ(displayBody(wide),
            "  Columns 1 through 8\n\n"
            "    0.2500    0.2500    0.2500    0.2500    0.2500    0.2500    0.2500    0.2500\n\n"
            "  Column 9\n\n    0.2500\n");
  EXPECT_EQ(displayText(matrix({1, 1, 2}, {1, 2}), "a"),
            "\na(:,:,1) =\n\n     1\n\n\na(:,:,2) =\n\n     2\n\n");
  EXPECT_EQ(displayText(matrix({1, 1}, {2}), "x"), "\nx =\n\n     2\n\n");
}

TEST(Display, ShowsContainers) {
  HostArray cell = HostArray::cell({1, 3});
  cell.mutableCellAt(0) = HostArray::text("abc");
  cell.mutableCellAt(1) = matrix({1, 2}, {1, 2});
  EXPECT_EQ(displayBody(cell), "    'abc'    [1x2 double]    []\n");
  HostArray record = HostArray::structure();
  record.mutableFieldAt("half") = HostArray::scalar(0.5);
  record.mutableFieldAt("a") = matrix({1, 2}, {1, 2});
  record.mutableFieldAt("list") = cell;
  EXPECT_EQ(displayBody(record), "    half: 0.5000\n       a: [1 2]\n    list: {1x3 cell}\n");
  EXPECT_EQ(displayBody(HostArray::structure({1, 2}, {"x"})), "1x2 struct array with fields:\n\n    x\n");
}

}  // namespace
}  // namespace tessel

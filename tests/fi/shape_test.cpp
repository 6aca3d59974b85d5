/// Shape and matrix-structure operations compared with element rules written out.
#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>

#include "tessel/interpreter.h"
#include "tests/fi/arrays.h"

namespace embedded {
namespace {

using reference::contents;
using reference::errorOf;
using reference::Random;
using reference::row;
using tessel::ArrayClass;
using tessel::HostArray;

/// Value and imaginary part of an element, or the stored zero for a negative position.
std::string at(const fi& x, long position) {
  if (position < 0) return x.iscomplex() ? " 0+i0" : " 0";
  std::string text = " " + reference::valueOf(x, static_cast<unsigned>(position)).get_str();
  if (x.iscomplex()) text += "+i" + reference::imagOf(x, static_cast<unsigned>(position)).get_str();
  return text;
}

/// The contents of a matrix made of elements of `x` by a rule on row and column, from 0.
std::string made(const fi& x, long rows, long columns, const std::function<long(long, long)>& source) {
  std::string text = std::to_string(rows) + "x" + std::to_string(columns) + "x";
  for (long c = 0; c < columns; ++c) {
    for (long r = 0; r < rows; ++r) text += at(x, source(r, c));
  }
  return text;
}

TEST(Shape, MatrixStructureFollowsTheElementRules) {
  Random random;
  for (int trial = 0; trial < 300; ++trial) {
    const auto m = random.integer(1, 40), n = random.integer(1, 40);
    const fi x = random.array({static_cast<unsigned>(m), static_cast<unsigned>(n)}, random.type(1, 120), {},
                              random.coin());
    const int k = random.integer(-5, 5);
    const auto keeps = [&](auto test) { return [=](long r, long c) { return test(c - r) ? c * m + r : -1; }; };
    EXPECT_EQ(contents(x.transpose()), made(x, n, m, [=](long r, long c) { return r * m + c; }));
    EXPECT_EQ(contents(x.tril(k)), made(x, m, n, keeps([=](long d) { return d <= k; })));
    EXPECT_EQ(contents(x.triu(k)), made(x, m, n, keeps([=](long d) { return d >= k; })));
    EXPECT_EQ(contents(x.rearrangedBy("tril", {HostArray::scalar(k)})), contents(x.tril(k)));
    if (m > 1 && n > 1) {
      const long first = k < 0 ? -k : k * m,
                 length = std::max(0, std::min(m + std::min(k, 0), n - std::max(k, 0)));
      EXPECT_EQ(contents(x.diag(k)), made(x, length, 1, [=](long r, long) { return first + r * (m + 1); }));
    }
    const fi v = x.reshape(row({1.0, static_cast<double>(m * n)}));
    const long length = std::min(m * n, 12);
    const fi c = v.subscriptedReference([&] {
      std::vector<double> positions(static_cast<std::size_t>(length));
      std::iota(positions.begin(), positions.end(), 1.0);
      return row(positions);
    }());
    const long side = length + std::abs(k);
    EXPECT_EQ(contents(c.diag(k)),
              made(c, side, side, [=](long r, long col) { return col - r == k ? std::min(r, col) : -1; }));
    EXPECT_EQ(contents(c.hankel()),
              made(c, length, length, [=](long r, long col) { return r + col < length ? r + col : -1; }));
    EXPECT_EQ(contents(c.toeplitz(c)),
              made(c, length, length, [](long r, long col) { return std::abs(r - col); }));
  }
}

TEST(Shape, SqueezeAndReshape) {
  const auto squeezed = [](const std::vector<unsigned>& dims) {
    const fi x = fi(0.0, dims.data(), static_cast<unsigned>(dims.size()), NumericType()).squeeze();
    return std::vector<unsigned>(x.dims().begin(), x.dims().end());
  };
  using V = std::vector<unsigned>;
  EXPECT_EQ(squeezed({1, 1, 5}), (V{5, 1}));
  EXPECT_EQ(squeezed({1, 5, 1}), (V{1, 5}));
  EXPECT_EQ(squeezed({5, 1, 1}), (V{5, 1}));
  EXPECT_EQ(squeezed({2, 1, 3}), (V{2, 3}));
  EXPECT_EQ(squeezed({1, 1, 1}), (V{1, 1}));
  EXPECT_EQ(squeezed({1, 5}), (V{1, 5}));
  EXPECT_EQ(squeezed({1, 2, 1, 3}), (V{2, 3}));
  const HostArray values = row({1, 2, 3, 4, 5, 6});
  const fi x(&values, NumericType(true, 8, 0));
  EXPECT_EQ(contents(x.reshape(row({3, 1, 2, 1}))), "3x1x2x 1 2 3 4 5 6");
}

fi complexRow(const std::vector<double>& re, const std::vector<double>& im, const NumericType& type) {
  HostArray values = row(re);
  std::copy(im.begin(), im.end(), values.mutableImag<double>());
  return fi(&values, type);
}

TEST(Shape, ConjugatesAreBroughtIntoTheType) {
  qlogger::setLogging(true);
  for (const int wordLength : {8, 100}) {
    const NumericType type(true, wordLength, wordLength - 8);
    const fi x = complexRow({1, 2}, {-128, 3}, type);
    const mpq_class largest = 128 - reference::scaled(mpq_class(1), 8 - wordLength);
    EXPECT_EQ(contents(x.ctranspose()), "2x1x 1+i" + largest.get_str() + " 2+i-3");
    EXPECT_EQ(x.ctranspose().getNoverflows(), 0U);
    EXPECT_EQ(contents(x.transpose()), "2x1x 1+i-128 2+i3");
    EXPECT_EQ(contents(x.toeplitz()), "2x2x 1+i-128 2+i3 2+i-3 1+i-128");
  }
  qlogger::setLogging(false);
}

TEST(Shape, ConstantDiagonalsWarnWhereColumnAndRowDisagree) {
  const HostArray column = row({1, 2, 3}), other = row({3.26, 9});
  const fi c(&column, NumericType(true, 8, 2)), r(&other, NumericType(true, 16, 8));
  tessel::lastWarning() = {};
  EXPECT_EQ(contents(c.toeplitz(r)), "3x2x 1 2 3 9 1 2");
  EXPECT_EQ(tessel::lastWarning().identifier, "numforge:fi:toeplitz:DiagonalConflict");
  EXPECT_EQ(tessel::lastWarning().text,
            "First element of input column does not match first element of input row. \n         Column wins "
            "diagonal conflict.");
  EXPECT_EQ(contents(c.hankel(r)), "3x2x 1 2 3 2 3 9");
  EXPECT_EQ(tessel::lastWarning().identifier, "Tessel:hankel:AntiDiagonalConflict");
  EXPECT_EQ(tessel::lastWarning().text,
            "Last element of input column does not match first element of input row. \n         Column wins "
            "anti-diagonal conflict.");
  tessel::lastWarning() = {};
  const HostArray agreeing = row({3, 9});
  const fi agrees(&agreeing, NumericType(true, 90, 8));
  EXPECT_EQ(contents(c.hankel(agrees)), "3x2x 1 2 3 2 3 9");
  c.toeplitz(c);
  c.toeplitz();
  c.hankel();
  EXPECT_EQ(tessel::lastWarning().identifier, "");
}

// -------------------------------------------------------------------------------------- concatenation, sorting

TEST(Combination, JoinsAsTheHostJoinsAndQuantizesOnce) {
  Random random;
  for (int trial = 0; trial < 400; ++trial) {
    const bool horizontal = random.coin();
    const auto shared = static_cast<unsigned>(random.integer(1, 3));
    std::vector<fi> parts;
    std::vector<const fi*> operands;
    tessel::Arrays converted;
    const NumericType type = random.type(4, 80);
    for (int k = random.integer(1, 4); k > 0; --k) {
      const auto own = static_cast<unsigned>(random.integer(0, 3));
      std::vector<unsigned> dims =
          horizontal ? std::vector<unsigned>{shared, own} : std::vector<unsigned>{own, shared};
      if (random.integer(0, 9) == 0) dims = {shared + 1, shared + 1};
      parts.push_back(
          random.array(dims, random.coin() ? type : NumericType(true, 20, 5), {}, random.integer(0, 3) == 0));
    }
    const fi model(0.0, type);
    for (const fi& part : parts) {
      operands.push_back(&part);
      fi same(part);
      same.setNumericType(type);
      converted.push_back(same.getDoubleHostArray());
    }
    const char* name = horizontal ? "horzcat" : "vertcat";
    HostArray expected;
    const auto hosts = reference::failureOf([&] { expected = tessel::callBuiltin(name, converted).at(0); });
    std::optional<fi> result;
    const auto mine = reference::failureOf([&] { result = fi::joined(name, model, operands); });
    ASSERT_EQ(mine ? mine->text : "", hosts ? hosts->text : "");
    if (!result) continue;
    EXPECT_TRUE(result->getNumericType().isequal(type));
    const HostArray values = result->getDoubleHostArray();
    ASSERT_EQ(values.dims(), expected.dims());
    for (std::size_t k = 0; k < values.numel(); ++k) {
      EXPECT_EQ(values.realAt(k), expected.realAt(k));
      EXPECT_EQ(values.isComplex() ? values.imagAt(k) : 0, expected.isComplex() ? expected.imagAt(k) : 0);
    }
  }
}

TEST(Combination, SortsExactlyAndStably) {
  Random random;
  for (int trial = 0; trial < 200; ++trial) {
    const std::vector<unsigned> dims = reference::randomDims(random, 3, 5);
    const NumericType type = random.coin() ? random.type(1, 4) : random.type(50, 120);
    const fi x = random.array(dims, type, {}, random.coin());
    if (x.isempty()) continue;
    const unsigned stride = x.rows(), length = x.getDimension(2);
    const bool ascending = random.coin();
    HostArray index;
    const fi sorted = x.stridesort(ascending, stride, length, &index);
    for (unsigned start = 0; start < x.numel(); ++start) {
      if (start / stride % length != 0) continue;
      std::vector<unsigned> order(length);
      std::iota(order.begin(), order.end(), 0U);
      const auto key = [&](unsigned i) {
        const mpq_class re = reference::valueOf(x, start + i * stride),
                        im = reference::imagOf(x, start + i * stride);
        if (x.isreal()) return std::make_pair(re, 0.0);
        return std::make_pair(mpq_class(re * re + im * im), std::atan2(im.get_d(), re.get_d()));
      };
      std::stable_sort(order.begin(), order.end(),
                       [&](unsigned a, unsigned b) { return ascending ? key(a) < key(b) : key(b) < key(a); });
      for (unsigned i = 0; i < length; ++i) {
        EXPECT_EQ(index.realAt(start + i * stride), order[i] + 1);
        EXPECT_EQ(at(sorted, start + i * stride), at(x, start + order[i] * stride));
      }
    }
  }
  EXPECT_EQ(errorOf([] { fi(1.0, NumericType()).stridesort(true, 1, 0); }), "numforge:fi:sort:badstride");
}

TEST(Combination, JoinsNoMoreElementsThanItCanCount) {
  const fi x(1024U, 1024U, NumericType());
  EXPECT_EQ(errorOf([&] { fi::joined("horzcat", x, std::vector<const fi*>(4096, &x)); }),
            "numforge:fi:outofmemory");
}

TEST(Combination, ComplexTakesBothPartsInTheFirstType) {
  const HostArray values = row({1, 2, 3});
  const fi re(&values, NumericType(true, 8, 0)), im(0.75, NumericType(true, 70, 20));
  EXPECT_EQ(contents(re.complex(im)), "1x3x 1+i1 2+i1 3+i1");
  EXPECT_EQ(contents(im.complex(re)), "1x3x 3/4+i1 3/4+i2 3/4+i3");
  EXPECT_EQ(contents(re.complex()), "1x3x 1+i0 2+i0 3+i0");
}

}  // namespace
}  // namespace embedded

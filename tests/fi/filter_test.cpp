/// Filters beside the loops that define them, of operations on single elements: values, states, totals; and the
/// values in exact rationals.
#include "qfcore/fi/filter.h"

#include "qfcore/math/parallel.h"
#include "tests/fi/arrays.h"
#include "tests/fi/meter.h"

namespace embedded {
namespace {

using reference::contents;
using reference::valueOf;

/// The loops of filter.h, as a program would write them with elements of arrays.
class Loop {
 public:
  Loop(const fi& b, const NumericType& sum) : math_(b.getFimath()), register_(b.getFimath()), sum_(sum) {
    register_.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
    register_.setSumWordLength(sum.wordLength());
    register_.setSumFractionLength(sum.fractionLength());
  }

  fi zero(bool isComplex) const { return fi(1U, 1U, sum_, register_, isComplex); }
  fi added(fi s, const fi& x, const fi& y) const { return combined<&fi::plus>(std::move(s), x, y); }
  fi subtracted(fi s, const fi& x, const fi& y) const { return combined<&fi::minus>(std::move(s), x, y); }

  /// One fiber: the elements `places` of x into those of y.
  void filter(const fi& b, const fi& a, const fi& x, const std::vector<unsigned>& places, std::vector<fi>& z,
              fi& y) const {
    const bool hasFeedback = a.numel() > 1;
    for (const unsigned n : places) {
      const fi sample = x.elementAt(n), s = added(z[0], b.elementAt(0), sample);
      fi out(1U, 1U, y.getNumericType(), math_, y.iscomplex());
      if (hasFeedback) {
        out.subsasgnScalarIndexing(0, s);
      } else {
        out = s;
      }
      for (unsigned k = 1; k < z.size(); ++k) {
        fi next = z[k];
        if (k < b.numel()) next = added(next, b.elementAt(k), sample);
        if (k < a.numel()) next = subtracted(next, a.elementAt(k), out);
        z[k - 1] = next;
      }
      y.realPart()[n] = out.realPart();
      if (y.iscomplex()) y.imagPart()[n] = out.imagPart();
    }
  }

 private:
  template <fi (fi::*Operation)(const fi&) const>
  fi combined(fi s, const fi& x, const fi& y) const {
    fi left = x, right = y;
    left.setFimath(math_);
    right.setFimath(math_);
    fi term = left.times(right);
    s.setFimath(register_);
    term.setFimath(register_);
    return (s.*Operation)(term);
  }

  fimath math_, register_;
  NumericType sum_;
};

class Filters : public reference::ArithmeticTest {
 protected:
  Filters() { setThreadCount(3); }
  ~Filters() override { setSharingShortLoops(false); }

  fimath settings() {
    fimath math(random.roundMode(), random.overflowMode());
    math.setMaxProductWordLength(400);
    math.setMaxSumWordLength(400);
    math.setCastBeforeSum(random.coin());
    math.setProductMode(static_cast<ArithmeticModeEnum>(random.integer(0, 3)));
    math.setSumMode(static_cast<ArithmeticModeEnum>(random.integer(0, 3)));
    math.setProductWordLength(word(40));
    math.setSumWordLength(word(52));
    math.setProductFractionLength(random.integer(-4, 50));
    math.setSumFractionLength(random.integer(-4, 60));
    if (random.integer(0, 5) > 0) return math;
    // Sums that fill integers of 256 bits, or pass them; and grids further apart than those.
    math.setSumWordLength(random.integer(180, 262));
    math.setSumFractionLength(random.coin() ? random.integer(-80, 200) : random.integer(-320, 320));
    if (random.coin()) return math;
    const int dropped = random.integer(60, 75);
    math.setProductMode(ArithmeticModeEnum::SpecifyPrecision);
    math.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
    math.setSumWordLength(random.integer(254, 255) - dropped);
    math.setSumFractionLength(math.productFractionLength() - dropped);
    math.setCastBeforeSum(false);
    return math;
  }
  struct Types {
    NumericType b, x;
  };
  /// Of two factors; sometimes without signs, and such that the products fill a native integer.
  Types factorTypes() {
    if (random.integer(0, 4) > 0) return {anyType(), anyType()};
    static constexpr int kFull[] = {63, 127, 255};
    const int both = kFull[random.integer(0, 2)],
              w = random.integer(std::max(both - 128, 1), std::min(both - 1, 128));
    return {NumericType(false, w, random.integer(0, w)), NumericType(false, both - w, random.integer(-3, 30))};
  }
  /// Products that stay what they are ahead, and of which those of `a` leave their type; sums that round those
  /// ahead alone.
  void roundAheadAndLimitBack(fimath& math, Types& types, NumericType& a) {
    types = {NumericType(true, 10, 9), NumericType(true, 9, 4)};
    a = NumericType(true, 12, 4);
    math.setProductMode(ArithmeticModeEnum::KeepLSB);
    math.setProductWordLength(19);
    math.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
    math.setSumWordLength(random.integer(20, 40));
    math.setSumFractionLength(random.integer(8, 12));
    math.setCastBeforeSum(true);
  }
  /// Sums of two products that doubles hold but not with one half added, or that leave 64 bits, before they
  /// wrap.
  void fillNumbersByPairs(fimath& math, Types& types) {
    types = {NumericType(false, 26, 0), NumericType(false, 26, 0)};
    math.setRoundMode(RoundModeEnum::nearest);
    math.setOverflowMode(OverflowModeEnum::wrap);
    math.setProductMode(ArithmeticModeEnum::FullPrecision);
    math.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
    const int unused = random.coin() ? 0 : 11;
    math.setSumFormat(52 + unused, unused);
    math.setCastBeforeSum(true);
  }
  NumericType anyType() {
    static constexpr int kMost[] = {24, 24, 70, 130};
    const int w =
        random.integer(0, 2) == 0 ? 32 * random.integer(1, 2) : random.integer(1, kMost[random.integer(0, 3)]);
    return NumericType(random.integer(0, 3) > 0, w, random.integer(-3, w + 3));
  }
  /// Often a word that fills a native integer or a double, or misses it by one.
  int word(int most) {
    static constexpr int kEnds[] = {52, 53, 63, 64, 65, 127, 128, 129};
    if (random.integer(0, 2) == 0) return kEnds[random.integer(0, 7)];
    return random.integer(1, random.coin() ? most : 140);
  }
  fi vector(unsigned count, const NumericType& type, const fimath& math, int othersReal = 9) {
    const bool isComplex = random.integer(0, othersReal) == 0;
    return random.array(random.coin() ? std::vector{1U, count} : std::vector{count, 1U}, type, math, isComplex);
  }
  unsigned count(int largest) { return static_cast<unsigned>(random.integer(1, largest)); }
  /// A denominator, whose type has a 1.
  NumericType typeWithOne() {
    const int w = random.integer(2, 40);
    return NumericType(true, w, random.integer(0, w - 2));
  }
  fi denominator(unsigned size, const fimath& math, int othersReal = 9) {
    return denominator(size, typeWithOne(), math, othersReal);
  }
  fi denominator(unsigned size, const NumericType& type, const fimath& math, int othersReal) {
    fi a = vector(size, type, math, othersReal);
    a.realPart()[0] = 1.0;
    if (a.iscomplex()) a.imagPart()[0] = 0.0;
    return a;
  }

  /// What an action leaves in the totals of products and sums, and of assignments where they are asked for.
  template <class Action>
  static std::string totalsOf(Action action, bool withAssignments) {
    std::string text;
    const auto total = [](OperationTypeEnum kind) { return qlogger::global(kind); };
    constexpr OperationTypeEnum kKinds[] = {OperationTypeEnum::Product, OperationTypeEnum::Sum,
                                            OperationTypeEnum::Assignment};
    for (const OperationTypeEnum kind : kKinds) total(kind)->reset();
    action();
    for (const OperationTypeEnum kind : kKinds) {
      if (kind == OperationTypeEnum::Assignment && !withAssignments) continue;
      const qlogger& log = *total(kind);
      for (const std::size_t number : {log.noverflows(), log.nunderflows(), log.noperations()})
        text += std::to_string(number) + " ";
      text += valueOf(log.minlog()).get_str() + " " + valueOf(log.maxlog()).get_str() + "; ";
    }
    return text;
  }
  /// What `filter` makes of one fiber, in exact rationals.
  static std::vector<mpq_class> exactly(const fi& b, const fi& a, const fi& x,
                                        const std::vector<unsigned>& places, std::vector<mpq_class> z,
                                        const NumericType& sum, const NumericType& out) {
    const fimath& math = b.getFimath();
    const auto to = [&](const mpq_class& value, const NumericType& type) {
      return reference::quantized(value, type, math.roundMode(), math.overflowMode());
    };
    const auto term = [&](const mpq_class& product, const NumericType& type) {
      return math.castBeforeSum() ? to(to(product, type), sum) : to(product, type);
    };
    const NumericType ahead = b.getProductTypeForMpyOp(x);
    const NumericType back = a.numel() > 1 ? NumericType(a.getProductTypeForMpyOp(x)) : ahead;
    std::vector<mpq_class> signal;
    for (const unsigned n : places) {
      const mpq_class sample = valueOf(x, n), y = to(to(z[0] + term(valueOf(b, 0) * sample, ahead), sum), out);
      for (unsigned k = 1; k < z.size(); ++k) {
        z[k - 1] = z[k];
        if (k < b.numel()) z[k - 1] = to(z[k - 1] + term(valueOf(b, k) * sample, ahead), sum);
        if (k < a.numel()) z[k - 1] = to(z[k - 1] - term(valueOf(a, k) * y, back), sum);
      }
      signal.push_back(y);
    }
    return signal;
  }
  static std::vector<unsigned> rising(unsigned first, unsigned length) {
    std::vector<unsigned> places;
    for (unsigned k = 0; k < length; ++k) places.push_back(first + k);
    return places;
  }
  static std::string described(const Filtered& result) {
    return result.signal.getNumericType().tostring() + contents(result.signal) +
           result.states.getNumericType().tostring() + contents(result.states);
  }
};

TEST_F(Filters, AreTheirLoops) {
  int recursive = 0;
  for (int trial = 0; trial < 1500 && !HasFailure(); ++trial) {
    fimath math = settings();
    Types types = factorTypes();
    NumericType ofA = typeWithOne();
    if (trial % 16 == 1) roundAheadAndLimitBack(math, types, ofA);
    const bool arePairs = trial % 16 == 2;
    if (arePairs) fillNumbersByPairs(math, types);
    const fi b = vector(count(4), types.b, math, arePairs ? 0 : 3),
             a = denominator(trial % 3 == 0 ? 1 : count(4), ofA, math, 3);
    const unsigned rows = count(6), columns = random.coin() ? 1 : count(3);
    const fi x = random.array({rows, columns}, types.x, math, arePairs || random.integer(0, 3) == 0);
    const unsigned order = std::max(b.numel(), a.numel()) - 1, dimension = rows > 1 ? 1 : 2,
                   length = rows > 1 ? rows : columns, fibers = rows > 1 ? columns : 1;
    SCOPED_TRACE(reference::described(x.getNumericType(), math) + " b " + b.getNumericType().tostring() +
                 " a " + a.getNumericType().tostring());
    const auto outcome = [&](const fi* states) {
      std::optional<Filtered> result;
      const std::string totals =
          totalsOf([&] { result.emplace(filter(b, a, x, states, dimension)); }, a.numel() > 1);
      return std::pair{*std::move(result), totals};
    };
    const fi left = filter(b, a, x).states;
    const NumericType sum = left.getNumericType();
    const fi initial = random.array({order, fibers}, sum, math, left.iscomplex() && random.coin());
    const fi* states = random.coin() && order > 0 ? &initial : nullptr;
    setSharingShortLoops(random.coin());

    const auto [fast, fastTotals] = outcome(states);
    setElementPathOnly(true);
    const auto [slow, slowTotals] = outcome(states);
    setElementPathOnly(false);
    qlogger::setLogging(false);
    const std::string quiet = described(filter(b, a, x, states, dimension));
    qlogger::setLogging(true);
    ASSERT_EQ(described(fast), described(slow));
    ASSERT_EQ(described(fast), quiet);
    ASSERT_EQ(fastTotals, slowTotals);

    Filtered expected = fast;
    const Loop loop(b, sum);
    const std::string totals = totalsOf(
        [&] {
          for (unsigned fiber = 0; fiber < fibers; ++fiber) {
            std::vector<fi> z(order + 1, loop.zero(expected.signal.iscomplex()));
            for (unsigned k = 0; states && k < order; ++k) {
              z[k].realPart() = initial.realPart()[fiber * order + k];
              if (initial.iscomplex()) z[k].imagPart() = initial.imagPart()[fiber * order + k];
            }
            loop.filter(b, a, x, rising(fiber * length, length), z, expected.signal);
            for (unsigned k = 0; k < order; ++k) {
              expected.states.realPart()[fiber * order + k] = z[k].realPart();
              if (z[k].iscomplex()) expected.states.imagPart()[fiber * order + k] = z[k].imagPart();
            }
          }
        },
        a.numel() > 1);
    ASSERT_EQ(described(fast), described(expected));
    ASSERT_EQ(fastTotals, totals);
    if (fast.signal.iscomplex()) continue;
    for (unsigned fiber = 0; fiber < fibers; ++fiber) {
      std::vector<mpq_class> z(order + 1, 0);
      for (unsigned k = 0; states && k < order; ++k) z[k] = valueOf(initial, fiber * order + k);
      const auto exact = exactly(b, a, x, rising(fiber * length, length), z, sum, fast.signal.getNumericType());
      for (unsigned n = 0; n < length; ++n) ASSERT_EQ(valueOf(fast.signal, fiber * length + n), exact[n]);
    }
    recursive += a.numel() > 1;
  }
  EXPECT_GT(recursive, 200);
}

TEST_F(Filters, InFullPrecisionLoseNothingBeforeTheOutput) {
  for (int trial = 0; trial < 300; ++trial) {
    fimath math(random.roundMode(), random.overflowMode());
    math.setMaxSumWordLength(400);
    math.setMaxProductWordLength(400);
    const fi b = vector(count(4), anyType(), math), a = denominator(count(4), math),
             x = random.array({count(40), 1}, anyType(), math, random.coin());
    // A product of complex values without signs may be negative, which its type, as that of `times`, does not
    // hold.
    const bool areSigned = b.getNumericType().isSigned() || x.getNumericType().isSigned();
    if (b.iscomplex() && x.iscomplex() && !areSigned) continue;
    qlogger::global(OperationTypeEnum::Sum)->reset();
    const NumericType type = filter(b, a, x).states.getNumericType();
    const qlogger& sums = *qlogger::global(OperationTypeEnum::Sum);
    EXPECT_EQ(sums.noverflows() + sums.nunderflows(), 0U)
        << type.tostring() << " of " << b.getNumericType().tostring() << a.getNumericType().tostring()
        << x.getNumericType().tostring();
  }
  const fimath math;
  const fi b(3U, 1U, NumericType(true, 16, 15), math), x(5U, 1U, NumericType(true, 16, 15), math);
  fi a(3U, 1U, NumericType(true, 16, 14), math);
  a.realPart()[0] = 1.0;
  // Five products of two or three integer bits; and three, as in a matrix product.
  EXPECT_EQ(filter(b, a, x).states.getNumericType(), NumericType(true, 36, 30));
  EXPECT_EQ(conv(b, x).getNumericType(), NumericType(true, 34, 30));
  // A term of complex factors with more bits than its products: the most that a sum holds, negated.
  fimath longSums;
  longSums.setProductMode(ArithmeticModeEnum::SpecifyPrecision);
  longSums.setProductFractionLength(0);
  longSums.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
  longSums.setSumWordLength(65);
  longSums.setSumFractionLength(45);
  fi i(1U, 1U, NumericType(true, 32, 0), longSums, true);
  i.imagPart()[0] = 0x1p30;
  EXPECT_EQ(contents(conv(i, i)), contents(i.times(i)));
  EXPECT_EQ(reference::errorOf([&] { dot(fi(), x); }), "numforge:fi:dimagree");
}

TEST_F(Filters, OfSectionsConvolutionsAndRunningSumsAreTheirLoops) {
  for (int trial = 0; trial < 300 && !HasFailure(); ++trial) {
    const fimath math = settings();
    const fi x = vector(count(7), anyType(), math, 3), u = vector(count(7), anyType(), math, 3);
    SCOPED_TRACE(reference::described(x.getNumericType(), math) + " u " + u.getNumericType().tostring());
    setElementPathOnly(trial % 4 == 0);

    // Sections, with states from one half of the signal to the other.
    const int w = random.integer(2, 40);
    const unsigned rows = count(3);
    fi sections = random.array({rows, 6}, NumericType(true, w, random.integer(0, w - 2)), math,
                               random.integer(0, 4) == 0);
    for (unsigned row = 0; row < rows; ++row) {
      sections.realPart()[3 * rows + row] = 1.0;
      if (sections.iscomplex()) sections.imagPart()[3 * rows + row] = 0.0;
    }
    const auto coefficients = [&](unsigned row, unsigned column) {
      fi taken(3U, 1U, sections.getNumericType(), math, sections.iscomplex());
      for (unsigned k = 0; k < 3; ++k) {
        taken.realPart()[k] = sections.realPart()[row + (column + k) * rows];
        if (sections.iscomplex()) taken.imagPart()[k] = sections.imagPart()[row + (column + k) * rows];
      }
      return taken;
    };
    fi signal = sections.iscomplex() && x.isreal() ? x.complex() : x;
    const std::string one = totalsOf(
        [&] {
          for (unsigned row = 0; row < rows; ++row)
            signal = filter(coefficients(row, 0), coefficients(row, 3), signal).signal;
        },
        true);
    std::optional<fi> found;
    ASSERT_EQ(totalsOf([&] { found.emplace(sosfilt(sections, x).signal); }, true), one);
    ASSERT_EQ(contents(*found), contents(signal));
    const unsigned half = x.numel() / 2;
    fi first(half, 1U, x.getNumericType(), math, x.iscomplex()),
        second(x.numel() - half, 1U, x.getNumericType(), math, x.iscomplex());
    for (unsigned k = 0; k < x.numel(); ++k) {
      fi& part = k < half ? first : second;
      part.realPart()[k < half ? k : k - half] = x.realPart()[k];
      if (x.iscomplex()) part.imagPart()[k < half ? k : k - half] = x.imagPart()[k];
    }
    const Filtered begun = sosfilt(sections, first, nullptr, 1);
    const fi ended = sosfilt(sections, second, &begun.states, 1).signal;
    for (unsigned k = half; k < x.numel(); ++k)
      ASSERT_EQ(contents(ended.elementAt(k - half)), contents(signal.elementAt(k)));

    // Convolutions, of which a sum of products is one element.
    for (const auto shape : {ConvolutionShape::Full, ConvolutionShape::Same, ConvolutionShape::Valid}) {
      const bool isFull = shape == ConvolutionShape::Full, isSame = shape == ConvolutionShape::Same;
      const unsigned skipped = isFull ? 0 : isSame ? x.numel() / 2 : x.numel() - 1;
      const std::string totals = totalsOf([&] { found.emplace(conv(u, x, shape)); }, false);
      const Loop loop(u, found->getNumericType());
      ASSERT_EQ(totals, totalsOf(
                            [&] {
                              for (unsigned n = 0; n < found->numel(); ++n) {
                                fi sum = loop.zero(u.iscomplex() || x.iscomplex());
                                for (unsigned k = 0; k < u.numel(); ++k) {
                                  const unsigned m = n + skipped - k;
                                  if (n + skipped >= k && m < x.numel())
                                    sum = loop.added(sum, u.elementAt(k), x.elementAt(m));
                                }
                                ASSERT_EQ(contents(sum), contents(found->elementAt(n)));
                              }
                            },
                            false));
      qlogger::setLogging(false);
      ASSERT_EQ(contents(conv(u, x, shape)), contents(*found));
      qlogger::setLogging(true);
      ASSERT_EQ(found->numel(), isFull   ? u.numel() + x.numel() - 1
                                : isSame ? u.numel()
                                         : std::max(u.numel() + 1, x.numel()) - x.numel());
    }
    const fi upright = x.iscolumn() ? x : x.transpose();
    if (x.isreal() && x.numel() > 1) {
      ASSERT_EQ(contents(dot(x, upright)), contents(upright.transpose().mtimes(upright)));
    }
    const std::vector<unsigned> dims{count(5), count(5)};
    const fi left = random.array(dims, anyType(), math, random.coin()),
             right = random.array(dims, anyType(), math, random.coin());
    const std::string fast = totalsOf([&] { found.emplace(dot(left, right)); }, false),
                      products = contents(*found);
    qlogger::setLogging(false);
    ASSERT_EQ(contents(dot(left, right)), products);
    qlogger::setLogging(true);
    setElementPathOnly(true);
    ASSERT_EQ(totalsOf([&] { found.emplace(dot(left, right)); }, false), fast);
    ASSERT_EQ(contents(*found), products);
    setElementPathOnly(trial % 4 == 0);

    // A running sum is the sum of the elements so far in the type of all of them.
    const fi whole = random.array({count(5), count(5)}, anyType(), math, random.coin());
    const unsigned dimension = count(2), stride = dimension == 1 ? 1 : whole.rows();
    std::optional<fi> total;
    const std::string sums = totalsOf([&] { total.emplace(whole.sumAlong(dimension)); }, false);
    ASSERT_EQ(totalsOf([&] { found.emplace(cumsum(whole, dimension)); }, false), sums);
    ASSERT_EQ(found->getNumericType(), total->getNumericType());
    fimath fixed = math;
    fixed.setSumMode(ArithmeticModeEnum::SpecifyPrecision);
    fixed.setSumWordLength(total->getNumericType().wordLength());
    fixed.setSumFractionLength(total->getNumericType().fractionLength());
    for (unsigned k = 0; k < whole.numel(); ++k) {
      const unsigned before = dimension == 1 ? k % whole.rows() : k / whole.rows();
      fi part(before + 1, 1U, whole.getNumericType(), fixed, whole.iscomplex());
      for (unsigned i = 0; i <= before; ++i) {
        part.realPart()[i] = whole.realPart()[k - (before - i) * stride];
        if (whole.iscomplex()) part.imagPart()[i] = whole.imagPart()[k - (before - i) * stride];
      }
      ASSERT_EQ(contents(found->elementAt(k)), contents(part.sumAlong(1)));
    }
  }
}

}  // namespace
}  // namespace embedded

/// Indexing compared with the host's indexing of the same values, and what only fixed-point arrays do.
#include <algorithm>
#include <cmath>

#include "tessel/interpreter.h"
#include "tests/fi/arrays.h"

namespace embedded {
namespace {

using reference::contents;
using reference::errorOf;
using reference::Failure;
using reference::failureOf;
using reference::indexOf;
using reference::Random;
using reference::row;
using tessel::ArrayClass;
using tessel::HostArray;

// ---------------------------------------------------------------------------------- beside the host's indexing

HostArray numbers(Random& random, std::vector<unsigned> dims, int low, int high, bool isComplex = false) {
  HostArray array =
      HostArray::zeros(ArrayClass::Double, tessel::Dimensions(dims.begin(), dims.end()), isComplex);
  for (std::size_t k = 0; k < array.numel(); ++k) {
    array.mutableReal<double>()[k] = random.integer(low, high);
    if (isComplex) array.mutableImag<double>()[k] = random.integer(low, high);
  }
  return array;
}

/// A subscript into a dimension of `extent`: mostly a good one.
HostArray randomSubscript(Random& random, unsigned extent) {
  const int last = static_cast<int>(extent);
  switch (random.integer(0, 15)) {
    case 0:
    case 1:
    case 2: return HostArray::text(":");
    case 3:
    case 4:
    case 5: return HostArray::scalar(random.integer(1, std::max(last, 1)));
    case 6:
    case 7: return numbers(random, {1, static_cast<unsigned>(random.integer(0, 4))}, 1, std::max(last, 1));
    case 8: return numbers(random, {2, 2}, 1, std::max(last, 1));
    case 9: return HostArray::scalar(random.integer(last, last + 3));
    case 10: {
      HostArray mask =
          HostArray::zeros(ArrayClass::Logical, {1, static_cast<std::size_t>(random.integer(0, last + 1))});
      for (std::size_t k = 0; k < mask.numel(); ++k) mask.mutableReal<bool>()[k] = random.coin();
      return mask;
    }
    case 11: return HostArray::scalarOf<std::int32_t>(random.integer(1, std::max(last, 1)));
    case 12: return HostArray::zeros(ArrayClass::Double, {0, 0});
    case 13: return HostArray::scalar(random.integer(-1, 0));
    case 14: return row({static_cast<double>(random.integer(1, std::max(last, 1))), random.coin() ? 1.5 : NAN});
    default: return HostArray::logical(random.coin());
  }
}

HostArray randomIndex(Random& random, const fi& x) {
  std::vector<HostArray> subscripts;
  const int count = random.integer(0, 39) == 0 ? 0 : random.integer(1, 4);
  for (int d = 1; d <= count; ++d) {
    unsigned extent = x.getDimension(static_cast<unsigned>(d));
    if (d == count) {
      for (unsigned rest = static_cast<unsigned>(d) + 1; rest <= x.numDims(); ++rest)
        extent *= x.getDimension(rest);
    }
    subscripts.push_back(randomSubscript(random, extent));
  }
  HostArray index = indexOf(subscripts);
  if (random.integer(0, 99) == 0) index.mutableFieldAt("subs") = HostArray::scalar(1);
  return index;
}

/// Types that hold the integers from −200 to 200, among them a wide one and one with slope and bias.
NumericType randomType(Random& random) {
  switch (random.integer(0, 3)) {
    case 0: return NumericType(true, 70, 5);
    case 1:
      return NumericType(EmbeddedTypeSystem::DataTypeEnum::Fixed, EmbeddedTypeSystem::ScalingEnum::SlopeBias,
                         true, 20, 1.5, -2, 3);
    default: return NumericType(true, 16, 4);
  }
}

void expectSame(const fi& x, const HostArray& host, const std::string& what) {
  const HostArray values = x.getDoubleHostArray();
  EXPECT_EQ(values.dims(), host.dims()) << what;
  if (values.dims() != host.dims()) return;
  const auto part = [](const HostArray& a, std::size_t k) { return a.isComplex() ? a.imagAt(k) : 0.0; };
  for (std::size_t k = 0; k < host.numel(); ++k) {
    EXPECT_EQ(values.realAt(k), host.realAt(k)) << what << " at " << k;
    EXPECT_EQ(part(values, k), part(host, k)) << what << " at " << k;
  }
}

/// What failed, without the position that a message may go on to name.
std::string reasonOf(const std::optional<Failure>& failure) {
  if (!failure) return "none";
  const std::string reason = failure->reason();
  const std::size_t detail = reason.find(": ");
  return detail == std::string::npos ? reason : reason.substr(0, detail) + ".";
}

void expectSameFailure(const std::optional<Failure>& mine, const std::optional<Failure>& hosts,
                       const std::string& what) {
  EXPECT_EQ(reasonOf(mine), reasonOf(hosts)) << what;
}

struct Case {
  fi x;
  HostArray host;
};

/// An array whose elements are integers that `type` holds, twice.
Case randomCase(Random& random) {
  const HostArray values = numbers(random, reference::randomDims(random, random.integer(2, 4), 4), -67, 67,
                                   random.integer(0, 3) == 0);
  fi x(&values, randomType(random));
  return {x, x.getDoubleHostArray()};
}

TEST(Indexing, ReferencesAsTheHostDoes) {
  Random random;
  for (int trial = 0; trial < 6000; ++trial) {
    const Case c = randomCase(random);
    const HostArray index = randomIndex(random, c.x);
    const std::string what = "trial " + std::to_string(trial);
    HostArray expected;
    const auto hosts = failureOf([&] { expected = tessel::callBuiltin("subsref", {c.host, index}).at(0); });
    std::optional<fi> selected;
    expectSameFailure(failureOf([&] { selected = c.x.subsref(index); }), hosts, what);
    if (!selected || hosts) continue;
    expectSame(*selected, expected, what);
    EXPECT_EQ(selected->iscomplex(), c.x.iscomplex());
    EXPECT_TRUE(selected->getNumericType().isequal(c.x.getNumericType()));
  }
}

TEST(Indexing, AssignsGrowsAndDeletesAsTheHostDoes) {
  Random random;
  int grown = 0, overwritten = 0, refused = 0, deleted = 0;
  for (int trial = 0; trial < 12000; ++trial) {
    const Case c = randomCase(random);
    const HostArray index = randomIndex(random, c.x);
    const std::string what = "trial " + std::to_string(trial);
    HostArray rhs = HostArray::scalar(random.integer(-67, 67));
    const int kind = random.integer(0, 5);
    if (kind == 0) {
      rhs = HostArray();
    } else if (kind > 2) {
      std::vector<unsigned> dims{1, static_cast<unsigned>(random.integer(1, 4))};
      (void)failureOf([&] {
        dims.clear();
        const HostArray selected = tessel::callBuiltin("subsref", {c.host, index}).at(0);
        for (const std::size_t size : selected.dims()) dims.push_back(static_cast<unsigned>(size));
      });
      if (dims.empty() || std::count(dims.begin(), dims.end(), 0U) > 0) dims = {1, 2};
      rhs = numbers(random, dims, -67, 67, random.integer(0, 4) == 0);
    }
    // The host gets what the type makes of the values.
    const bool isDeletion = rhs.isEmpty();
    const fi source = fi(&rhs, c.x.getNumericType());
    HostArray host = c.host;
    const auto hosts = failureOf([&] {
      host = tessel::callBuiltin("subsasgn", {c.host, index, isDeletion ? rhs : source.getDoubleHostArray()})
                 .at(0);
    });
    fi target(c.x);
    expectSameFailure(failureOf([&] {
                        if (random.coin()) {
                          target.subsasgn(index, rhs);
                        } else {
                          target.subsasgn(index, source);
                        }
                      }),
                      hosts, what);
    if (hosts) {
      EXPECT_EQ(contents(target), contents(c.x)) << what;
    } else {
      expectSame(target, host, what);
    }
    (hosts ? refused : isDeletion ? deleted : target.numel() == c.x.numel() ? overwritten : grown) += 1;
  }
  EXPECT_GT(std::min({grown, overwritten, refused, deleted}), 300);
}

// ------------------------------------------------------------------------------------------- fixed-point rules

TEST(Indexing, WideValuesAreRoundedByTheTargetsQuantizerAlone) {
  Random random;
  for (int trial = 0; trial < 800; ++trial) {
    const fimath math(random.roundMode(), random.overflowMode());
    const fi rhs = random.array({1, 3}, random.type(1, 200), {}, false);
    fi target = random.array({2, 4}, random.type(1, 200), math, false);
    target.subsasgn(indexOf({HostArray::scalar(2), row({1, 4, 2})}), rhs);
    const NumericType& type = target.getNumericType();
    const bool inDoubles = static_cast<unsigned>(std::max(
                               type.wordLength(), rhs.getNumericType().wordLength())) <= kMaxDoublePrecision;
    const unsigned places[] = {1, 7, 3};
    for (unsigned j = 0; j < 3; ++j) {
      EXPECT_EQ(reference::valueOf(target, places[j]),
                reference::quantized(reference::valueOf(rhs, j), type, math.roundMode(), math.overflowMode(),
                                     nullptr, inDoubles))
          << reference::described(type, math) << " from " << rhs.getNumericType().tostring();
    }
  }
}

TEST(Indexing, IntegersThatNoDoubleHoldsAreAssignedExactly) {
  fi target(0.0, NumericType(true, 52, -12), fimath(RoundModeEnum::ceil, OverflowModeEnum::saturate));
  target.subsasgn(indexOf({HostArray::scalar(1)}),
                  HostArray::scalarOf<std::int64_t>((std::int64_t{1} << 62) + 1));
  EXPECT_EQ(reference::valueOf(target, 0), mpq_class(reference::pow2(62) + 4096));
  fi natural(0.0, NumericType(false, 64, 0));
  natural.subsasgn(indexOf({HostArray::scalar(1)}),
                   HostArray::scalarOf<std::uint64_t>((std::uint64_t{1} << 63) + 1));
  EXPECT_EQ(reference::valueOf(natural, 0), mpq_class(reference::pow2(63) + 1));
}

struct LogScope {
  LogScope() {
    qlogger::global(OperationTypeEnum::Assignment)->reset();
    tessel::lastWarning() = {};
  }
  ~LogScope() { qlogger::setLogging(false); }
};

TEST(Indexing, CountsEveryAssignedElement) {
  const LogScope scope;
  const HostArray values = row({1, 2, 3, 4});
  const qlogger& total = *qlogger::global(OperationTypeEnum::Assignment);
  fi x(&values, NumericType(true, 8, 0));
  const auto assign = [&](const HostArray& subscript, const HostArray& rhs) {
    x.subsasgn(indexOf({subscript}), rhs);
  };

  assign(HostArray::text(":"), HostArray::scalar(1000));
  EXPECT_EQ(x.getNoverflows() + x.getNoperations() + total.noverflows(), 0U);
  EXPECT_EQ(tessel::lastWarning().identifier, "");

  qlogger::setLogging(true);
  assign(HostArray::text(":"), HostArray::scalar(1000));
  EXPECT_EQ(x.getNoverflows(), 4U);
  EXPECT_EQ(total.noverflows(), 4U);
  EXPECT_EQ(tessel::lastWarning().text, "4 overflows occurred in the fi assignment operation.");
  assign(HostArray::scalar(2), HostArray::scalar(0.25));
  EXPECT_EQ(x.getNunderflows(), 1U);
  EXPECT_EQ(tessel::lastWarning().identifier, "fi:underflow");
  EXPECT_EQ(tessel::lastWarning().text, "1 underflow occurred in the fi assignment operation.");
  assign(HostArray::scalar(9), HostArray::scalar(-1000));
  EXPECT_EQ(x.getNoverflows(), 5U);
  EXPECT_EQ(x.getNoperations(), 6U);
  EXPECT_EQ(total.noverflows(), 5U);
  EXPECT_EQ(total.realWorldMin(), -128);
  EXPECT_EQ(total.realWorldMax(), 127);

  tessel::lastWarning() = {};
  assign(HostArray::scalar(1), HostArray::scalar(3));
  EXPECT_EQ(tessel::lastWarning().identifier, "");
  qlogger::setLogType(LogTypeEnum::Local);
  assign(HostArray::scalar(1), HostArray::scalar(500));
  const qlogger& sums = *qlogger::global(OperationTypeEnum::Sum);
  sums.reset();
  fimath narrow;
  narrow.setSumMode(ArithmeticModeEnum::KeepLSB);
  narrow.setSumWordLength(8);
  const fi most(1000.0, NumericType(true, 8, 0), narrow);
  EXPECT_EQ(most.plus(most).getNoverflows(), 1U);
  EXPECT_EQ(sums.noverflows(), 0U);
  qlogger::setLogType(LogTypeEnum::Global);
  EXPECT_EQ(x.getNoverflows(), 6U);
  EXPECT_EQ(total.noverflows(), 5U);
}

TEST(Indexing, ComplexityFollowsTheRightHandSide) {
  const HostArray values = row({1, 2, 3});
  HostArray imaginary = HostArray::scalar(4);
  *imaginary.mutableImag<double>() = -5;
  fi x(&values, NumericType(true, 8, 0));
  x.subsasgn(indexOf({HostArray::scalar(2)}), imaginary);
  EXPECT_EQ(contents(x), "1x3x 1+i0 4+i-5 3+i0");
  x.subsasgn(indexOf({HostArray::scalar(2)}), HostArray::scalar(7));
  EXPECT_EQ(contents(x), "1x3x 1+i0 7+i0 3+i0");
}

TEST(Indexing, AnArrayIsAssignedIntoItselfByPositions) {
  for (const int wordLength : {16, 60}) {
    // More than two blocks, each element elsewhere.
    const auto count = 2100U;
    std::vector<double> ramp(count), places(count);
    for (unsigned k = 0; k < count; ++k) ramp[k] = k, places[k] = count - k;
    const HostArray values = row(ramp), backwards = row(places);
    const fi original(&values, NumericType(true, wordLength, 0));
    fi x(original), y(original), z(original), shifted(original);
    x.subsasgn(indexOf({backwards}), x);
    for (double& place : places) place = -place;
    y.subscriptedOverwriteAssignment(row(places), y);
    z.subscriptedGrowAssignment(row(places), z);
    const fi expected = original.subscriptedReference(backwards);
    for (const fi* each : {&x, &y, &z}) EXPECT_EQ(contents(*each), contents(expected));
    shifted.copydata(shifted);
    EXPECT_EQ(contents(shifted), contents(original));
  }
}

TEST(Indexing, ThroughAMapTooLongToBeKeptIsTheSame) {
  const unsigned count = (1U << 22) + 5;
  fi x(1U, count, NumericType(true, 24, 0));
  x.realPart()[count - 1] = 7.0;
  const HostArray ends = indexOf({row({static_cast<double>(count), 1})});
  for (int call = 0; call < 2; ++call) EXPECT_EQ(contents(x.subsref(ends)), "1x2x 7 0");
  EXPECT_EQ(contents(x.elementAt(0).subsref(indexOf({row({1, 1})}))), "1x2x 0 0");
}

TEST(Indexing, PositionOperationsCheckTheirPositions) {
  const HostArray values = row({1, 2, 3});
  fi x(&values, NumericType(true, 8, 0));
  const fi rhs(300.0, NumericType(true, 16, 0));
  EXPECT_EQ(contents(x.subscriptedReference(row({3, 1.9, 2}))), "1x3x 3 1 2");
  x.subscriptedOverwriteAssignment(row({1, -1, 3}), rhs);
  EXPECT_EQ(contents(x), "1x3x 1 127 3");
  x.subscriptedGrowAssignment(row({3, 0, -1, 1}), HostArray::scalar(-9));
  EXPECT_EQ(contents(x), "1x4x 3 0 -9 1");
  EXPECT_EQ(errorOf([&] { x.subscriptedDelete(row({4294967296.0})); }), "Tessel:badsubscript");
  EXPECT_EQ(errorOf([&] { x.subscriptedOverwriteAssignment(row({1, -2}), rhs); }), "numforge:fi:badindex");
  x.subscriptedDelete(row({4, 1}));
  EXPECT_EQ(contents(x), "1x2x 1 3");
  x.subscriptedOverwriteAssignment(row({-1, 2}), HostArray::scalar(-4.6));
  EXPECT_EQ(contents(x), "1x2x -5 3");
  x.subscriptedGrowAssignmentFromStruct(reference::indexOf({row({4})}), rhs);
  EXPECT_EQ(contents(x), "1x4x -5 3 0 127");
  x.copydata(rhs);
  EXPECT_EQ(contents(x), "1x1x 127");
  EXPECT_TRUE(fi::isParenthesisIndex(indexOf({})));
  HostArray index = indexOf({});
  for (const HostArray& type : {HostArray::text("{}"), HostArray::text(""), HostArray::scalar('(')}) {
    index.mutableFieldAt("type") = type;
    EXPECT_FALSE(fi::isParenthesisIndex(index));
  }
  index = indexOf({});
  index.removeField("subs");
  EXPECT_FALSE(fi::isParenthesisIndex(index) || fi::isParenthesisIndex(HostArray()));
}

}  // namespace
}  // namespace embedded

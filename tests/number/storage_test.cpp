// Choice of representation, copies, views, resizing, sorting, display.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <numeric>
#include <thread>
#include <vector>

#include "qfcore/number/precision.h"
#include "reference.h"

namespace {

using namespace embedded;
using namespace reference;

/// Laws that hold for vectors of either kind; `GetParam` is the precision.
class Storage : public testing::TestWithParam<unsigned> {
 protected:
  number vectorOf(std::initializer_list<double> values) const {
    number vector(static_cast<unsigned>(values.size()), GetParam(), NumberVector{});
    unsigned i = 0;
    for (const double value : values) vector[i++] = value;
    return number(vector, NumberVector{});
  }
  static std::vector<double> valuesOf(const number& n) {
    std::vector<double> values;
    for (unsigned i = 0; i < n.numel(); ++i) values.push_back(n[i].todouble());
    return values;
  }
  using Values = std::vector<double>;
};
INSTANTIATE_TEST_SUITE_P(Bodies, Storage, testing::Values(kDoublePrecision, kWidePrecision));

TEST_P(Storage, CopiesAreScalarsAndDeepCopiesAreWhole) {
  number v = number(vectorOf({1, 2, 3}), NumberVector{});
  v.setIndex(2);
  const number scalar(v);
  EXPECT_EQ(valuesOf(scalar), Values{3});
  EXPECT_EQ(scalar.getprecision(), GetParam());
  number whole(v, NumberVector{});
  whole[0] = 9;
  EXPECT_EQ(valuesOf(whole), (Values{9, 2, 3}));
  EXPECT_EQ(v[0].todouble(), 1);
  const std::unique_ptr<numberrepbody> cloned(v[1].getbody()->clone());
  EXPECT_EQ(cloned->numel(), 1U);
  EXPECT_EQ(cloned->todouble(), 2);
  if (v.doubles()) {
    EXPECT_EQ(cloned->precision(), kMaxDoublePrecision);
  }
  const number empty(0U, GetParam(), NumberVector{});
  EXPECT_TRUE(empty.isempty() && number(empty).isempty() && number(empty, NumberVector{}).isempty());
}

TEST_P(Storage, NewSingleValuesShowNothingOfThoseBefore) {
  const std::vector<std::function<void(number&)>> uses = {
      [](number& x) { x.setIndex(3); },
      [](number& x) { x.resize(5)[4] = 7; },
      [](number& x) { x.resize(0); },
      [](number& x) { number(x, CopyIndex{}, 0, 0).setIndex(2); },
      [](number& x) { number(x, Reading{}).setIndex(1); },
      [](number& x) { number(std::move(x)).resize(2); }};
  for (const auto& use : uses) {
    std::vector<number> made;
    for (int k = 0; k < 100; ++k) made.push_back(vectorOf({-1}));
    std::for_each(made.begin(), made.end(), use);
    made.clear();
    std::thread([kept = vectorOf({4})]() mutable { number(std::move(kept)) = 5; }).join();
    for (int k = 0; k < 100; ++k) {
      made.push_back(number(1U, GetParam() - 1, NumberVector{}));
      EXPECT_EQ(made.back().getprecision(), GetParam() - 1);
      EXPECT_EQ(made.back().getIndex(), 0U);
      EXPECT_EQ(valuesOf(made.back()), Values{0});
      made.back() = k;
    }
    for (int k = 0; k < 100; ++k) EXPECT_EQ(valuesOf(made[k]), Values{double(k)});
  }
}

TEST_P(Storage, NothingCanBeDoneToNoValues) {
  number empty(0U, GetParam(), NumberVector{});
  for (const bool hasBody : {false, true}) {
    empty.stridesort(true, 1, 0);
    empty.stridesort2(nullptr, false, 0, 3);
    empty.disp();
    EXPECT_EQ(empty.getbody() != nullptr, hasBody);
    number view(empty, CopyIndex{});
    EXPECT_TRUE(std::unique_ptr<numberrepbody>(view.getbody()->clone())->isempty());
    if (mpnumber* wide = view.multiprecision()) {
      EXPECT_EQ(wide->modifiableIntegers<std::int64_t>(0), nullptr);
    }
  }
}

TEST_P(Storage, ViewsShareEverythingButTheIndex) {
  for (const unsigned count : {0U, 1U, 3U}) {
    number owner(count, GetParam(), NumberVector{});
    number view(owner, CopyIndex{}), second(view, CopyIndex{});
    view.resize(4);
    owner[2] = 7;
    EXPECT_EQ(view.getIndex(), 0U);
    EXPECT_EQ(valuesOf(second), (Values{0, 0, 7, 0})) << "from " << count;
    second.resize(1);
    second[0] = 5;
    EXPECT_EQ(valuesOf(owner), Values{5});
    owner.resize(0);
    EXPECT_TRUE(view.isempty() && second.isempty());
  }
  auto owner = std::make_unique<number>(1.5, GetParam(), false);
  const number view(*owner, CopyIndex{});
  owner.reset();
  EXPECT_EQ(view.todouble(), 1.5);
}

TEST_P(Storage, ResizeKeepsWhatFits) {
  number v(vectorOf({1, 2, 3}), NumberVector{});
  EXPECT_EQ(valuesOf(v.resize(5)), (Values{1, 2, 3, 0, 0}));
  EXPECT_EQ(valuesOf(v.resize(1)), Values{1});
  EXPECT_EQ(valuesOf(v.resize(2)), (Values{1, 0}));
  EXPECT_EQ(valuesOf(v.resize(3, GetParam())), (Values{1, 0, 0}));
  number window(v, CopyIndex{}, 1, 7);
  window.resize(2, GetParam()).setIndex(1);
  window = 4;
  for (const unsigned first : {2U, 9U}) EXPECT_TRUE(number(window, CopyIndex{}, first, 1).isempty());
  EXPECT_EQ(valuesOf(number(window, CopyIndex{}, 1, 9)), Values{4});
  EXPECT_EQ(valuesOf(v), (Values{1, 0, 4}));
  EXPECT_EQ(valuesOf(v.resize(2, 70)), (Values{0, 0}));
  EXPECT_EQ(v.getprecision(), 70U);
  EXPECT_NE(v.multiprecision(), nullptr);
}

TEST_P(Storage, LargeVectorsStartAsZerosInUsedMemoryToo) {
  constexpr unsigned kCount = 1U << 20;
  for (int round = 0; round < 3; ++round) {
    number n(kCount, GetParam(), NumberVector{});
    for (const unsigned i : {0U, 1U, kCount / 2, kCount - 1}) {
      ASSERT_TRUE(n[i].iszero());
      n = 7.0;
    }
  }
}

TEST_P(Storage, SortsAlongADimension) {
  Generator random;
  for (int trial = 0; trial < 200; ++trial) {
    const unsigned stride = static_cast<unsigned>(random.integer(1, 3));
    const unsigned length = static_cast<unsigned>(random.integer(1, 9));
    const unsigned count = stride * length * 2;
    const bool ascending = random.coin();
    number values(count, GetParam(), NumberVector{});
    for (unsigned i = 0; i < count; ++i) {
      const int value = random.integer(-3, 4);
      values[i] = value == 4 ? std::nan("") : value;
    }
    const Values before = valuesOf(values);
    number plain(values, NumberVector{});
    plain.stridesort(ascending, stride, length);
    Values index(count);
    values.stridesort2(index.data(), ascending, stride, length);
    for (unsigned start = 0; start < count; ++start) {
      if (start / stride % length != 0) continue;
      const auto rank = [](double x) { return std::isnan(x) ? 100 : x; };
      std::vector<unsigned> order(length);
      std::iota(order.begin(), order.end(), 0U);
      std::stable_sort(order.begin(), order.end(), [&](unsigned a, unsigned b) {
        const double x = rank(before[start + a * stride]), y = rank(before[start + b * stride]);
        return ascending ? x < y : x > y;
      });
      for (unsigned i = 0; i < length; ++i) {
        const unsigned at = start + i * stride;
        EXPECT_EQ(index[at], order[i] + 1.0);
        EXPECT_EQ(rank(values[at].todouble()), rank(before[start + order[i] * stride]));
        EXPECT_EQ(rank(plain[at].todouble()), rank(values[at].todouble()));
      }
    }
  }
}

TEST_P(Storage, DisplaysEveryElement) {
  testing::internal::CaptureStdout();
  vectorOf({1.5, -0.1}).disp();
  std::fflush(stdout);
  const std::string name = GetParam() == kDoublePrecision ? "doublenumber" : "mpnumber";
  EXPECT_EQ(testing::internal::GetCapturedStdout().substr(0, name.size() + 10), "\n" + name + "[0] = 1.5");
}

TEST(Factory, PrecisionDecidesTheBody) {
  const unsigned limit = kMaxDoublePrecision;
  EXPECT_EQ(number(1.0, limit, false).gettype(), kDoubleRepresentation);
  EXPECT_EQ(number(1.0, limit + 1, false).gettype(), kMultiprecisionRepresentation);
  EXPECT_EQ(number(1.0, 8, true).gettype(), kMultiprecisionRepresentation);
  EXPECT_EQ(number(3U, 8, NumberVector{}).gettype(), kDoubleRepresentation);
  EXPECT_EQ(number(3U, limit + 1, NumberVector{}).gettype(), kMultiprecisionRepresentation);
  EXPECT_EQ(number(1.0, 8, false).getprecision(), limit);
  EXPECT_EQ(number(0.1, limit + 1, false).todouble(), 0.1);
}

TEST(Multiprecision, TwoRulesOfPrecision) {
  number n(1.0, 64, false);
  EXPECT_EQ(n.multiprecision()->getprecision(), 65U);
  EXPECT_EQ(n.multiprecision()->setprecision(16).getprecision(), 33U);
  EXPECT_EQ(number(0.1, 16, true).multiprecision()->getprecision(), 32U);
}

TEST(Multiprecision, AssignmentIsExactAndWidensOnlyWhatNeedsIt) {
  number narrow(3U, 64, NumberVector{}), wide(0.0, kWidePrecision, false);
  const mpq_class value = 1 + scaled(mpq_class(1), -290);
  ASSERT_TRUE(put(wide, value));
  narrow[1] = wide;
  EXPECT_EQ(valueOf(narrow[1]), value);
  EXPECT_EQ(narrow[2].multiprecision()->getprecision(), 65U);
  const number copy(narrow, NumberVector{}), scalar(narrow[1]);
  EXPECT_TRUE(valueOf(copy[1]) == value && valueOf(scalar) == value);
  narrow.resize(2);
  EXPECT_EQ(valueOf(narrow[1]), value);
  narrow[1] = wide.floor(3);
  EXPECT_EQ(narrow.multiprecision()->getprecision(), 65U) << "bits return once the value fits";
  narrow[1] = narrow[1];
  EXPECT_EQ(narrow[1].todouble(), 1);
}

TEST(Multiprecision, Functions) {
  number n(9.0, 100, false);
  mpnumber& m = *n.multiprecision();
  EXPECT_EQ(m.sqrt().todouble(), 3);
  EXPECT_EQ(m.pow(4U).todouble(), 81);
  EXPECT_EQ(m.pow2(2U).changesign().todouble(), -324);
  EXPECT_EQ(m.abs().log().todouble(), std::log(324.0));
  m.setvalue(1024.0);
  EXPECT_EQ(m.getexponent(), 11);
  EXPECT_EQ(m.log2().todouble(), 10);
  EXPECT_EQ(m.addscaling(1, -2, 0).todouble(), 2.5);
  EXPECT_EQ(((m += 0.5) *= 4.0).todouble(), 12);
  EXPECT_TRUE(m == 12.0 && m < 12.5 && m >= 12.0 && !(m > 12.0) && m <= 12.0);
  EXPECT_EQ(((m -= 2.0) /= 4.0).todouble(), 2.5);
}

TEST(Multiprecision, WorksOnEveryThread) {
  number a(1.0, 64, false);
  std::thread([&] {
    for (int i = 0; i < 100; ++i) a += number(1.0, kDoublePrecision, false);
  }).join();
  EXPECT_EQ(a.todouble(), 101);
}

#ifndef __SANITIZE_ADDRESS__
/// In a process of its own that can have 1 GB: failing leaves the number as it was.
[[noreturn]] void runOutOfMemory(unsigned precision) {
  const rlimit limit{1U << 30, 1U << 30};
  setrlimit(RLIMIT_AS, &limit);
  number n(2U, precision, NumberVector{});
  n[1] = 5;
  int refused = 0;
  const auto expectRefusal = [&](auto call) {
    try {
      call();
    } catch (const ErrorIdException& error) {
      refused += error.identifier() == "numforge:fi:outofmemory" &&
                 error.text() == "Not enough memory to allocate new fi object.";
    }
  };
  expectRefusal([&] { number(1U << 30, precision, NumberVector{}); });
  expectRefusal([&] { n.resize(1U << 30); });
  expectRefusal([&] { n.resize(1U << 30, precision + 1); });
  std::exit(refused == 3 && n.numel() == 2 && n[1].todouble() == 5 ? 0 : 1);
}

TEST(OutOfMemoryDeathTest, IsReportedAndChangesNothing) {
  EXPECT_EXIT(runOutOfMemory(kDoublePrecision), testing::ExitedWithCode(0), "");
  EXPECT_EXIT(runOutOfMemory(kWidePrecision), testing::ExitedWithCode(0), "");
}
#endif

}  // namespace

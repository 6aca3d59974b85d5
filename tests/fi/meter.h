/// What the tests of arithmetic share: quantization that records as loggers do, and both paths of an operation.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "qfcore/fi/paths/path.h"
#include "tessel/messages.h"
#include "tests/fi/reference.h"

namespace reference {

using embedded::qlogger;

/// Quantizes in exact rationals and records counts and extremes.
struct Meter {
  RoundModeEnum round = RoundModeEnum::nearest;
  OverflowModeEnum overflow = OverflowModeEnum::saturate;
  Counts counts;
  mpq_class low = 0, high = 0;
  std::size_t values = 0;

  explicit Meter(const fimath& math) : round(math.roundMode()), overflow(math.overflowMode()) {}

  mpq_class operator()(const mpq_class& value, const NumericType& type, bool inDoubles = false) {
    const mpq_class result = quantized(value, type, round, overflow, &counts, inDoubles);
    low = values == 0 || result < low ? result : low;
    high = values == 0 || result > high ? result : high;
    ++values;
    return result;
  }

  void expectRecordOf(const fi& x) const { expectRecord(x.getQlogger()); }
  void expectRecord(const qlogger& record) const {
    EXPECT_EQ(record.noverflows(), counts.overflows);
    EXPECT_EQ(record.nunderflows(), counts.underflows);
    EXPECT_EQ(record.noperations(), values);
    if (values == 0) return;
    EXPECT_EQ(valueOf(record.minlog()), low);
    EXPECT_EQ(valueOf(record.maxlog()), high);
  }
};

struct Complex {
  mpq_class re, im;
};

inline Complex elementOf(const fi& x, unsigned k) {
  k = x.isscalar() ? 0 : k;
  return {valueOf(x, k), imagOf(x, k)};
}

/// Logs everything, without warnings.
class ArithmeticTest : public ::testing::Test {
 protected:
  void SetUp() override {
    tessel::setWarningEnabled("all", false);
    qlogger::setLogging(true);
  }
  void TearDown() override {
    qlogger::setLogging(false);
    embedded::setElementPathOnly(false);
    tessel::setWarningEnabled("all", true);
  }

  /// Runs `check(isLogging)` on both paths while logging is on, and off.
  template <class Check>
  void onAllPaths(Check check) {
    for (const bool elementPath : {false, true}) {
      for (const bool isLogging : {true, false}) {
        embedded::setElementPathOnly(elementPath);
        qlogger::setLogging(isLogging);
        SCOPED_TRACE(std::string(elementPath ? "element path" : "array path") + (isLogging ? ", logging" : ""));
        check(isLogging);
      }
    }
    embedded::setElementPathOnly(false);
    qlogger::setLogging(true);
  }

  /// A random shape of up to `largest` rows and columns, or of one element.
  std::vector<unsigned> shape(int largest) {
    return {static_cast<unsigned>(random.integer(0, largest)),
            static_cast<unsigned>(random.integer(1, largest))};
  }
  fi operand(const std::vector<unsigned>& dims, int maxWordLength, const fimath& math) {
    const std::vector<unsigned> one{1, 1};
    return random.array(random.integer(0, 4) == 0 ? one : dims, random.type(1, maxWordLength), math,
                        random.integer(0, 3) == 0);
  }

  Random random;
};

}  // namespace reference

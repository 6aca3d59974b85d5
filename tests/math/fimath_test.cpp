#include "qfcore/math/fimath.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "qfcore/math/fimathUserData.h"
#include "tests/types/outcome.h"

using namespace embedded;
using tessel::ArrayClass;
using tessel::HostArray;

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

class Fimath : public testing::Test {
 protected:
  ~Fimath() override { fimath::resetDefaultFimath(); }
};

TEST_F(Fimath, SlopesAndFactors) {
  struct Row {
    void (fimath::*setSlope)(double);
    bool (fimath::*setFactor)(double);
    const RegisterSettings& (fimath::*settings)() const;
  };
  const Row rows[] = {{&fimath::setProductSlope, &fimath::setProductSlopeAdjustmentFactor, &fimath::product},
                      {&fimath::setSumSlope, &fimath::setSumSlopeAdjustmentFactor, &fimath::sum}};
  for (const Row& row : rows) {
    fimath f;
    (f.*row.setSlope)(0.75);
    const RegisterSettings set = (f.*row.settings)();
    EXPECT_EQ(set.slopeAdjustmentFactor, 1.5);
    EXPECT_EQ(set.fixedExponent, -1);
    EXPECT_EQ(set.slope(), 0.75);
    EXPECT_TRUE(set.isSlopeBiasScaled());
    for (double factor : {2.0, 0.5}) EXPECT_FALSE((f.*row.setFactor)(factor));
    EXPECT_EQ((f.*row.settings)(), set);
    (f.*row.setSlope)(0.25);
    EXPECT_EQ((f.*row.settings)().slopeString(), "2^-2");
    EXPECT_FALSE((f.*row.settings)().isSlopeBiasScaled());
    EXPECT_EQ(outcomeOf([&] { (f.*row.setFactor)(kNaN); }), Outcome{});
    EXPECT_TRUE((f.*row.settings)().isSlopeBiasScaled());
  }
}

TEST_F(Fimath, FormatsAreSetWholeOrNotAtAll) {
  const fimath before;
  fimath f;
  EXPECT_EQ(outcomeOf([&] { f.setProductFormat(0, 12); }).identifier,
            "numforge:fimath:NonPositiveProductWordLength");
  EXPECT_EQ(outcomeOf([&] { f.setSumFormat(70000, 12); }).identifier, "numforge:fimath:TooBigSumWordLength");
  EXPECT_EQ(outcomeOf([&] { f.setSumFormat(24, 1e10); }),
            (Outcome{"error", "numforge:fimath:badconversion", "bad numeric conversion: positive overflow"}));
  EXPECT_EQ(outcomeOf([&] { f.setProductFormat(kNaN, 1); }).identifier, "numforge:fimath:badconversion");
  EXPECT_EQ(f, before);
  f.setProductFormat(24, -12);
  f.setSumFormat(40, 20);
  EXPECT_EQ(f.productWordLength(), 24);
  EXPECT_EQ(f.productFixedExponent(), 12);
  EXPECT_EQ(f.sumWordLength(), 40);
  EXPECT_EQ(f.sumFractionLength(), 20);
}

TEST_F(Fimath, CStyle) {
  const std::pair<HostArray, int> rows[] = {{HostArray::logical(true), 32},
                                            {HostArray(), 32},
                                            {HostArray::scalar(1), 32},
                                            {HostArray::scalarOf<std::int16_t>(16), 16}};
  for (const auto& [value, wordLength] : rows) {
    fimath f;
    f.setCStyle(HostArray::logical(false));
    EXPECT_EQ(f, fimath());
    f.setCStyle(value);
    EXPECT_EQ(f.getCStyle().scalarValue(), 1);
    EXPECT_EQ(
        f.toString(),
        "fimath('RoundMode', 'floor', 'OverflowMode', 'wrap', 'SumMode', 'KeepLSB', 'ProductMode', 'KeepLSB', "
        "'CastBeforeSum', true)");
    EXPECT_EQ(f.productWordLength(), wordLength);
    f.setSumWordLength(wordLength + 1);
    EXPECT_FALSE(f.isCStyle());
  }
}

TEST_F(Fimath, MatchingLooksOnlyAtWhatTheModeUses) {
  using Change = std::function<void(fimath&)>;
  struct Row {
    Change change;
    bool matchesFull, matchesKeep, matchesSpecify;
  };
  const Row rows[] = {
      {[](fimath& f) { f.setProductWordLength(20); }, true, false, true},
      {[](fimath& f) { f.setMaxSumWordLength(20); }, true, false, true},
      {[](fimath& f) { f.setSumFractionLength(20); }, true, false, false},
      {[](fimath& f) { f.setProductSlopeAdjustmentFactor(1.5); }, true, true, true},
      {[](fimath& f) { f.setSumBias(1); }, true, true, true},
      {[](fimath& f) { f.setPrecisionMode(PrecisionModeEnum::Stepped); }, true, true, true},
      {[](fimath& f) { f.setRoundMode(RoundModeEnum::fix); }, false, false, false},
      {[](fimath& f) { f.setOverflowMode(OverflowModeEnum::wrap); }, false, false, false},
      {[](fimath& f) { f.setCastBeforeSum(false); }, false, false, false},
  };
  const auto inMode = [](ArithmeticModeEnum mode) {
    fimath f;
    f.setProductMode(mode);
    f.setSumMode(mode);
    return f;
  };
  const auto full = inMode(ArithmeticModeEnum::FullPrecision), lsb = inMode(ArithmeticModeEnum::KeepLSB),
             msb = inMode(ArithmeticModeEnum::KeepMSB), specify = inMode(ArithmeticModeEnum::SpecifyPrecision);
  EXPECT_FALSE(lsb.matches(msb) || full.matches(specify));
  for (const Row& row : rows) {
    SCOPED_TRACE(&row - rows);
    for (const auto& [base, expected] :
         {std::pair(full, row.matchesFull), std::pair(lsb, row.matchesKeep), std::pair(msb, row.matchesKeep),
          std::pair(specify, row.matchesSpecify)}) {
      fimath changed = base;
      row.change(changed);
      EXPECT_EQ(changed.matches(base), expected);
      EXPECT_EQ(changed.isequal(base), changed.precisionMode() != base.precisionMode());
      EXPECT_FALSE(changed.isIdentical(base));
      fimath::setDefaultFimath(base);
      EXPECT_EQ(changed.toString() == "fimath", expected);
    }
  }
}

TEST_F(Fimath, NewObjectsCopyTheDefault) {
  fimath settings;
  settings.setRoundMode(RoundModeEnum::floor);
  settings.setSumWordLength(77);
  settings.setPrecisionMode(PrecisionModeEnum::Stepped);
  fimath::setDefaultFimath(settings);
  settings.setSumWordLength(78);  // the default is a copy
  EXPECT_EQ(fimath().sumWordLength(), 77);
  EXPECT_EQ(fimath().precisionMode(), PrecisionModeEnum::Stepped);
  EXPECT_EQ(fimathUserData().roundMode(), RoundModeEnum::floor);
  EXPECT_EQ(fimath(RoundModeEnum::ceil, OverflowModeEnum::wrap).sumWordLength(), 32);
  fimath::resetDefaultFimath();
  EXPECT_EQ(fimath(), fimath(RoundModeEnum::nearest, OverflowModeEnum::saturate));
}

TEST_F(Fimath, Dictionary) {
  fimath first(RoundModeEnum::floor, OverflowModeEnum::wrap);
  fimath::addToFimathMap("dsp", first);
  EXPECT_EQ(fimath::getFromFimathMap("dsp"), first);
  fimath::replaceInFimathMap("dsp", fimath());
  EXPECT_EQ(fimath::getFromFimathMap("dsp"), fimath());
  fimath::eraseFromFimathMap("dsp");
  EXPECT_FALSE(fimath::fimathMapKeyExists("dsp"));
}

TEST_F(Fimath, TextRecords) {
  const fimath read =
      fimath::string2Fimath("fix\nwrap\nKeepLSB\nSpecifyPrecision\n100\n101\n20\n21\n-3\n4\n2\n");
  EXPECT_EQ(read, fimath(RoundModeEnum::fix, OverflowModeEnum::wrap, PrecisionModeEnum::Arbitrary,
                         ArithmeticModeEnum::KeepLSB, 20, 100, -3, ArithmeticModeEnum::SpecifyPrecision, 21,
                         101, 4, true));
  const std::pair<const char*, const char*> refused[] = {
      {"Fix\nwrap\nKeepLSB\nKeepLSB\n1\n1\n1\n1\n1\n1\n0\n", "\nThe 'Fix' enumerated value is invalid.\n"},
      {"fix\nwrap\nKeepLSB\nkeep\n1\n1\n1\n1\n1\n1\n0\n", "\nThe 'keep' enumerated value is invalid.\n"},
      {"fix\nwrap\nKeepLSB\nKeepLSB\n1x\n1\n1\n1\n1\n1\n0\n", "\nThe '1x' value is not an integer.\n"},
      {"fix\nwrap\nKeepLSB\nKeepLSB\n1\n1\n1\n1\n1\n1\n0",
       "\nThe record must hold eleven fields, each ended by a newline.\n"},
      {"fix\nwrap\nKeepLSB\nKeepLSB\n1\n1\n1\n1\n1\n1\n0\n0",
       "\nThe record must hold eleven fields, each ended by a newline.\n"},
  };
  for (const auto& [record, text] : refused)
    EXPECT_EQ(outcomeOf([r = record] { fimath::string2Fimath(r); }),
              (Outcome{"error", "numforge:fimath:string2Fimath", text}));
}

}  // namespace

#include "qfcore/types/numerictype.h"

#include <gtest/gtest.h>

#include <climits>
#include <functional>
#include <limits>

#include "tests/types/outcome.h"

using namespace EmbeddedTypeSystem;
using tessel::ArrayClass;
using tessel::HostArray;

namespace {

using Mode = DataTypeModeEnum;
constexpr Mode kModes[] = {Mode::Boolean,
                           Mode::Single,
                           Mode::Double,
                           Mode::FixedUnspecified,
                           Mode::FixedBinaryPoint,
                           Mode::FixedSlopeBias,
                           Mode::ScaledDoubleUnspecified,
                           Mode::ScaledDoubleBinaryPoint,
                           Mode::ScaledDoubleSlopeBias};
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

/// A type of the mode whose fields are as far from neutral as the mode allows.
NumericType typeOf(Mode mode) {
  NumericType type(Mode::FixedSlopeBias, false, 24, 1.25, 5, -2.5);
  type.setDataTypeMode(mode);
  return type;
}

/// Bits and all: also what equality passes over.
std::string fields(const NumericType& t) {
  char text[200];
  std::snprintf(text, sizeof text, "%d %d %d %d %d %d %a %a", static_cast<int>(t.dataTypeMode()),
                static_cast<int>(t.dataType()), static_cast<int>(t.scaling()), static_cast<int>(t.signedEnum()),
                t.wordLength(), t.fixedExponent(), t.slopeAdjustmentFactor(), t.bias());
  return text;
}

Outcome cannotChange(const char* kind, const std::string& property, const std::string& mode) {
  return {kind, "Numforge:numerictype:InvalidSetting",
          "Cannot change the " + property + " property when the data type mode is " + mode +
              ". That property has not been changed."};
}
Outcome invalid(const char* kind, const std::string& text) {
  return {kind, "Numforge:numerictype:InvalidSetting", text};
}

struct SetterCase {
  const char* name;
  std::function<void(NumericType&)> set;
  std::function<bool(const NumericType&)> isStored;
  /// One letter a mode: s stored, - silently passed over, w and e the warning and error below, f the refusal of
  /// a factor.
  const char* expected;
  Outcome warning = {}, error = {};
};

const char* const kBuiltIn = "Double, Single or Boolean";
const char* const kNoExponent = "Double, Single, Boolean, Scaled double or Fixed-point: unspecified scaling";
const char* const kNoSlopeBias = "Scaled double or Fixed-point: unspecified scaling or binary point scaling";
const char* const kPowerOfTwo =
    "Invalid total slope specified; for binary point scaling, the total slope must be an exact power of two";
const char* const kSlopeRange =
    "Invalid total slope specified; the total slope must be greater than 0 and finite";
const char* const kFactorRange =
    "Invalid SlopeAdjustmentFactor specified; the SlopeAdjustmentFactor must be greater than or equal to 1 and "
    "less "
    "than 2";

SetterCase wordLength(int value, const char* expected, Outcome warning) {
  return {"WordLength", [=](auto& t) { t.setWordLength(value); },
          [=](auto& t) { return t.wordLength() == value; }, expected, warning};
}
SetterCase sign(SignedEnum value, const char* expected) {
  return {"SignedEnum", [=](auto& t) { t.setSignedEnum(value); },
          [=](auto& t) { return t.signedEnum() == value; }, expected,
          cannotChange("warning", "Signed", kBuiltIn)};
}
SetterCase exponent(int value, const char* expected) {
  return {"FixedExponent", [=](auto& t) { t.setFixedExponent(value); },
          [=](auto& t) { return t.fixedExponent() == value; }, expected,
          cannotChange("warning", "FixedExponent", kNoExponent)};
}
SetterCase fraction(int value, const char* expected) {
  return {"FractionLength", [=](auto& t) { t.setFractionLength(value); },
          [=](auto& t) { return t.fractionLength() == value && t.fixedExponent() == -value; }, expected,
          cannotChange("warning", "FractionLength", kNoExponent)};
}
SetterCase slope(double value, double factor, int exponentPart, const char* expected, Outcome error) {
  return {"Slope",
          [=](auto& t) { t.setSlope(value); },
          [=](auto& t) { return t.slopeAdjustmentFactor() == factor && t.fixedExponent() == exponentPart; },
          expected,
          cannotChange("warning", "Slope", kNoExponent),
          error};
}
SetterCase factor(double value, const char* expected, Outcome error) {
  return {"SlopeAdjustmentFactor",
          [=](auto& t) { t.setSlopeAdjustmentFactor(value); },
          [=](auto& t) { return t.slopeAdjustmentFactor() == value || std::isnan(t.slopeAdjustmentFactor()); },
          expected,
          cannotChange("warning", "SlopeAdjustmentFactor", kBuiltIn),
          error};
}
SetterCase bias(double value, const char* expected) {
  return {"Bias",
          [=](auto& t) { t.setBias(value); },
          [=](auto& t) { return t.bias() == value; },
          expected,
          cannotChange("warning", "SlopeAdjustmentFactor", "Double, Single, or Boolean"),
          cannotChange("error", "Bias", kNoSlopeBias)};
}

// The letters stand for the modes boolean, single, double; fixed unspecified, binary point, slope-bias; scaled
// double likewise.
const SetterCase kSetterCases[] = {
    wordLength(24, "wwwssssss", cannotChange("warning", "WordLength", kBuiltIn)),
    wordLength(1, "-wwssssss", cannotChange("warning", "WordLength", kBuiltIn)),
    wordLength(32, "w-wssssss", cannotChange("warning", "WordLength", kBuiltIn)),
    wordLength(64, "ww-ssssss", cannotChange("warning", "WordLength", kBuiltIn)),
    wordLength(65535, "wwwssssss", cannotChange("warning", "WordLength", kBuiltIn)),
    sign(SignedEnum::Signed, "w--ssssss"),
    sign(SignedEnum::Unsigned, "-wwssssss"),
    exponent(-3, "wwwwsswss"),
    exponent(0, "sssssssss"),
    fraction(7, "wwwwsswss"),
    fraction(0, "sssssssss"),
    slope(1.0, 1.0, 0, "----ss-ss", {}),
    slope(0.125, 1.0, -3, "wwwwsswss", {}),
    slope(0.75, 1.5, -1, "wwwweswfs", invalid("error", kPowerOfTwo)),
    slope(0x1p-1074, 1.0, -1074, "wwwwsswss", {}),
    slope(0, 0, 0, "wwwweewee", invalid("error", kSlopeRange)),
    slope(-2, 0, 0, "wwwweewee", invalid("error", kSlopeRange)),
    slope(kInf, 0, 0, "wwwweewee", invalid("error", kSlopeRange)),
    slope(kNaN, 0, 0, "wwwweewee", invalid("error", kSlopeRange)),
    factor(1.0, "-----s--s", {}),
    factor(1.75, "wwwwfsffs", {}),
    factor(kNaN, "wwwwfsffs", {}),
    factor(2.0, "wwwwfeffe", invalid("error", kFactorRange)),
    factor(0.99, "wwwwfeffe", invalid("error", kFactorRange)),
    bias(0, "-----s--s"),
    bias(1.5, "wwweesees"),
};

TEST(NumericTypeSetters, StoreWarnOrRaiseByMode) {
  for (const SetterCase& c : kSetterCases) {
    for (std::size_t i = 0; i < std::size(kModes); ++i) {
      NumericType type = typeOf(kModes[i]);
      const std::string before = fields(type);
      const Outcome outcome = outcomeOf([&] { c.set(type); });
      SCOPED_TRACE(std::string(c.name) + " (case " + std::to_string(&c - kSetterCases) + ") in mode " +
                   textOf(kModes[i]));
      const char expected = c.expected[i];
      if (expected == 's') {
        EXPECT_EQ(outcome, Outcome{});
        EXPECT_TRUE(c.isStored(type)) << fields(type);
        continue;
      }
      EXPECT_EQ(fields(type), before);
      const Outcome noFactor = cannotChange("error", "SlopeAdjustmentFactor", kNoSlopeBias);
      EXPECT_EQ(outcome, expected == 'w'   ? c.warning
                         : expected == 'e' ? c.error
                         : expected == 'f' ? noFactor
                                           : Outcome{});
    }
  }
}

TEST(NumericTypeSetters, WordLengthsOutOfRangeWarn) {
  const std::string head = "Invalid WordLength specified; the WordLength must be ";
  for (const auto& [length, text] :
       {std::pair(0, "greater than 0"), std::pair(-1, "greater than 0"), std::pair(65536, "less than 65536"),
        std::pair(INT_MAX, "less than 65536")}) {
    for (Mode mode : {Mode::FixedUnspecified, Mode::FixedSlopeBias, Mode::ScaledDoubleBinaryPoint}) {
      NumericType type = typeOf(mode);
      EXPECT_EQ(outcomeOf([&, l = length] { EXPECT_FALSE(type.setWordLength(l)); }),
                invalid("warning", head + text));
      EXPECT_EQ(type.wordLength(), 24);
    }
  }
}

TEST(NumericTypeSetters, ScalingBelongsToTheDataType) {
  for (Mode mode : kModes) {
    for (ScalingEnum scaling :
         {ScalingEnum::BinaryPoint, ScalingEnum::SlopeBias, ScalingEnum::Unspecified, ScalingEnum::Unused}) {
      NumericType type = typeOf(mode), expected = type;
      Outcome outcome;
      if (type.isBuiltIn() == (scaling == ScalingEnum::Unused)) {
        if (!type.isBuiltIn()) {
          constexpr int kOffset[] = {1, 2, 0};
          const int first = type.isFixed() ? 3 : 7;
          expected.setDataTypeMode(static_cast<Mode>(first + kOffset[static_cast<int>(scaling)]));
        }
      } else {
        outcome = cannotChange("warning", "Scaling",
                               type.isBuiltIn() ? kBuiltIn
                               : type.isFixed() ? "Fixed point"
                                                : "Scaled double");
      }
      EXPECT_EQ(outcomeOf([&] { type.setScaling(scaling); }), outcome);
      EXPECT_EQ(fields(type), fields(expected)) << textOf(mode) << " to " << textOf(scaling);
    }
  }
}

TEST(NumericTypeSetters, SignFromAnArray) {
  struct Row {
    HostArray value;
    int sign;  // −1: refused, 2: unspecified
  };
  HostArray complex = HostArray::scalar(1);
  complex.mutableImag<double>();
  const Row rows[] = {{HostArray::logical(true), 1},
                      {HostArray::logical(false), 0},
                      {HostArray::scalar(1), 1},
                      {HostArray::scalarOf<std::int8_t>(0), 0},
                      {HostArray::scalar(2), -1},
                      {HostArray::scalar(kNaN), -1},
                      {HostArray::text("1"), -1},
                      {complex, -1},
                      {HostArray(), 2},
                      {HostArray::zeros(ArrayClass::Logical, {1, 2}), -1}};
  for (bool allowed : {false, true}) {
    setNumericTypeUnspecifiedSign(allowed);
    const Outcome refused{"error", "numforge:FI:signed:InvalidValue",
                          std::string("The SIGNED property of the FI object must be 1 (true)") +
                              (allowed ? ", 0 (false), or [] (unspecified)." : " or 0 (false).")};
    for (const Row& row : rows) {
      NumericType type;
      const bool accepted = row.sign == 2 ? allowed : row.sign >= 0;
      EXPECT_EQ(outcomeOf([&] { type.setSignedEnum(row.value, "FI"); }), accepted ? Outcome{} : refused);
      EXPECT_EQ(static_cast<int>(type.signedEnum()), accepted ? row.sign : 1);
      EXPECT_EQ(type.signedArray().numel(), type.isSignUnspecified() ? 0u : 1u);
    }
  }
  setNumericTypeUnspecifiedSign(false);
  NumericType type;
  EXPECT_EQ(outcomeOf([&] { type.setSignedEnum(SignedEnum::Unspecified); }).identifier,
            "numforge:NUMERICTYPE:signed:InvalidValue");
  EXPECT_TRUE(type.isSigned());
}

/// What every type must keep to, whatever was set before.
void expectInvariants(const NumericType& t) {
  EXPECT_EQ(NumericType::convertDataTypeToDataTypeMode(t.dataType(), t.scaling()), t.dataTypeMode());
  EXPECT_EQ(NumericType::convertDataTypeModeToDataType(t.dataTypeMode()), t.dataType());
  EXPECT_EQ(t.isBuiltIn(), t.scaling() == ScalingEnum::Unused);
  EXPECT_TRUE(t.wordLength() >= 1 && t.wordLength() <= 65535);
  EXPECT_TRUE(t.slopeAdjustmentFactor() >= 1 && t.slopeAdjustmentFactor() < 2);
  if (!t.isSlopeBiasScalingSet()) {
    EXPECT_TRUE(t.slopeAdjustmentFactor() == 1 && t.bias() == 0);
  }
  if (t.isBuiltIn() || t.isScalingUnspecified()) {
    EXPECT_EQ(t.fixedExponent(), 0);
  }
  if (t.isBuiltIn()) {
    EXPECT_EQ(t.wordLength(), t.isBoolean() ? 1 : t.isSingle() ? 32 : 64);
    EXPECT_EQ(t.isSigned(), !t.isBoolean());
  }
}

TEST(NumericTypeModes, ChangesKeepWhatHasAMeaning) {
  for (Mode from : kModes) {
    for (Mode to : kModes) {
      for (bool reset : {false, true}) {
        const NumericType before = typeOf(from);
        NumericType after = before;
        after.setDataTypeMode(to, reset);
        SCOPED_TRACE(std::string(textOf(from)) + " to " + textOf(to));
        expectInvariants(after);
        EXPECT_EQ(after.dataTypeMode(), to);
        if (after.isBuiltIn()) continue;
        const bool isReset = reset && before.isBuiltIn();
        EXPECT_EQ(after.wordLength(), isReset ? 16 : before.wordLength());
        EXPECT_EQ(after.signedEnum(), isReset ? SignedEnum::Signed : before.signedEnum());
        EXPECT_EQ(after.fixedExponent(), isReset || after.isScalingUnspecified() ? 0 : before.fixedExponent());
        const bool keepsSlope = !isReset && after.isSlopeBiasScalingSet();
        EXPECT_EQ(after.slopeAdjustmentFactor(), keepsSlope ? before.slopeAdjustmentFactor() : 1);
        EXPECT_EQ(after.bias(), keepsSlope ? before.bias() : 0);
      }
    }
  }
  NumericType type;
  type.setDataType(DataTypeEnum::Double);
  type.setDataType(DataTypeEnum::Fixed);
  EXPECT_EQ(type.tostring(), "numerictype(true,16)");
  EXPECT_EQ(type.fractionLength(), 0);
}

TEST(NumericTypeModes, UnknownValuesAreRefused) {
  NumericType type = typeOf(Mode::FixedSlopeBias);
  const std::string before = fields(type);
  const auto noMode = static_cast<Mode>(6);
  const auto noDataType = static_cast<DataTypeEnum>(5);
  EXPECT_EQ(outcomeOf([&] { type.setDataTypeMode(noMode); }),
            (Outcome{"error", "numforge:numerictype:setDataTypeMode:invalid", "Unrecognized DataTypeMode."}));
  EXPECT_EQ(outcomeOf([&] { type.setDataType(noDataType); }),
            (Outcome{"error", "numforge:numerictype:setDataType:invalid", "Unrecognized DataType."}));
  EXPECT_EQ(outcomeOf([&] { NumericType::convertDataTypeModeToDataType(noMode); }),
            (Outcome{"error", "numforge:numericytpe:convertDataTypeModeToDataType:unknowndatatypemode",
                     "Unknown DataTypeMode."}));
  const Outcome unhandled{"error", "numerictype:constructor:unhandledcase",
                          "Unhandled case in the numerictype constructor."};
  EXPECT_EQ(outcomeOf([&] { NumericType(noMode, true, 8, 1, 0, 0); }), unhandled);
  EXPECT_EQ(outcomeOf([&] { NumericType(noDataType, ScalingEnum::Unused, true, 8, 1, 0, 0); }), unhandled);
  EXPECT_EQ(fields(type), before);
}

TEST(NumericTypeSetters, HaveFormsForAllFieldsAtOnce) {
  NumericType type;
  type.setIsSigned(false);
  EXPECT_EQ(type.tostring(), NumericType(false, 16, 15).tostring());
  type.setFixedPointProps(true, 9, 1.5, -3, 0.25);
  EXPECT_EQ(type.tostring(), NumericType(Mode::FixedSlopeBias, true, 9, 1.5, -3, 0.25).tostring());
  type.setFixedPointProps(true, 9, 1, -3, 0);
  EXPECT_EQ(type.tostring(), NumericType(true, 9, 3).tostring());
  type.setFixedPointProps(false, 9, 1, -3, 0.5);
  EXPECT_EQ(type.tostring(), NumericType(Mode::FixedSlopeBias, false, 9, 1, -3, 0.5).tostring());
  NumericType scaled(Mode::ScaledDoubleBinaryPoint, true, 16, 1, -3, 0);
  scaled.setFixedPointProps(true, 9, 1, -2, 0);
  EXPECT_EQ(scaled.tostring(), NumericType(Mode::ScaledDoubleBinaryPoint, true, 9, 1, -2, 0).tostring());
  type.setFractionLength(INT_MIN);
  EXPECT_EQ(type.fixedExponent(), INT_MAX);
  EXPECT_FALSE(NumericType::isAlias());
}

TEST(NumericTypeText, NamesTheHostClassWithTheSameValues) {
  const std::pair<NumericType, const char*> rows[] = {
      {{}, "none"},
      {{false, 8, 0}, "uint8"},
      {{true, 8, 0}, "int8"},
      {{false, 16, 0}, "uint16"},
      {{true, 16, 0}, "int16"},
      {{false, 32, 0}, "uint32"},
      {{Mode::FixedSlopeBias, true, 32, 1, 0, 1}, "none"},
      {{true, 64, 0}, "none"},
      {{Mode::FixedSlopeBias, true, 32, 1, 0, 0}, "int32"},
      {{Mode::FixedSlopeBias, true, 16, 1, -3, 0}, "none"},
      {{Mode::FixedUnspecified, true, 16, 1, 0, 0}, "none"},
      {typeOf(Mode::Boolean), "logical"},
      {typeOf(Mode::Single), "single"},
      {typeOf(Mode::Double), "double"},
      {{Mode::ScaledDoubleBinaryPoint, true, 16, 1, 0, 0}, "none"},
      {{DataTypeEnum::Fixed, ScalingEnum::BinaryPoint, SignedEnum::Unspecified, 32, 1, 0, 0}, "none"}};
  for (const auto& [type, name] : rows) {
    const char* hostClass = type.getEquivalentTesselClassName();
    EXPECT_STREQ(hostClass ? hostClass : "none", name) << type.tostring();
  }
}

TEST(NumericTypeEquality, HashAndOrderAgreeWithIt) {
  std::vector<NumericType> types;
  for (Mode mode : kModes) types.push_back(typeOf(mode));
  types.push_back(NumericType(Mode::FixedSlopeBias, true, 16, 1, -15, -0.0));
  types.push_back(NumericType(Mode::FixedSlopeBias, true, 16, 1, -15, 0.0));
  types.push_back(NumericType());
  types.push_back(NumericType(true, 16, 14));
  types.push_back(NumericType(Mode::FixedSlopeBias, true, 16, kNaN, -15, 0.0));
  const auto isNaN = [](const NumericType& t) { return std::isnan(t.slopeAdjustmentFactor()); };
  for (const NumericType& a : types) {
    for (const NumericType& b : types) {
      EXPECT_EQ(a.isequal(b), fields(a) == fields(b) ? !isNaN(a) : a.bias() == b.bias() && &a != &b && a == b);
      EXPECT_EQ(a.compare(b) == 0, a.isequal(b));
      EXPECT_TRUE((a.compare(b) < 0) == (b.compare(a) > 0));
      if (a.isequal(b)) {
        EXPECT_EQ(a.hash(), b.hash());
        EXPECT_TRUE(a.isequivalent(b));
      }
    }
  }
  const NumericType slopeBias(Mode::FixedSlopeBias, true, 16, 1, -15, 0);
  EXPECT_TRUE(slopeBias.isequivalent(NumericType()) && NumericType().isequivalent(slopeBias));
  EXPECT_FALSE(slopeBias == NumericType());
  const NumericType unspecified(Mode::FixedUnspecified, true, 16, 1, 0, 0), integer(true, 16, 0);
  EXPECT_FALSE(unspecified.isequivalent(integer) || integer.isequivalent(unspecified));
  EXPECT_FALSE(unspecified.isequivalent(NumericType(Mode::FixedUnspecified, true, 8, 1, 0, 0)));
  EXPECT_FALSE(unspecified.isequivalent(NumericType(Mode::FixedUnspecified, false, 16, 1, 0, 0)));
  EXPECT_FALSE(integer.isequivalent(NumericType(Mode::ScaledDoubleBinaryPoint, true, 16, 1, 0, 0)));
  EXPECT_TRUE(NumericType(Mode::FixedSlopeBias, true, 8, kNaN, 0, 0).isSlopeBias());
  EXPECT_FALSE(slopeBias.isSlopeBias());
}

TEST(NumericTypeChecks, ValuesADataTypeCannotHold) {
  const DataTypeEnum fixed = DataTypeEnum::Fixed, boolean = DataTypeEnum::Boolean;
  const DataTypeEnum scaled = DataTypeEnum::ScaledDouble;
  struct Row {
    DataTypeEnum dataType;
    double value;
    Outcome outcome;
  };
  const Row rows[] = {
      {boolean, kNaN, {"error", "numforge:nologicalnan", "NaN cannot be converted to boolean."}},
      {fixed, kNaN, {"error", "numforge:nofixednan", "NaN cannot be converted to fixed-point."}},
      {scaled, kNaN, {"error", "numforge:nofixednan", "NaN cannot be converted to scaled double."}},
      {fixed, -kInf, {"error", "numforge:nofixedinf", "Inf cannot be converted to fixed-point."}},
      {scaled, kInf, {"error", "numforge:nofixedinf", "Inf cannot be converted to scaled double."}},
      {boolean, kInf, {}},
      {DataTypeEnum::Double, kNaN, {}},
      {DataTypeEnum::Single, kInf, {}},
      {fixed, 1e308, {}},
  };
  for (const Row& row : rows)
    EXPECT_EQ(outcomeOf([&] { NumericType::checkNaNInf(row.dataType, row.value); }), row.outcome);
  EXPECT_EQ(outcomeOf([&] { NumericType::errorIfComplexLogical(boolean, true); }),
            (Outcome{"error", "numforge:nologicalcomplex", "Complex values cannot be converted to boolean."}));
  EXPECT_EQ(outcomeOf([&] { NumericType::errorIfComplexLogical(fixed, true); }), Outcome{});
}

}  // namespace

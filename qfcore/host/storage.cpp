#include "qfcore/host/storage.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "qfcore/host/FiObjClass.h"
#include "qfcore/host/FimathObjClass.h"
#include "qfcore/host/NumericTypeObjClass.h"
#include "qfcore/host/QuantizerObjClass.h"
#include "qfcore/logging/savedrecord.h"

namespace embedded::host {

namespace {

using ChunkMode = fi::IntArrayChunkMode;
using DimensionMode = fi::IntArrayDimensionMode;

[[noreturn]] void raiseBadState(const char* className) {
  tessel::raiseError("Tessel:badFile",
                     std::string("The file tells of no object of class '") + className + "'.");
}

/// A field of a state; the class of the object is named where it is missing.
const HostArray& field(const HostArray& state, const char* name, const char* className) {
  const HostArray* found = state.isStruct() && state.isScalar() ? state.findField(name) : nullptr;
  if (!found) raiseBadState(className);
  return *found;
}

/// A whole number of a state; the class of the object is named where it is none, or not within the limits.
template <class Integer>
Integer wholeNumber(const HostArray& numbers, std::size_t k, const char* className,
                    double most = std::numeric_limits<int>::max(), double least = 0) {
  const double value = numbers.realAt(k);
  if (!(value >= least && value <= most && value == std::floor(value))) raiseBadState(className);
  return static_cast<Integer>(value);
}

/// Nothing is recorded while it lives.
class LoggingOff {
 public:
  LoggingOff() { qlogger::setLogging(false); }
  ~LoggingOff() { qlogger::setLogging(wasOn_); }
  LoggingOff(const LoggingOff&) = delete;
  LoggingOff& operator=(const LoggingOff&) = delete;

 private:
  bool wasOn_ = qlogger::getLogging();
};

HostArray doublesOf(const std::vector<double>& values) {
  HostArray row = HostArray::unset(tessel::ArrayClass::Double, {1, values.size()});
  std::copy(values.begin(), values.end(), row.mutableReal<double>());
  return row;
}

// ------------------------------------------------------------------------------------------------------
// records

HostArray extremeState(const SavedRecord::Extreme& extreme) {
  std::vector<double> numbers{static_cast<double>(extreme.exponent)};
  numbers.insert(numbers.end(), extreme.parts.begin(), extreme.parts.end());
  return doublesOf(numbers);
}

constexpr double kLargestInt = std::numeric_limits<int>::max(), kSmallestInt = std::numeric_limits<int>::min();

SavedRecord::Extreme extremeFrom(const HostArray& numbers, const char* className) {
  SavedRecord::Extreme extreme{wholeNumber<int>(numbers, 0, className, kLargestInt, kSmallestInt), {}};
  for (std::size_t k = 1; k < numbers.numel(); ++k) extreme.parts.push_back(numbers.realAt(k));
  return extreme;
}

HostArray recordState(const qlogger& logger) {
  const SavedRecord saved = savedRecord(logger);
  if (saved.isEmpty()) return {};
  HostArray state = HostArray::structure();
  state.mutableFieldAt("Counts") =
      doublesOf({static_cast<double>(saved.overflows), static_cast<double>(saved.underflows),
                 static_cast<double>(saved.operations), static_cast<double>(saved.mathOperations),
                 static_cast<double>(saved.precision)});
  state.mutableFieldAt("Max") = extremeState(saved.max);
  state.mutableFieldAt("Min") = extremeState(saved.min);
  return state;
}

void restoreRecordFrom(const HostArray& state, const qlogger& logger, const char* className) {
  if (state.isEmpty()) return;
  const HostArray& counts = field(state, "Counts", className);
  const HostArray &max = field(state, "Max", className), &min = field(state, "Min", className);
  if (counts.numel() != 5 || max.numel() < 2 || min.numel() < 2) raiseBadState(className);
  const auto count = [&](std::size_t k) { return wholeNumber<std::size_t>(counts, k, className, 0x1p53); };
  const auto precision = wholeNumber<unsigned>(counts, 4, className, 0x1p20);
  restoreRecord(logger, {count(0), count(1), count(2), count(3), precision, extremeFrom(max, className),
                         extremeFrom(min, className)});
}

// ----------------------------------------------------------------------------------------- types and settings

constexpr const char* kNumericType = "numerictype";

HostArray numericTypeState(HostObject& object) {
  const NumericType& type = valueOf<NumericType>(object);
  HostArray state = HostArray::structure();
  state.mutableFieldAt("DataType") = toHost(type.dataType());
  state.mutableFieldAt("Scaling") = toHost(type.scaling());
  state.mutableFieldAt("Sign") = toHost(type.signedEnum());
  state.mutableFieldAt("Numbers") =
      doublesOf({static_cast<double>(type.wordLength()), type.slopeAdjustmentFactor(),
                 static_cast<double>(type.fixedExponent()), type.bias()});
  return state;
}

HostArray restoredNumericType(const HostArray& state) {
  return translated([&] {
    const HostArray& numbers = field(state, "Numbers", kNumericType);
    if (numbers.numel() != 4) raiseBadState(kNumericType);
    const int wordLength = wholeNumber<int>(numbers, 0, kNumericType, NumericType::kMaxWordLength, 1);
    const double factor = numbers.realAt(1);
    if (!(factor >= 1 && factor < 2)) raiseBadState(kNumericType);
    const int exponent = wholeNumber<int>(numbers, 2, kNumericType, kLargestInt, kSmallestInt);
    using namespace EmbeddedTypeSystem;
    return wrap(NumericType(fromHost<DataTypeEnum>(field(state, "DataType", kNumericType)),
                            fromHost<ScalingEnum>(field(state, "Scaling", kNumericType)),
                            fromHost<SignedEnum>(field(state, "Sign", kNumericType)), wordLength, factor,
                            exponent, numbers.realAt(3)));
  });
}

/// All properties that are shown; each can be set.
HostArray fimathState(HostObject& object) {
  HostArray state = HostArray::structure();
  for (const tessel::PropertyInfo* property : object.hostClass().properties())
    if (!property->hidden) state.mutableFieldAt(property->name) = property->get(object);
  return state;
}

bool isSame(const HostArray& a, const HostArray& b) {
  if (a.isText() && b.isText()) return a.toText() == b.toText();
  const auto isNumber = [](const HostArray& x) { return (x.isNumeric() || x.isLogical()) && x.isScalar(); };
  return isNumber(a) && isNumber(b) && !b.isComplex() && a.realAt(0) == b.realAt(0);
}

/// Sets those that differ: properties that follow from others no longer do then.
HostArray restoredFimath(const HostArray& state) {
  if (!state.isStruct() || !state.isScalar()) raiseBadState("fimath");
  HostArray math = wrap(fimath());
  for (const std::string& name : state.fieldNames()) {
    const HostArray& value = state.fieldAt(name);
    if (!isSame(tessel::getProperty(math, name), value)) tessel::setProperty(math, name, value);
  }
  return math;
}

HostArray quantizerState(HostObject& object) {
  const quantizer& q = valueOf<quantizer>(object);
  HostArray state = HostArray::structure();
  HostArray arguments = HostArray::cell({1, 4});
  arguments.mutableCellAt(0) = toHost(q.mode());
  arguments.mutableCellAt(1) = toHost(q.roundMode());
  arguments.mutableCellAt(2) = toHost(q.overflowMode());
  const bool isFloat = q.mode() == QuantizerModeEnum::floatMode;
  arguments.mutableCellAt(3) =
      doublesOf({static_cast<double>(q.wordLength()),
                 static_cast<double>(isFloat ? q.exponentLength() : q.fractionLength())});
  state.mutableFieldAt("Settings") = std::move(arguments);
  state.mutableFieldAt("Record") = recordState(q.logger());
  return state;
}

HostArray restoredQuantizer(const HostArray& state) {
  return translated([&] {
    const HostArray& settings = field(state, "Settings", "quantizer");
    if (!settings.isCell() || settings.numel() != 4) raiseBadState("quantizer");
    Arrays arguments;
    for (std::size_t k = 0; k < 3; ++k) arguments.push_back(settings.cellAt(k));
    const std::string mode = settings.cellAt(0).toText();
    if (mode != "double" && mode != "single") arguments.push_back(settings.cellAt(3));
    quantizer q = quantizerFrom(arguments);
    restoreRecordFrom(field(state, "Record", "quantizer"), q.logger(), "quantizer");
    return wrap(std::move(q));
  });
}

// -------------------------------------------------------------------------------------------------------
// arrays

constexpr const char* kFi = "fi";

HostArray sizesOf(const fi& x) {
  std::vector<double> sizes;
  for (unsigned d = 1; d <= x.numDims(); ++d) sizes.push_back(x.getDimension(d));
  return doublesOf(sizes);
}

fi asColumn(const fi& x) { return x.reshape(doublesOf({static_cast<double>(x.numel()), 1})); }

/// Stored integers as chunks of 32 bits, a run an element; values of types that are not fixed-point.
HostArray valuesOf(const fi& x) {
  const NumericType& type = x.getNumericType();
  if (type.isScaledDouble()) return x.getIntHostArray();
  if (!type.isFixed()) return x.getDoubleHostArray();
  return asColumn(x).getIntArrayHostArray(ChunkMode::AsNeeded, DimensionMode::FirstDimension);
}

fi arrayOf(const HostArray& values, const NumericType& type, const fimath& math) {
  if (type.isScaledDouble()) {
    fi x(&values, type, math);
    x.setIntHostArray(values);
    return x;
  }
  if (!type.isFixed()) return fi(&values, type, math);
  fi x(0U, 0U, type, math);
  x.setIntArrayHostArray(values, ChunkMode::AsNeeded, DimensionMode::FirstDimension);
  return x;
}

HostArray fiState(HostObject& object) {
  return translated([&] {
    const fi& x = valueOf<fi>(object);
    HostArray state = HostArray::structure();
    state.mutableFieldAt("Type") = wrap(NumericType(x.getNumericType()));
    state.mutableFieldAt("Math") = wrap(fimath(x.getFimath()));
    state.mutableFieldAt("Size") = sizesOf(x);
    state.mutableFieldAt("Values") = valuesOf(x);
    state.mutableFieldAt("Tag") = toHost(x.tag());
    state.mutableFieldAt("Marks") =
        doublesOf({x.getQlogger().isAlwaysOn() ? 1.0 : 0.0, x.isAutoScaled() ? 1.0 : 0.0,
                   static_cast<double>(x.getLastPropertySet())});
    state.mutableFieldAt("Record") = recordState(x.getQlogger());
    return state;
  });
}

HostArray restoredFi(const HostArray& state) {
  return translated([&] {
    const LoggingOff quiet;
    const NumericType& type = numericTypeArgument(field(state, "Type", kFi));
    const fimath& math = fimathArgument(field(state, "Math", kFi));
    const HostArray& marks = field(state, "Marks", kFi);
    if (marks.numel() != 3) raiseBadState(kFi);
    fi x = arrayOf(field(state, "Values", kFi), type, math).reshape(field(state, "Size", kFi));
    x.setTag(field(state, "Tag", kFi).toText());
    x.setAutoScaled(marks.realAt(1) != 0);
    x.setLastPropertySet(
        static_cast<fi::PropertyEnum>(wholeNumber<int>(marks, 2, kFi, fi::kLastProperty, fi::kFirstProperty)));
    x.getQlogger().reset();
    restoreRecordFrom(field(state, "Record", kFi), x.getQlogger(), kFi);
    x.setLogging(marks.realAt(0) != 0);
    return wrap(std::move(x));
  });
}

}  // namespace

tessel::Persistence fiPersistence() { return {fiState, restoredFi}; }
tessel::Persistence numericTypePersistence() { return {numericTypeState, restoredNumericType}; }
tessel::Persistence fimathPersistence() { return {fimathState, restoredFimath}; }
tessel::Persistence quantizerPersistence() { return {quantizerState, restoredQuantizer}; }

}  // namespace embedded::host

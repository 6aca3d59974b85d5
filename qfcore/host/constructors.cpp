#include "qfcore/host/constructors.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <optional>
#include <string_view>
#include <vector>

#include "qfcore/host/FiObjClass.h"
#include "qfcore/host/FimathObjClass.h"
#include "qfcore/host/NumericTypeObjClass.h"
#include "qfcore/host/QuantizerObjClass.h"
#include "qfcore/host/preferences.h"
#include "tessel/interpreter.h"

namespace embedded::host {

namespace {

using EmbeddedTypeSystem::DataTypeEnum;
using EmbeddedTypeSystem::ScalingEnum;

constexpr Message kBadTypeSignature{"numforge:numerictype:constructor:badsignature",
                                    "NUMERICTYPE constructor signature not recognized."};
constexpr Message kBadMathSignature{"numforge:fimath:constructor:badsignature",
                                    "FIMATH constructor signature not recognized."};
constexpr Message kBadFiSignature{"numforge:fi:constructor:badsignature",
                                  "FI constructor signature not recognized."};
constexpr Message kNotNumeric{"numforge:fi:constructor:numeric", "FI constructor only valid for numeric data"};
constexpr Message kTooShort{"Numforge:numerictype:InvalidSetting",
                            "Invalid WordLength specified; the WordLength must be greater than 0"};
constexpr Message kTooLong{"Numforge:numerictype:InvalidSetting",
                           "Invalid WordLength specified; the WordLength must be less than 65536"};
constexpr Message kUnknownProperty{"numforge:constructor:unknownproperty", "There is no property '%s'.%s"};

bool isNumber(const HostArray& array) {
  return (array.isNumeric() || array.isLogical()) && array.isScalar() && !array.isComplex();
}

/// Name/value pairs from `first` on. Raises `Bad` when they are not pairs.
template <const Message& Bad>
std::vector<std::pair<std::string, HostArray>> pairsFrom(const Arrays& inputs, std::size_t first) {
  if ((inputs.size() - first) % 2 != 0) fail<Bad>();
  std::vector<std::pair<std::string, HostArray>> pairs;
  for (std::size_t i = first; i < inputs.size(); i += 2) {
    if (!inputs[i].isText()) fail<Bad>();
    pairs.emplace_back(inputs[i].toText(), inputs[i + 1]);
  }
  return pairs;
}

/// Refuses a name that no row of the tables has.
template <class... Tables>
[[noreturn]] void failUnknown(const std::string& name, const Tables&... tables) {
  std::vector<std::string> known;
  (std::ranges::transform(tables, std::back_inserter(known), [](const auto& row) { return row.name; }), ...);
  fail<kUnknownProperty>(name.c_str(), tessel::suggestion(name, known).c_str());
}

/// Sets a property with the host's check of the value, which takes an object.
template <class T>
void setChecked(const Property<T>& row, T& target, const HostArray& value) {
  HostArray object = wrap(target);
  tessel::setProperty(object, row.name, value);
  target = std::move(*unwrapped<T>(object));
}

/// The same by a name in any case; whether there is such a property.
template <class T>
bool setByName(std::span<const Property<T>> rows, T& target, std::string_view name, const HostArray& value) {
  const Property<T>* row = findRow(rows, name);
  if (row) setChecked(*row, target, value);
  return row != nullptr;
}

int integerArgument(const HostArray& array, const char* name) {
  const double value = isNumber(array) ? array.realAt(0) : 0.5;
  using Limits = std::numeric_limits<int>;
  if (!(value >= Limits::min() && value <= Limits::max() && value == std::floor(value))) {
    tessel::raiseError("numforge:constructor:notinteger", std::string(name) + " must be an integer scalar.");
  }
  return static_cast<int>(value);
}

double numberArgument(const HostArray& array, const char* name) {
  if (!isNumber(array)) {
    tessel::raiseError("numforge:constructor:notscalar", std::string(name) + " must be a real scalar.");
  }
  return array.realAt(0);
}

/// Sign, word length and scaling from the arguments `first` up to `last`: (s), (s,w), (s,w,f) or
/// (s,w,slope,bias). What is not given keeps its default; the scaling stays unspecified without a fraction
/// length or a slope.
NumericType typeFromLengths(const Arrays& inputs, std::size_t first, std::size_t last) {
  NumericType type;
  const std::size_t count = last - first;
  type.setSignedEnum(inputs[first], "NUMERICTYPE");
  if (count > 1) {
    const int wordLength = integerArgument(inputs[first + 1], "WordLength");
    // A setter only warns; a constructor cannot go on without the word length that it was asked for.
    if (wordLength < 1) fail<kTooShort>();
    if (wordLength > NumericType::kMaxWordLength) fail<kTooLong>();
    type.setWordLength(wordLength);
  }
  if (count < 3) {
    type.setScaling(ScalingEnum::Unspecified);
  } else if (count == 3) {
    type.setFractionLength(integerArgument(inputs[first + 2], "FractionLength"));
  } else {
    type.setScaling(ScalingEnum::SlopeBias);
    type.setSlope(numberArgument(inputs[first + 2], "Slope"));
    type.setBias(numberArgument(inputs[first + 3], "Bias"));
  }
  return type;
}

/// How many arguments from `first` on are no text: the positional ones.
std::size_t positionalEnd(const Arrays& inputs, std::size_t first) {
  while (first < inputs.size() && !inputs[first].isText()) ++first;
  return first;
}

Arrays makeNumericType(Arrays& inputs, int) {
  NumericType type;
  std::size_t next = positionalEnd(inputs, 0);
  // An empty array is an unspecified sign, the empty text a name: only the place tells them apart.
  if (next == 1 && unwrapped<NumericType>(inputs[0])) {
    type = *unwrapped<NumericType>(inputs[0]);
  } else if (next > 4) {
    fail<kBadTypeSignature>();
  } else if (next > 0) {
    type = typeFromLengths(inputs, 0, next);
  } else if (inputs.size() % 2 == 1) {
    const auto dataType = EmbeddedTypeSystem::enumValue<DataTypeEnum>(inputs[0].toText());
    if (!dataType) fail<kBadTypeSignature>();
    type.setDataType(*dataType);
    next = 1;
  }
  for (const auto& [name, value] : pairsFrom<kBadTypeSignature>(inputs, next)) {
    if (!setByName(NumericTypeObjClass::properties(), type, name, value))
      failUnknown(name, NumericTypeObjClass::properties());
  }
  return {wrap(std::move(type))};
}

Arrays makeFimath(Arrays& inputs, int) {
  fimath math;
  std::size_t next = 0;
  if (!inputs.empty() && unwrapped<fimath>(inputs[0])) math = *unwrapped<fimath>(inputs[next++]);
  for (const auto& [name, value] : pairsFrom<kBadMathSignature>(inputs, next)) {
    if (!setByName(FimathObjClass::properties(), math, name, value))
      failUnknown(name, FimathObjClass::properties());
  }
  return {wrap(math)};
}

// ---------------------------------------------------------------------------------------------------------- fi

/// What a call of `fi` asks for, before there is an array.
struct FiRequest {
  HostArray value;
  NumericType type;
  fimath math;
  bool typeGiven = false;
  std::vector<std::pair<std::string, HostArray>> later;  ///< pairs that concern the finished array
};

void takePositional(FiRequest& request, const Arrays& inputs, std::size_t end) {
  std::size_t next = 1;
  if (next < end && unwrapped<NumericType>(inputs[next])) {
    request.type = *unwrapped<NumericType>(inputs[next++]);
    request.typeGiven = true;
  } else if (next < end && !inputs[next].isObject()) {
    std::size_t last = next;
    while (last < end && last < next + 4 && !inputs[last].isObject()) ++last;
    request.type = typeFromLengths(inputs, next, last);
    request.typeGiven = true;
    next = last;
  }
  if (next < end && unwrapped<fimath>(inputs[next])) request.math = *unwrapped<fimath>(inputs[next++]);
  if (next < end) fail<kBadFiSignature>();
}

/// Pairs that name a property of the type or of the math settings take effect before the value is quantized.
void takePairs(FiRequest& request, const Arrays& inputs, std::size_t first) {
  for (auto& [name, value] : pairsFrom<kBadFiSignature>(inputs, first)) {
    if (setByName(FimathObjClass::properties(), request.math, name, value)) continue;
    if (equalIgnoringCase(name, "fimath")) {
      request.math = fimathArgument(value);
    } else if (equalIgnoringCase(name, "numerictype")) {
      request.type = numericTypeArgument(value);
      request.typeGiven = true;
    } else if (const Property<NumericType>* row = findRow(NumericTypeObjClass::properties(), name)) {
      NumericType& type = request.type;
      const bool setsScaling = equalIgnoringCase(name, "FractionLength") ||
                               equalIgnoringCase(name, "BinaryPoint") ||
                               equalIgnoringCase(name, "FixedExponent");
      const bool setsSlope = equalIgnoringCase(name, "Slope") || equalIgnoringCase(name, "Bias") ||
                             equalIgnoringCase(name, "SlopeAdjustmentFactor");
      if (setsScaling && type.isScalingUnspecified()) type.setScaling(ScalingEnum::BinaryPoint);
      if (setsSlope) type.setScaling(ScalingEnum::SlopeBias);
      setChecked(*row, type, value);
      request.typeGiven = true;
    } else if (const Property<fi>* own = findRow(FiObjClass::properties(), name)) {
      request.later.emplace_back(own->name, value);
    } else {
      failUnknown(name, FimathObjClass::properties(), NumericTypeObjClass::properties(),
                  FiObjClass::properties());
    }
  }
}

fi quantizedValue(const FiRequest& request) {
  const NumericType& type = request.type;
  const fimath& math = request.math;
  if (const fi* source = unwrapped<fi>(request.value)) return source->inType(type, math);
  if (!request.value.isNumeric() && !request.value.isLogical()) fail<kNotNumeric>();
  fi value(&request.value, type, math);
  value.setAutoScaled(type.isScalingUnspecified());
  return value;
}

/// Warns of the values that the word did not hold: which a longer one holds otherwise.
void warnOfOverflow(FiRequest request, const fi& value) {
  constexpr int kMostBits = 65535, kMoreBits = 2;
  NumericType& type = request.type;
  if (!request.typeGiven || !type.isFixed() || type.isScalingUnspecified()) return;
  if (type.wordLength() + kMoreBits > kMostBits) return;
  type.setWordLength(type.wordLength() + kMoreBits);
  request.math.setOverflowMode(OverflowModeEnum::saturate);
  const struct WithoutLogging {
    bool was = qlogger::getLogging();
    ~WithoutLogging() { qlogger::setLogging(was); }
  } guard;
  qlogger::setLogging(false);
  const fi longer = quantizedValue(request);
  std::size_t count = 0;
  for (unsigned k = 0; k < value.numel(); ++k) {
    count += longer.realPart()[k] != value.realPart()[k] ? 1 : 0;
    if (value.iscomplex()) count += longer.imagPart()[k] != value.imagPart()[k] ? 1 : 0;
  }
  reportCounts(count, 0, "construction");
}

/// Whether a property of an array is one of the forms of its values.
bool givesValues(std::string_view name) {
  static constexpr std::string_view kForms[] = {"double", "data", "int", "intarray", "corvanearray",
                                                "bin",    "oct",  "dec", "hex"};
  return std::ranges::find(kForms, name) != std::end(kForms);
}

/// fi(x, T, F) of an array, which loops ask for most; all null for other calls.
struct Cast {
  const fi* source = nullptr;
  const NumericType* type = nullptr;
  const fimath* math = nullptr;
};

Cast castFrom(const Arrays& inputs) {
  if (inputs.size() != 3 || warnsOfOverflow()) return {};
  const Cast cast{unwrapped<fi>(inputs[0]), unwrapped<NumericType>(inputs[1]), unwrapped<fimath>(inputs[2])};
  return cast.source && cast.type && cast.math ? cast : Cast{};
}

Arrays makeFi(Arrays& inputs, int) {
  if (inputs.empty()) return {toHost(fi())};
  // What the request below would come to.
  if (const Cast cast = castFrom(inputs); cast.source)
    return resultOf([&] { return cast.source->inType(*cast.type, *cast.math); });
  FiRequest request;
  request.value = inputs[0];
  if (const fi* source = unwrapped<fi>(inputs[0])) {
    request.math = source->getFimath();
    request.type = source->getNumericType();
  } else {
    request.type.setScaling(ScalingEnum::Unspecified);
  }
  const std::size_t positional = positionalEnd(inputs, 1);
  takePositional(request, inputs, positional);
  takePairs(request, inputs, positional);
  HostArray object = wrapResult([&] { return quantizedValue(request); });
  if (warnsOfOverflow()) warnOfOverflow(request, *unwrapped<fi>(object));
  for (const auto& [name, value] : request.later) {
    tessel::setProperty(object, name, value);
    if (givesValues(name)) unwrapped<fi>(object)->setDataSetByPair(true);
  }
  return {std::move(object)};
}

Arrays makeQuantizer(Arrays& inputs, int) { return {wrap(quantizerFrom(inputs))}; }

/// What the method of the same name answers for its class, for everything else.
template <class T>
Arrays isObjectOf(Arrays& inputs, int) {
  return {toHost(unwrapped<T>(inputs[0]) != nullptr)};
}

const Method kFunctions[] = {
    {"numerictype", 0, -1, 1, makeNumericType,
     "numerictype, numerictype(s, w), numerictype(s, w, f), numerictype(s, w, slope, bias), "
     "numerictype('double'), "
     "each with name/value pairs: a numeric type. Without a fraction length or slope the scaling is "
     "unspecified."},
    {"fimath", 0, -1, 1, makeFimath, "fimath, fimath(name, value, ...): math settings."},
    {"quantizer", 0, -1, 1, makeQuantizer,
     "quantizer, quantizer('fixed', 'floor', 'saturate', [16 15]), quantizer(T), quantizer(q), quantizer(name, "
     "value, ...): a quantizer. Words of the modes and the format come in any order."},
    {"fi", 0, -1, 1, makeFi,
     "fi, fi(v), fi(v, s), fi(v, s, w), fi(v, s, w, f), fi(v, s, w, slope, bias), fi(v, T), fi(v, T, F), each "
     "with name/value pairs: an array of fixed-point values. Without a scaling the values choose the best "
     "precision."},
    {"fipref", 0, -1, 1, fiPreferences, kPreferencesHelp},
    {"isfi", 1, 1, 1, isObjectOf<fi>, "isfi(x): whether x is an array of fixed-point values."},
    {"isnumerictype", 1, 1, 1, isObjectOf<NumericType>, "isnumerictype(x): whether x is a numeric type."},
    {"isfimath", 1, 1, 1, isObjectOf<fimath>, "isfimath(x): whether x is an object of math settings."},
    {"isquantizer", 1, 1, 1, isObjectOf<quantizer>, "isquantizer(x): whether x is a quantizer."},
};

}  // namespace

void registerConstructors() {
  for (const Method& row : kFunctions) tessel::registerFunction(functionOf(row));
}

void unregisterConstructors() {
  const auto raise = [](Arrays&, int) -> Arrays {
    tessel::raiseError("numforge:module:terminated", "The module has been terminated.");
  };
  for (const Method& row : kFunctions) tessel::registerFunction({row.name, raise, 0, -1, -1, row.help});
}

}  // namespace embedded::host

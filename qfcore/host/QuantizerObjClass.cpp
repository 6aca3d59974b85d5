#include "qfcore/host/QuantizerObjClass.h"

#include <algorithm>

#include "qfcore/fi/quantizertext.h"
#include "qfcore/host/module.h"
#include "qfcore/host/storage.h"
#include "qfcore/types/printed.h"
#include "tessel/console.h"

namespace embedded::host {

namespace {

namespace property_type = tessel::property_type;
using EmbeddedTypeSystem::printed;
using EmbeddedTypeSystem::textOf;

constexpr Message kMustBeQuantizer{"numforge:quantizer:mustBeQuantizer", "This parameter must be a quantizer."};
constexpr Message kBadPairs{"numforge:quantizer:set:badpairs",
                            "Properties are set by pairs of a name and a value."};
constexpr Message kDerived{"numforge:quantizer:set:derived",
                           "%s is derived from other properties and cannot be set explicitly."};
constexpr Message kReadOnly{"numforge:quantizer:set:readonly", "%s is a read-only property."};
constexpr Message kNotNumeric{"numforge:quantizer:quantize:notnumeric", "Value to quantize must be numeric."};
constexpr Message kNumericOnly{"numforge:quantizer:quantize:numericonly",
                               "Only inputs of type double, single, [u]int[8,16,32] allowed."};

// -------------------------------------------------------------------------------------------------- properties

template <auto Getter>
HostArray get(const quantizer& q) {
  return host::get<quantizer, Getter>(q);
}
template <auto Setter>
void set(quantizer& q, const HostArray& value) {
  host::set<quantizer, Setter>(q, value);
}

/// A whole number as the double that the property is.
template <int (quantizer::*Getter)() const>
HostArray count(const quantizer& q) {
  return toHost(static_cast<double>((q.*Getter)()));
}

template <number (quantizer::*Constant)() const>
HostArray constant(const quantizer& q) {
  return toHost((q.*Constant)().todouble());
}

template <auto Getter>
HostArray logged(const quantizer& q) {
  return toHost((q.logger().*Getter)());
}

int secondLength(const quantizer& q) {
  return q.mode() == QuantizerModeEnum::floatMode ? q.exponentLength() : q.fractionLength();
}

HostArray format(const quantizer& q) {
  HostArray pair = HostArray::zeros(tessel::ArrayClass::Double, {1, 2});
  pair.mutableReal<double>()[0] = q.wordLength();
  pair.mutableReal<double>()[1] = secondLength(q);
  return pair;
}

void setFormat(quantizer& q, const HostArray& lengths) { q.setFormat(lengths.realAt(0), lengths.realAt(1)); }

HostArray version(const quantizer&) { return toHost(TesselVersion_qfcore()); }

/// What setting a property raises that only shows what others make of it.
tessel::ErrorText derived(const char* name) { return errorText<kDerived>(name); }

const char* const kModeType = "quantizer Mode";

using Q = quantizer;
const Property<quantizer> kProperties[] = {
    {"mode", kModeType, get<&Q::mode>, set<&Q::setMode>,
     "The kind of format: fixed, ufixed, float, double, ...", "datamode"},
    {"datamode", kModeType, get<&Q::mode>, set<&Q::setMode>, "Same as mode.", "mode"},
    {"roundmode", "quantizer Round Mode", get<&Q::roundMode>, set<&Q::setRoundMode>, "As RoundMode of fimath."},
    {"overflowmode", "quantizer Overflow Mode", get<&Q::overflowMode>, set<&Q::setOverflowMode>,
     "As OverflowMode of fimath."},
    {"format", property_type::kRealPoint, format, setFormat,
     "[wordlength fractionlength]; in mode float [wordlength exponentlength]."},
    {"wordlength", property_type::kDouble, count<&Q::wordLength>, set<&Q::setWordlength>,
     "Total bits, sign included, 1 to 65535."},
    {"fractionlength", property_type::kDouble, count<&Q::fractionLength>, set<&Q::setFractionlength>,
     "Bits behind the binary point; of floating-point modes, the fraction bits."},
    {"precision", property_type::kDouble, get<&Q::constantPrecision>, derived("precision"),
     "Bits in which max, min, eps and the like are held."},
    {"exponentlength", property_type::kDouble, count<&Q::exponentLength>, set<&Q::setExponentlength>,
     "Bits of the exponent, 0 to 31; used in mode float."},
    {"max", property_type::kDouble, constant<&Q::max>, {}, "The largest value of the format."},
    {"min", property_type::kDouble, constant<&Q::min>, {}, "The smallest value of the format."},
    {"maxlog", property_type::kDouble, logged<&qlogger::realWorldMax>, {}, "The largest value produced."},
    {"minlog", property_type::kDouble, logged<&qlogger::realWorldMin>, {}, "The smallest value produced."},
    {"noverflows", property_type::kDouble, logged<&qlogger::noverflows>, {}, "Values that were out of range."},
    {"nunderflows", property_type::kDouble, logged<&qlogger::nunderflows>, {}, "Values that became zero."},
    {"noperations", property_type::kDouble, logged<&qlogger::noperations>, {}, "Values quantized."},
    {"denormalmax", property_type::kDouble, constant<&Q::denormalmax>, derived("denormalmax"),
     "The largest denormal value of a floating-point format; eps in fixed point."},
    {"denormalmin", property_type::kDouble, constant<&Q::denormalmin>, derived("denormalmin"),
     "The smallest positive value of a floating-point format; eps in fixed point."},
    {"eps", property_type::kDouble, constant<&Q::eps>, derived("eps"),
     "One step, at 1 in a floating-point format."},
    {"realmin", property_type::kDouble, constant<&Q::realmin>, derived("realmin"),
     "The smallest positive normal value; eps in fixed point."},
    {"realmax", property_type::kDouble, constant<&Q::max>, derived("realmax"),
     "The largest value of the format."},
    {"exponentmin", property_type::kDouble, count<&Q::exponentMin>, derived("exponentmin"),
     "The smallest exponent of normal values."},
    {"exponentmax", property_type::kDouble, count<&Q::exponentMax>, derived("exponentmax"),
     "The largest exponent."},
    {"exponentbias", property_type::kDouble, count<&Q::exponentBias>, derived("exponentbias"),
     "What is added to an exponent to store it."},
    {"version", property_type::kString, version, errorText<kReadOnly>("version"), "The version of the module."},
};

// ----------------------------------------------------------------------------------------------------- methods

/// quantizer('fixed', 'floor', 'saturate', [16 15])
Arrays toText(Arrays& inputs, int) {
  const quantizer& q = quantizerArgument(inputs[0]);
  std::string text =
      printed("quantizer('%s', '%s', '%s'", textOf(q.mode()), textOf(q.roundMode()), textOf(q.overflowMode()));
  const bool isNamedFormat =
      q.mode() == QuantizerModeEnum::doubleMode || q.mode() == QuantizerModeEnum::singleMode;
  if (!isNamedFormat) text += printed(", [%d %d]", q.wordLength(), secondLength(q));
  return {toHost(text + ")")};
}

void show(const quantizer& q) {
  tessel::printFormatted("\n                  mode: %s", textOf(q.mode()));
  tessel::printFormatted("\n             roundmode: %s", textOf(q.roundMode()));
  tessel::printFormatted("\n          overflowmode: %s", textOf(q.overflowMode()));
  tessel::printFormatted("\n                format: [%d %d]", q.wordLength(), secondLength(q));
  if (!q.logger().isreset()) {
    tessel::printFormatted("\n                maxlog: %g", q.logger().realWorldMax());
    tessel::printFormatted("\n                minlog: %g", q.logger().realWorldMin());
  }
  tessel::printFormatted("\n            noverflows: %zu", q.noverflows());
  tessel::printFormatted("\n           nunderflows: %zu\n", q.nunderflows());
}

Arrays isEqual(Arrays& inputs, int) {
  bool equal = true;
  for (std::size_t i = 1; i < inputs.size() && equal; ++i) {
    const quantizer *a = unwrapped<quantizer>(inputs[0]), *b = unwrapped<quantizer>(inputs[i]);
    equal = a && b && a->isequal(*b);
  }
  return {toHost(equal)};
}

Arrays isDifferent(Arrays& inputs, int) { return {toHost(isEqual(inputs, 1)[0].realAt(0) == 0)}; }

Arrays isQuantizer(Arrays& inputs, int) { return {toHost(unwrapped<quantizer>(inputs[0]) != nullptr)}; }

Arrays copy(Arrays& inputs, int) { return {wrap(quantizer(quantizerArgument(inputs[0])))}; }

Arrays resetLog(Arrays& inputs, int) {
  quantizerArgument(inputs[0]).logger().reset();
  return {};
}

Arrays setProperties(Arrays& inputs, int) {
  quantizerArgument(inputs[0]);
  setPairs<quantizer, kBadPairs>(inputs);
  return {};
}

/// Quantizes doubles in place: in one pass where the format is carried in doubles, else one after the other.
void quantizeDoubles(const quantizer& q, double* values, std::size_t count) {
  if (q.isDoubleBacked()) return q.quantize(values, count);
  for (std::size_t i = 0; i < count; ++i) {
    number value = carrierOf(q, values[i]);
    values[i] = q.quantize(value).todouble();
  }
}

HostArray asDoubles(const HostArray& array) {
  HostArray doubles = HostArray::unset(tessel::ArrayClass::Double, array.dims(), array.isComplex());
  double* real = doubles.mutableReal<double>();
  for (std::size_t i = 0; i < array.numel(); ++i) real[i] = array.realAt(i);
  if (!array.isComplex()) return doubles;
  double* imag = doubles.mutableImag<double>();
  for (std::size_t i = 0; i < array.numel(); ++i) imag[i] = array.imagAt(i);
  return doubles;
}

Arrays quantizeNumeric(Arrays& inputs, int) {
  const quantizer& q = quantizerArgument(inputs[0]);
  const HostArray& given = inputs[1];
  if (!given.isNumeric()) fail<kNotNumeric>();
  if (given.arrayClass() == tessel::ArrayClass::Int64 || given.arrayClass() == tessel::ArrayClass::Uint64) {
    fail<kNumericOnly>();
  }
  HostArray values = given.arrayClass() == tessel::ArrayClass::Double ? given : asDoubles(given);
  if (values.isEmpty()) return {values};
  quantizeDoubles(q, values.mutableReal<double>(), values.numel());
  if (values.isComplex()) quantizeDoubles(q, values.mutableImag<double>(), values.numel());
  return {values};
}

const char* const kQuantizeHelp =
    "quantize(q, x): the numbers x in the format of q, as doubles; counts overflows and underflows.";
const char* const kResetHelp = "resetlog(q), resetlogging(q), reset(q): forgets counts and logged extremes.";

const Method kMethods[] = {
    {"quantizenumeric", 2, 2, 1, quantizeNumeric, kQuantizeHelp},
    {"quantize", 2, 2, 1, quantizeNumeric, kQuantizeHelp},
    {"resetlog", 1, 1, 0, resetLog, kResetHelp},
    {"resetlogging", 1, 1, 0, resetLog, kResetHelp},
    {"reset", 1, 1, 0, resetLog, kResetHelp},
    {"isquantizer", 1, 1, 1, isQuantizer, "isquantizer(q): true."},
    {"isequal", 2, -1, 1, isEqual, "isequal(q, p): true when all settings are equal; logs do not count."},
    {"eq", 2, 2, 1, isEqual, "q == p: true when all settings are equal."},
    {"ne", 2, 2, 1, isDifferent, "q ~= p: true when a setting differs."},
    {"tostring", 1, 1, 1, toText, "tostring(q): the call that makes q again."},
    {"disp", 1, 1, 0, disp<quantizer, show>, "disp(q): prints settings, logged extremes and counts."},
    {"copy", 1, 1, 1, copy, "copy(q): another quantizer with the same settings and log."},
    {"set", 1, -1, 0, setProperties, "set(q, name, value, ...): sets properties, all or none."},
};

}  // namespace

quantizer& quantizerArgument(const HostArray& array) {
  if (quantizer* q = unwrapped<quantizer>(array)) return *q;
  fail<kMustBeQuantizer>();
}

std::span<const Property<quantizer>> QuantizerObjClass::properties() { return kProperties; }

std::shared_ptr<HostObject> QuantizerObjClass::createClassSpecificObject(Arrays& arguments) {
  return make(quantizerFrom(arguments));
}

void QuantizerObjClass::init() {
  registeredEnum(tableOf(QuantizerModeEnum{}));
  registeredEnum(tableOf(RoundModeEnum{}));
  registeredEnum(tableOf(OverflowModeEnum{}));
  hostClass().setHelp("Brings values into a number format and counts what falls outside it.");
  hostClass().setPersistence(quantizerPersistence());
  hostClass().addConstructor({property_type::kRest});
  addProperties(hostClass(), properties());
  addMethods(hostClass(), kMethods);
  addMethods(hostClass(), quantizerRadixMethods());
}

}  // namespace embedded::host

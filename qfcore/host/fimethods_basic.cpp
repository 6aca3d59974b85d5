/// Methods of `embedded.fi` that ask and show: kind, shape, parts, range, logs.
#include "qfcore/fi/display.h"
#include "qfcore/host/FiObjClass.h"
#include "qfcore/host/FimathObjClass.h"
#include "qfcore/host/NumericTypeObjClass.h"
#include "tessel/console.h"
#include "tessel/interpreter.h"

namespace embedded::host {

namespace {

constexpr Message kLoggingOff{"numforge:fi:%s:loggingoff",
                              "Logging is turned off.  However, values have been previously logged for this "
                              "variable.  To turn on logging, "
                              "type fipref('LoggingMode','On')"};
constexpr Message kLoggingOffAndReset{"numforge:fi:%s:loggingoffandreset",
                                      "Logging is turned off, and no values have been previously logged for "
                                      "this variable.  To turn on logging, type "
                                      "fipref('LoggingMode','On')"};

constexpr Message kBadPairs{"numforge:fi:set:badpairs", "Properties are set by pairs of a name and a value."};

/// A method that asks the numeric type.
template <auto Getter>
Arrays askType(Arrays& inputs, int) {
  return {toHost(std::invoke(Getter, fiArgument(inputs[0]).getNumericType()))};
}

/// A method that asks the logger; while logging is off that is an error, which says whether there is a record.
template <auto Getter>
Arrays askLogger(Arrays& inputs, int, const char* name) {
  const qlogger& logger = fiArgument(inputs[0]).getQlogger();
  if (!logger.isOn()) {
    const Message& message = logger.isreset() ? kLoggingOffAndReset : kLoggingOff;
    std::string identifier = message.identifier;
    throw ErrorIdException(identifier.replace(identifier.find("%s"), 2, name), message.text);
  }
  return {toHost((logger.*Getter)())};
}

Arrays noverflows(Arrays& inputs, int n) { return askLogger<&qlogger::noverflows>(inputs, n, "noverflows"); }
Arrays nunderflows(Arrays& inputs, int n) { return askLogger<&qlogger::nunderflows>(inputs, n, "nunderflows"); }
Arrays maxlog(Arrays& inputs, int n) { return askLogger<&qlogger::realWorldMax>(inputs, n, "maxlog"); }
Arrays minlog(Arrays& inputs, int n) { return askLogger<&qlogger::realWorldMin>(inputs, n, "minlog"); }
Arrays noperations(Arrays& inputs, int n) { return askLogger<&qlogger::noperations>(inputs, n, "noperations"); }
Arrays nmathoperations(Arrays& inputs, int n) {
  return askLogger<&qlogger::nmathoperations>(inputs, n, "nmathoperations");
}

Arrays isFi(Arrays& inputs, int) { return {toHost(unwrapped<fi>(inputs[0]) != nullptr)}; }

Arrays copy(Arrays& inputs, int) { return {toHost(fi(fiArgument(inputs[0])))}; }

Arrays typeOf(Arrays& inputs, int) { return {toHost(NumericType(fiArgument(inputs[0]).getNumericType()))}; }

Arrays mathOf(Arrays& inputs, int) { return {toHost(fimath(fiArgument(inputs[0]).getFimath()))}; }

unsigned lengthOf(const fi& x) { return x.maxDim(); }

/// size(a), size(a, d), [m, n] = size(a): the host's own rules, on an array of the same shape.
Arrays size(Arrays& inputs, int outputCount) {
  if (const fi* x = unwrapped<fi>(inputs[0])) {
    const tessel::Dimensions dims(x->dims().begin(), x->dims().end());
    inputs[0] = HostArray::zeros(tessel::ArrayClass::Logical, dims);
  }
  return callWithNumbers("size", inputs, outputCount);
}

int lastPropertySet(const fi& x) { return static_cast<int>(x.getLastPropertySet()); }

Arrays is64BitPlatform(Arrays&, int) { return {toHost(sizeof(void*) == 8)}; }

Arrays bestPrecision(Arrays& inputs, int) {
  NumericType type(fiArgument(inputs[0]).getNumericType());
  type.setBestPrecision(inputs[1]);
  return {toHost(std::move(type))};
}

Arrays display(Arrays& inputs, int) {
  const std::string name = inputs.size() > 1 ? inputs[1].toText() : "ans";
  tessel::print(displayedArray(fiArgument(inputs[0]), name));
  return {};
}

Arrays setProperties(Arrays& inputs, int) {
  fiArgument(inputs[0]);
  setPairs<fi, kBadPairs>(inputs);
  return {};
}

const Method kMethods[] = {
    {"disp", 1, 1, 0, disp<fi>, "disp(a): prints the values."},
    {"display", 1, 2, 0, display,
     "display(a, name): prints name, type, values and math settings, as fipref says."},
    {"set", 1, -1, 0, setProperties, "set(a, name, value, ...): sets properties, all or none.", true},
    {"copy", 1, 1, 1, copy, "copy(a): another array with the same values and settings."},
    {"isfi", 1, 1, 1, isFi, "isfi(a): true."},
    {"isfixed", 1, 1, 1, askType<&NumericType::isFixed>, "isfixed(a): the data type is Fixed."},
    {"isfloat", 1, 1, 1, askType<&NumericType::isFloat>, "isfloat(a): the data type is double or single."},
    {"isdouble", 1, 1, 1, askType<&NumericType::isDouble>, "isdouble(a): the data type is double."},
    {"issingle", 1, 1, 1, askType<&NumericType::isSingle>, "issingle(a): the data type is single."},
    {"isboolean", 1, 1, 1, askType<&NumericType::isBoolean>, "isboolean(a): the data type is boolean."},
    {"isscaleddouble", 1, 1, 1, askType<&NumericType::isScaledDouble>,
     "isscaleddouble(a): the data type is ScaledDouble."},
    {"isscaledtype", 1, 1, 1, askType<&NumericType::isFixedOrScaledDouble>,
     "isscaledtype(a): the data type is Fixed or ScaledDouble."},
    {"isempty", 1, 1, 1, askArray<&fi::isempty>, "isempty(a): there is no element."},
    {"isscalar", 1, 1, 1, askArray<&fi::isscalar>, "isscalar(a): there is one element."},
    {"isvector", 1, 1, 1, askArray<&fi::isvector>, "isvector(a): one row or one column."},
    {"isrow", 1, 1, 1, askArray<&fi::isrow>, "isrow(a): one row."},
    {"iscolumn", 1, 1, 1, askArray<&fi::iscolumn>, "iscolumn(a): one column."},
    {"isreal", 1, 1, 1, askArray<&fi::isreal>, "isreal(a): there are no imaginary parts."},
    {"numel", 1, 1, 1, askArray<&fi::numel>, "numel(a): the count of elements."},
    {"length", 1, 1, 1, askArray<lengthOf>, "length(a): the largest dimension."},
    {"ndims", 1, 1, 1, askArray<&fi::numDims>, "ndims(a): the count of dimensions."},
    {"size", 1, -1, -1, size, "size(a), size(a, d), [m, n] = size(a): sizes in each dimension."},
    {"real", 1, 1, 1, askArray<&fi::getRealFi>, "real(a): the real parts."},
    {"imag", 1, 1, 1, askArray<&fi::getImagFi>, "imag(a): the imaginary parts."},
    {"numerictype", 1, 1, 1, typeOf, "numerictype(a): a copy of the numeric type."},
    {"fimath", 1, 1, 1, mathOf, "fimath(a): a copy of the math settings."},
    {"double", 1, 1, 1, askArray<&fi::getDoubleHostArray>, "double(a): the real-world values as doubles."},
    {"lowerbound", 1, 1, 1, askArray<&fi::lowerbound>, "lowerbound(a): the smallest value of the type."},
    {"upperbound", 1, 1, 1, askArray<&fi::upperbound>, "upperbound(a): the largest value of the type."},
    {"range", 1, 1, 1, askArray<&fi::range>, "range(a): smallest and largest value of the type."},
    {"realmax", 1, 1, 1, askArray<&fi::realmax>, "realmax(a): the largest value of the type."},
    {"realmin", 1, 1, 1, askArray<&fi::realmin>, "realmin(a): the smallest positive value of the type."},
    {"eps", 1, 1, 1, askArray<&fi::eps>, "eps(a): one step of the type."},
    {"lsb", 1, 1, 1, askArray<&fi::lsb>, "lsb(a): one step of the type."},
    {"maxlog", 1, 1, 1, maxlog, "maxlog(a): the largest value logged."},
    {"minlog", 1, 1, 1, minlog, "minlog(a): the smallest value logged."},
    {"noverflows", 1, 1, 1, noverflows, "noverflows(a): overflows logged."},
    {"nunderflows", 1, 1, 1, nunderflows, "nunderflows(a): underflows logged."},
    {"noperations", 1, 1, 1, noperations, "noperations(a): values logged."},
    {"nmathoperations", 1, 1, 1, nmathoperations, "nmathoperations(a): arithmetic operations logged."},
    {"fieps", 1, 1, 1, askArray<&fi::eps>, "fieps(a): one step of the type, as eps(a)."},
    {"lastpropertyset", 1, 1, 1, askArray<lastPropertySet>,
     "lastpropertyset(a): the place of the property set last among the properties, from 0; -1 for none."},
    {"datasetbypvpair", 1, 1, 1, askArray<&fi::isDataSetByPair>,
     "datasetbypvpair(a): a name/value pair of the constructor gave the values."},
    {"GetBestPrecisionForHostArray", 2, 2, 1, bestPrecision,
     "GetBestPrecisionForHostArray(a, x): a's numeric type with the scaling that holds the numbers x with the "
     "least "
     "loss."},
    {"Is64BitPlatform", 1, 1, 1, is64BitPlatform,
     "Is64BitPlatform(a): whether the module runs with 64-bit addresses."},
    {"isautoscaled", 1, 1, 1, askArray<&fi::isAutoScaled>,
     "isautoscaled(a): best precision chose the scaling."},
};

}  // namespace

std::span<const Method> basicMethods() { return kMethods; }

}  // namespace embedded::host

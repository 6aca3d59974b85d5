#include "qfcore/host/FiObjClass.h"

#include <cmath>
#include <limits>
#include <vector>

#include "qfcore/host/FimathObjClass.h"
#include "qfcore/host/NumericTypeObjClass.h"
#include "qfcore/host/filogObjClass.h"
#include "qfcore/host/storage.h"

namespace embedded::host {

namespace {

namespace property_type = tessel::property_type;

constexpr Message kMustBeFi{"numforge:fi:mustBeFi", "This parameter must be a fi."};
constexpr Message kNotNumeric{"numforge:fi:operand:numeric",
                              "An operand beside a fi must be a fi, or a numeric or logical array."};

// -------------------------------------------------------------------------------------------------- properties

/// A property of the numeric type as a property of the array: set on a copy, to which the array's values then
/// move.
Property<fi> ofType(const char* name) {
  const Property<NumericType>& row = *findRow(NumericTypeObjClass::properties(), name);
  return {row.name, row.type, [&row](const fi& x) { return row.get(x.getNumericType()); },
          [&row](fi& x, const HostArray& value) {
            NumericType type(x.getNumericType());
            if (!row.set(type, value)) return false;
            x.setNumericType(type);
            return true;
          },
          row.help};
}

/// A property of the math settings as a property of the array.
Property<fi> ofMath(const char* name) {
  const Property<fimath>& row = *findRow(FimathObjClass::properties(), name);
  return {row.name, row.type, [&row](const fi& x) { return row.get(x.getFimath()); },
          [&row](fi& x, const HostArray& value) {
            fimath math(x.getFimath());
            if (!row.set(math, value)) return false;
            x.setFimath(math);
            return true;
          },
          row.help};
}

HostArray typeOf(const fi& x) { return wrap(NumericType(x.getNumericType())); }
void setType(fi& x, const HostArray& type) { x.setNumericType(numericTypeArgument(type)); }
HostArray mathOf(const fi& x) { return wrap(fimath(x.getFimath())); }
void setMath(fi& x, const HostArray& math) { x.setFimath(fimathArgument(math)); }

template <auto Getter>
HostArray get(const fi& x) {
  return host::get<fi, Getter>(x);
}
template <auto Setter>
void set(fi& x, const HostArray& value) {
  host::set<fi, Setter>(x, value);
}

HostArray lastPropertySet(const fi& x) { return toHost(static_cast<int>(x.getLastPropertySet())); }
void setLastPropertySet(fi& x, const HostArray& place) {
  x.setLastPropertySet(static_cast<fi::PropertyEnum>(fromHost<int>(place)));
}

template <auto Getter>
HostArray logged(const fi& x) {
  return toHost((x.getQlogger().*Getter)());
}

HostArray intArray(const fi& x) { return x.getIntArray(); }
void setIntArray(fi& x, const HostArray& stored) { x.setIntArray(stored); }

template <int Base>
void setText(fi& x, const HostArray& text) {
  x.base2num(text, Base);
}

HostArray logging(const fi& x) { return toHost(x.getQlogger().isAlwaysOn()); }

std::vector<Property<fi>> makeProperties() {
  std::vector<Property<fi>> rows;
  rows.push_back({"numerictype", "embedded.numerictype", typeOf, setType, "The numeric type of the values."});
  for (const char* name : {"DataTypeMode", "DataType", "Scaling", "Signed", "WordLength", "FractionLength",
                           "BinaryPoint", "FixedExponent", "Slope", "SlopeAdjustmentFactor", "Bias"}) {
    rows.push_back(ofType(name));
  }
  rows.push_back({"fimath", property_type::kArray, mathOf, setMath, "The math settings."});
  for (const char* name : {"RoundMode",
                           "OverflowMode",
                           "ProductMode",
                           "SumMode",
                           "ProductWordLength",
                           "MaxProductWordLength",
                           "ProductFractionLength",
                           "ProductFixedExponent",
                           "ProductSlope",
                           "ProductSlopeAdjustmentFactor",
                           "ProductBias",
                           "SumWordLength",
                           "MaxSumWordLength",
                           "SumFractionLength",
                           "SumFixedExponent",
                           "SumSlope",
                           "SumSlopeAdjustmentFactor",
                           "SumBias",
                           "CastBeforeSum",
                           "CStyle"}) {
    rows.push_back(ofMath(name));
  }
  rows.back().get = [](const fi& x) { return toHost(x.getFimath().isCStyle()); };
  const std::vector<Property<fi>> own{
      {"Logging", property_type::kBool, logging, set<&fi::setLogging>,
       "Whether this array logs, also while logging is off everywhere."},
      {"isautoscaled",
       property_type::kBool,
       get<&fi::isAutoScaled>,
       {},
       "Whether the fraction length was chosen by best precision."},
      {"datasetbypvpair",
       property_type::kBool,
       get<&fi::isDataSetByPair>,
       {},
       "Whether the values were given by a name/value pair."},
      {"double", property_type::kArray, get<&fi::getDoubleHostArray>, set<&fi::setDoubleHostArray>,
       "The real-world values as doubles."},
      {"data", property_type::kArray, get<&fi::getDataHostArray>, set<&fi::setDataHostArray>,
       "The real-world values in the host's class for the data type."},
      {"int", property_type::kArray, get<&fi::getIntHostArray>, set<&fi::setIntHostArray>,
       "The stored integers in the narrowest integer class."},
      {"intarray", property_type::kArray, intArray, setIntArray,
       "The stored integers; words of more than 32 bits in 32-bit chunks."},
      {"corvanearray", property_type::kArray, get<&fi::getCorvaneArray>, set<&fi::setCorvaneArray>,
       "The stored integers as block diagrams take them."},
      {"bin", property_type::kArray, get<&fi::bin>, setText<2>, "The stored integers in binary."},
      {"oct", property_type::kArray, get<&fi::oct>, setText<8>, "The stored integers in octal."},
      {"dec", property_type::kArray, get<&fi::dec>, setText<10>,
       "The patterns of the stored integers in decimal."},
      {"hex", property_type::kArray, get<&fi::hex>, setText<16>, "The stored integers in hexadecimal."},
      {"noverflows", property_type::kDouble, logged<&qlogger::noverflows>, {}, "Overflows logged."},
      {"nunderflows", property_type::kDouble, logged<&qlogger::nunderflows>, {}, "Underflows logged."},
      {"maxlog", property_type::kDouble, logged<&qlogger::realWorldMax>, {}, "Largest value logged."},
      {"minlog", property_type::kDouble, logged<&qlogger::realWorldMin>, {}, "Smallest value logged."},
      {"LastPropertySet", property_type::kInt32, lastPropertySet, setLastPropertySet,
       "The place of the property set last in this list, from 0; -1 for none."},
      {"Tag", property_type::kString, get<&fi::tag>, set<&fi::setTag>, "The name under which the array logs."},
  };
  rows.insert(rows.end(), own.begin(), own.end());
  return rows;
}

}  // namespace

std::span<const Property<fi>> FiObjClass::properties() {
  static const std::vector<Property<fi>> rows = makeProperties();
  return rows;
}

fi& fiArgument(const HostArray& array) {
  if (fi* value = unwrapped<fi>(array)) return *value;
  fail<kMustBeFi>();
}

std::optional<unsigned> dimensionArgument(const HostArray& argument) {
  const HostArray value = numbersOf(argument);
  const bool isNumber = (value.isNumeric() || value.isLogical()) && value.isScalar() && !value.isComplex();
  const double dimension = isNumber ? value.realAt(0) : 0;
  const bool isOne =
      dimension >= 1 && dimension <= std::numeric_limits<int>::max() && dimension == std::floor(dimension);
  return isOne ? std::optional(static_cast<unsigned>(dimension)) : std::nullopt;
}

namespace {

/// The array that an operand wraps, or what `convert` makes of a host number.
template <class Convert>
fi converted(const HostArray& operand, Convert convert) {
  if (const fi* value = unwrapped<fi>(operand)) return *value;
  if (!operand.isNumeric() && !operand.isLogical()) fail<kNotNumeric>();
  return convert();
}

}  // namespace

fi operandBeside(const HostArray& operand, const fi& other) {
  return converted(operand, [&] {
    NumericType type(other.getNumericType());
    if (type.isFixedOrScaledDouble()) type.setScaling(EmbeddedTypeSystem::ScalingEnum::Unspecified);
    return fi(&operand, type, other.getFimath());
  });
}

fi operandInTypeOf(const HostArray& operand, const fi& other) {
  return converted(operand, [&] { return fi(&operand, other.getNumericType(), other.getFimath()); });
}

fi operandAsItIs(const HostArray& operand, const fi&) {
  return converted(operand, [&] { return fi::unquantized(operand); });
}

std::shared_ptr<HostObject> FiObjClass::createClassSpecificObject(Arrays& arguments) {
  const fimath math = arguments.size() > 2 ? fimathArgument(arguments[2]) : fimath();
  if (arguments.empty()) return make(fi());
  NumericType type;
  type.setScaling(EmbeddedTypeSystem::ScalingEnum::Unspecified);
  if (arguments.size() > 1) type = numericTypeArgument(arguments[1]);
  fi value(&arguments[0], type, math);
  value.setAutoScaled(type.isScalingUnspecified());
  return make(std::move(value));
}

void FiObjClass::init() {
  hostClass().setHelp("An array of fixed-point values with a numeric type and math settings.");
  hostClass().setPersistence(fiPersistence());
  const std::string array = property_type::kArray;
  for (std::size_t count = 0; count <= 3; ++count) {
    hostClass().addConstructor(tessel::ConstructorSignature(count, array));
  }
  int place = 0;
  for (Property<fi> row : properties()) {
    if (row.set && place <= fi::kLastProperty) {
      row.set = [set = row.set, place](fi& x, const HostArray& value) {
        if (!set(x, value)) return false;
        x.setLastPropertySet(static_cast<fi::PropertyEnum>(place));
        return true;
      };
    }
    addProperty(hostClass(), row);
    ++place;
  }
  addMethods(hostClass(), basicMethods());
  addMethods(hostClass(), logMethods());
  addMethods(hostClass(), globalFilogMethods());
  addMethods(hostClass(), conversionMethods());
  addMethods(hostClass(), indexingMethods());
  hostClass().setElementAccess(elementAccess());
  addMethods(hostClass(), shapeMethods());
  addMethods(hostClass(), arithmeticMethods());
  addMethods(hostClass(), filterMethods());
  addMethods(hostClass(), comparisonMethods());
  addMethods(hostClass(), bitMethods());
  addMethods(hostClass(), numberMethods());
  addMethods(hostClass(), fileMethods());
}

}  // namespace embedded::host

// Every row of every class: read, set to what is legal and to what is not, called with anything.
#include <algorithm>
#include <set>
#include <sstream>

#include "tessel/interpreter.h"
#include "tessel/runtime/console.h"
#include "tests/host/fixture.h"

using namespace host_tests;
namespace property_type = tessel::property_type;
using tessel::PropertyInfo;

namespace {

class Classes : public HostTest {};

HostArray numericType(double wordLength) {
  HostArray type = classNamed("numerictype").create({});
  tessel::setProperty(type, "WordLength", HostArray::scalar(wordLength));
  return type;
}

HostArray elementNamed(const std::string& name) {
  HostArray element = classNamed("structelement").create({});
  tessel::setProperty(element, "Identifier", HostArray::text(name));
  tessel::setProperty(element, "Type", numericType(9));
  return element;
}

HostArray flooringMath() {
  HostArray math = classNamed("fimath").create({});
  tessel::setProperty(math, "RoundMode", HostArray::text("floor"));
  return math;
}

/// A legal value other than the current one, where there is another; what is current otherwise.
HostArray legalValue(const PropertyInfo& property, const HostArray& current) {
  const std::string& name = property.name;
  if (property.type == property_type::kBool) return HostArray::logical(current.realAt(0) == 0);
  if (property.type == property_type::kRealPoint) return row({20, 3});
  if (name.starts_with("PrivDlg") && current.isText()) {
    return HostArray::text(name.ends_with("BiasString") ? "0" : "1");
  }
  if (property.type == property_type::kString) return HostArray::text("other");
  if (property.type == property_type::kInt32) return HostArray::scalar(current.realAt(0) + 1);
  if (property.type == property_type::kDouble) {
    if (name.ends_with("length")) return HostArray::scalar(current.realAt(0) + 1);
    return HostArray::scalar(name.ends_with("Slope") ? 0.25 : name.ends_with("Factor") ? 1 : 0);
  }
  if (const tessel::EnumeratedType* type = tessel::findEnumeratedType(property.type)) {
    const bool isFirst = type->values[0].first == current.toText();
    return HostArray::text(type->values[isFirst ? 1 : 0].first);
  }
  if (name == "fimath") return flooringMath();
  if (name == "Signed") return HostArray::logical(false);
  if (name == "CStyle") return HostArray::scalar(1);
  if (name == "double" || name == "data") return row({0.5, 0.25});
  if (name == "Values" || name == "Dimensions") return row({2, 3});
  if (name == "Elements") return elementNamed("e");
  if (name == "numerictype" || name == "BaseType" || name == "Type") return numericType(20);
  return current;
}

/// A value that no property of that type takes.
HostArray wrongValue(const PropertyInfo& property) {
  if (property.type == property_type::kArray) return HostArray::cell({1, 1});
  if (property.type == property_type::kString) return HostArray::scalar(5);
  return HostArray::text("no such value");
}

void checkLegal(const HostClass& hostClass, const PropertyInfo& property) {
  HostArray object = freshObject(hostClass);
  const HostArray value = legalValue(property, tessel::getProperty(object, property.name));
  int events = 0;
  object.objectAt()->addListener(property.name, [&](tessel::HostObject&, const std::string&) { ++events; });
  HostArray handle = object;
  ASSERT_EQ(errorOf([&] { tessel::setProperty(handle, property.name, value); }), "");
  const HostArray read = tessel::getProperty(handle, property.name);
  if (property.name.starts_with("PrivDlg") && read.isText()) {
    EXPECT_EQ(tessel::evaluateExpression(read.toText()).realAt(0),
              tessel::evaluateExpression(value.toText()).realAt(0));
  } else {
    EXPECT_EQ(textOf(read), textOf(value));
  }
  if (!hostClass.isValueClass()) {
    EXPECT_EQ(events, 1);
  }
}

void expectRefused(HostArray object, const std::string& name, const HostArray& value, bool byError) {
  const auto before = stateOf(object);
  HostArray handle = object;
  const std::string error = errorOf([&] { tessel::setProperty(handle, name, value); });
  if (byError) {
    EXPECT_NE(error, "") << textOf(value);
  }
  EXPECT_EQ(stateOf(handle), before) << textOf(value);
}

TEST_F(Classes, EveryPropertyTakesWhatIsLegalAndRefusesTheRest) {
  for (const HostClass* hostClass : concreteClasses()) {
    for (const PropertyInfo* property : hostClass->properties()) {
      SCOPED_TRACE(hostClass->name() + "." + property->name);
      EXPECT_NE(property->help, "");
      const HostArray object = freshObject(*hostClass);
      const HostArray current = tessel::getProperty(object, property->name);
      if (!property->set) {
        expectRefused(object, property->name, current, true);
        continue;
      }
      // Derived properties of a quantizer have setters that only refuse.
      HostArray same = freshObject(*hostClass);
      const std::string error = errorOf([&] { tessel::setProperty(same, property->name, current); });
      if (error.starts_with("numforge:quantizer:set:")) continue;
      checkLegal(*hostClass, *property);
      expectRefused(object, property->name, wrongValue(*property), true);
    }
  }
}

TEST_F(Classes, ValuesOutOfRangeLeaveTheObjectAsItWas) {
  const HostArray zero = HostArray::scalar(0), huge = HostArray::scalar(65536), minus = HostArray::scalar(-1);
  const struct {
    const char *hostClass, *property;
    HostArray value;
  } rows[] = {
      {"numerictype", "WordLength", zero},
      {"numerictype", "WordLength", huge},
      {"numerictype", "Slope", minus},
      {"numerictype", "Slope", HostArray::scalar(0.75)},
      {"numerictype", "Signed", HostArray::scalar(2)},
      {"numerictype", "Signed", HostArray()},
      {"numerictype", "PrivDlgWordLengthString", HostArray::text("1e300")},
      {"numerictype", "PrivDlgSlopeString", HostArray::text("{}")},
      {"fimath", "SumWordLength", huge},
      {"fimath", "ProductSlope", minus},
      {"fimath", "ProductSlopeAdjustmentFactor", HostArray::scalar(2)},
      {"fimath", "PrivDlgSumWordLengthString", HostArray::text("0")},
      {"fi", "Slope", minus},
      {"fi", "double", HostArray::scalar(std::numeric_limits<double>::quiet_NaN())},
      {"fi", "LastPropertySet", HostArray::scalar(49)},
      {"quantizer", "wordlength", zero},
      {"quantizer", "exponentlength", HostArray::scalar(32)},
      {"quantizer", "fractionlength", HostArray::scalar(0.5)},
      {"quantizer", "format", row({8, 0.5})},
      {"chartype", "NumberOfBits", HostArray::scalar(33)},
      {"structelement", "Identifier", HostArray::text(std::string(129, 'a'))},
      {"matrixtype", "Dimensions", row({2, 3, 1})},
      {"enumtype", "Values", row({1, 2, 3})},
      {"structtype", "Elements", numericType(8)},
  };
  for (const auto& [hostClass, property, value] : rows) {
    SCOPED_TRACE(std::string(hostClass) + "." + property);
    expectRefused(freshObject(classNamed(hostClass)), property, value, false);
  }
}

/// Calls a method with every choice of arguments from `palette` behind the object, up to `count` of them.
void callWithAnything(const HostClass& hostClass, const std::string& name, const Arrays& palette, int count,
                      Arrays chosen) {
  const HostArray object = freshObject(hostClass);
  const auto before = stateOf(object);
  Arrays inputs{object};
  inputs.insert(inputs.end(), chosen.begin(), chosen.end());
  const std::string error = errorOf([&] { tessel::callFunction(name, inputs, 1); });
  if (!error.empty()) {
    EXPECT_EQ(stateOf(object), before) << error;
  }
  if (count == 0) return;
  for (const HostArray& each : palette) {
    chosen.push_back(each);
    callWithAnything(hostClass, name, palette, count - 1, chosen);
    chosen.pop_back();
  }
}

TEST_F(Classes, EveryMethodAnswersOrRaisesWhateverItIsGiven) {
  const tessel::ConsoleRedirect quiet;
  HostArray cell = HostArray::cell({1, 1});
  const Arrays palette{HostArray::scalar(1),
                       HostArray::scalar(-2.5),
                       HostArray(),
                       HostArray::text("RoundMode"),
                       cell,
                       row({1, 2, 3}),
                       freshObject(classNamed("fi")),
                       numericType(8),
                       flooringMath()};
  for (const HostClass* hostClass : concreteClasses()) {
    for (const tessel::MethodInfo* method : hostClass->methods()) {
      SCOPED_TRACE(hostClass->name() + "." + method->function.name);
      EXPECT_NE(method->function.help, "");
      const int wanted = method->function.maxInputs < 0 ? 2 : std::min(method->function.maxInputs - 1, 2);
      callWithAnything(*hostClass, method->function.name, palette, wanted, {});
      callWithAnything(*hostClass, method->function.name, {}, 0, Arrays(7, palette[0]));
    }
  }
}

TEST_F(Classes, PropertiesAreListedInOrderOfRegistration) {
  const std::pair<const char*, std::string> rows[] = {
      {"numerictype",
       "DataTypeMode DataType Scaling Signed WordLength FractionLength BinaryPoint FixedExponent Slope "
       "SlopeAdjustmentFactor Bias SignedEnum"},
      {"fimath",
       "RoundMode OverflowMode PrecisionMode ProductMode ProductWordLength MaxProductWordLength "
       "ProductFractionLength ProductFixedExponent ProductSlope ProductSlopeAdjustmentFactor ProductBias "
       "SumMode SumWordLength MaxSumWordLength SumFractionLength SumFixedExponent SumSlope "
       "SumSlopeAdjustmentFactor SumBias CastBeforeSum CStyle"},
      {"reffimath",
       "RoundMode OverflowMode PrecisionMode ProductMode ProductWordLength MaxProductWordLength "
       "ProductFractionLength ProductFixedExponent ProductSlope ProductSlopeAdjustmentFactor ProductBias "
       "SumMode SumWordLength MaxSumWordLength SumFractionLength SumFixedExponent SumSlope "
       "SumSlopeAdjustmentFactor SumBias CastBeforeSum CStyle"},
      {"quantizer",
       "mode datamode roundmode overflowmode format wordlength fractionlength precision exponentlength max "
       "min maxlog minlog noverflows nunderflows noperations denormalmax denormalmin eps realmin realmax "
       "exponentmin exponentmax exponentbias version"},
      {"fi",
       "numerictype DataTypeMode DataType Scaling Signed WordLength FractionLength BinaryPoint "
       "FixedExponent Slope SlopeAdjustmentFactor Bias fimath RoundMode OverflowMode ProductMode SumMode "
       "ProductWordLength MaxProductWordLength ProductFractionLength ProductFixedExponent ProductSlope "
       "ProductSlopeAdjustmentFactor ProductBias SumWordLength MaxSumWordLength SumFractionLength "
       "SumFixedExponent SumSlope SumSlopeAdjustmentFactor SumBias CastBeforeSum CStyle Logging "
       "isautoscaled datasetbypvpair double data int intarray corvanearray bin oct dec hex noverflows "
       "nunderflows maxlog minlog LastPropertySet Tag"},
  };
  for (const auto& [name, names] : rows) {
    std::string properties;
    for (const PropertyInfo* property : classNamed(name).properties()) {
      if (!property->hidden) properties += (properties.empty() ? "" : " ") + property->name;
    }
    EXPECT_EQ(properties, names) << name;
  }
}

TEST_F(Classes, HaveTheMethodsThatScriptsRelyOn) {
  const std::pair<const char*, const char*> rows[] = {
      {"fi",
       "set numel isfi isfixed isfloat isdouble isscaleddouble issingle isboolean isscaledtype isempty "
       "isscalar "
       "iscolumn isrow isvector isreal length size ndims reshape squeeze transpose ctranspose stripscaling "
       "reinterpretcast copy maxlog minlog noverflows nunderflows noperations nmathoperations getqloggerstruct "
       "numerictype fimath bin data dec double single hex int intarray oct corvanearray real imag realmax "
       "realmin fieps intmax intmin range lowerbound upperbound uminus conj pow2 bitshift bitcmp bitand bitor "
       "bitxor bitget bitset stridesort basesort stridesort2 leadingdimension_sum plus minus times mtimes "
       "complex binaryop_complex binary_max binary_min unary_max unary_min eq ge gt le lt ne sign isequal "
       "binaryop_isequal diag tril triu toeplitz hankel subsref subsasgn subscriptedreference "
       "subscriptedgrowassignment num2sdec sdec num2base base2num copydata displaygloballog resetgloballog "
       "resetlogging resetlog isautoscaled datasetbypvpair lastpropertyset getlocalfilogs "
       "consolidatelocalfilogs "
       "getglobalfilogs clearglobalfilogs realabs sqrt Is64BitPlatform GetBestPrecisionForHostArray "
       "GetNumericTypeForPlus"},
      {"numerictype",
       "SetBestFractionLength disp isequivalent tostring qpointstr isnumerictype isfixed "
       "isbinarypointscalingset "
       "isslopebiasscalingset isslopebiasscaled isscaledtype isscaleddouble isfloat isdouble issingle "
       "isboolean "
       "sqrt transpose ctranspose divide checksum"},
      {"fimath",
       "disp isequal isfimath sqrt tostring add mpy sub transpose ctranspose set AddToFimathDictionary "
       "GetFromFimathDictionary FimathDictionaryTagExists SetDefaultFimath ResetDefaultFimath"},
      {"reffimath", "getDlgUserData setDlgUserData add"},
      {"quantizer", "resetlog resetlogging quantizenumeric num2base base2num num2sdec isquantizer isequal"},
  };
  for (const auto& [name, methods] : rows) {
    std::istringstream names(methods);
    for (std::string method; names >> method;) {
      EXPECT_TRUE(classNamed(name).findMethod(method)) << name << "." << method;
    }
  }
}

TEST_F(Classes, AreCreatedInOrder) {
  std::string names;
  for (const HostClass* each : tessel::getPackage("embedded").classes()) names += each->name() + " ";
  EXPECT_EQ(names,
            "type scalartype complextype enumtype pointertype opaquetype matrixtype structelement structtype "
            "chartype "
            "voidtype numerictype quantizer fimath reffimath fi qlogger filog ");
}

TEST_F(Classes, ADependentTextSignalsItsChange) {
  HostArray type = classNamed("numerictype").create({});
  std::set<std::string> changed;
  for (const PropertyInfo* property : classNamed("numerictype").properties()) {
    type.objectAt()->addListener(property->name,
                                 [&](tessel::HostObject&, const std::string& name) { changed.insert(name); });
  }
  tessel::setProperty(type, "FractionLength", HostArray::scalar(3));
  EXPECT_EQ(changed,
            (std::set<std::string>{"FractionLength", "PrivDlgFractionLengthString", "PrivDlgSlopeString"}));
  changed.clear();
  tessel::setProperty(type, "PrivDlgWordLengthString", HostArray::text("24"));
  EXPECT_EQ(changed, (std::set<std::string>{"PrivDlgWordLengthString", "WordLength"}));
  EXPECT_EQ(tessel::getProperty(type, "WordLength").realAt(0), 24);
}

}  // namespace

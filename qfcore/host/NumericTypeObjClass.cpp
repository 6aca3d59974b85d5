#include "qfcore/host/NumericTypeObjClass.h"

#include <vector>

#include "qfcore/host/FiObjClass.h"
#include "qfcore/host/TypeObjClasses.h"
#include "qfcore/host/dialog.h"
#include "qfcore/host/storage.h"

namespace embedded::host {

namespace {

using EmbeddedTypeSystem::DataTypeEnum;
using EmbeddedTypeSystem::DataTypeModeEnum;
using EmbeddedTypeSystem::ScalingEnum;
using EmbeddedTypeSystem::SignedEnum;
namespace property_type = tessel::property_type;

constexpr Message kTooManyInputs{"numforge:numerictype:nargchk:tooManyInputs", "Too many input arguments"};
constexpr Message kMustBeNumericType{"numforge:numerictype:mustBeNumerictype",
                                     "This parameter must be a numerictype."};
constexpr Message kNoTranspose{"numforge:numerictype:transpose:notdefined",
                               "Transpose on numerictype object is not defined."};
constexpr Message kNoCTranspose{"numforge:numerictype:ctranspose:notdefined",
                                "Transpose on numerictype object is not defined."};

template <auto Getter>
HostArray get(const NumericType& type) {
  return host::get<NumericType, Getter>(type);
}
template <auto Setter>
bool set(NumericType& type, const HostArray& value) {
  return host::set<NumericType, Setter>(type, value);
}

bool setSigned(NumericType& type, const HostArray& value) { return type.setSignedEnum(value, "NUMERICTYPE"); }

void setDataTypeMode(NumericType& type, const HostArray& mode) {
  type.setDataTypeMode(fromHost<DataTypeModeEnum>(mode));
}

bool setSignedEnum(NumericType& type, const HostArray& sign) {
  return type.setSignedEnum(fromHost<SignedEnum>(sign));
}

template <auto Setter>
bool setFromText(NumericType& type, const HostArray& text) {
  return host::setFromText<NumericType, Setter>(type, text);
}

HostArray dialogSigned(const NumericType& type) { return toHost(type.isSigned()); }

const char* const kModeType = "NumericTypeDataTypeModeEnum";
const char* const kDataTypeType = "NumericTypeDataTypeEnum";
const char* const kScalingType = "NumericTypeScalingEnum";
const char* const kSignedType = "embedded OperationTypeEnum";

using T = NumericType;
const Property<NumericType> kProperties[] = {
    {"DataTypeMode", kModeType, get<&T::dataTypeMode>, setDataTypeMode, "Data type and scaling in one."},
    {"DataType", kDataTypeType, get<&T::dataType>, set<&T::setDataType>,
     "Fixed, ScaledDouble, double, single or boolean."},
    {"Scaling", kScalingType, get<&T::scaling>, set<&T::setScaling>, "BinaryPoint, SlopeBias or Unspecified."},
    {"Signed", property_type::kArray, get<&T::signedArray>, setSigned,
     "true or false; [] for unspecified where the feature allows it.", "PrivDlgSigned"},
    {"WordLength", property_type::kInt32, get<&T::wordLength>, set<&T::setWordLength>,
     "Total bits, sign included, 1 to 65535.", "PrivDlgWordLengthString"},
    {"FractionLength", property_type::kInt32, get<&T::fractionLength>, set<&T::setFractionLength>,
     "Bits behind the binary point.", "PrivDlgFractionLengthString PrivDlgSlopeString"},
    {"BinaryPoint", property_type::kInt32, get<&T::fractionLength>, set<&T::setFractionLength>,
     "Same as FractionLength.", "PrivDlgFractionLengthString PrivDlgSlopeString"},
    {"FixedExponent", property_type::kInt32, get<&T::fixedExponent>, set<&T::setFixedExponent>,
     "Exponent of the slope: -FractionLength.", "PrivDlgFractionLengthString PrivDlgSlopeString"},
    {"Slope", property_type::kDouble, get<&T::slope>, set<&T::setSlope>,
     "Weight of one stored unit: SlopeAdjustmentFactor * 2^FixedExponent.",
     "PrivDlgFractionLengthString PrivDlgSlopeString"},
    {"SlopeAdjustmentFactor", property_type::kDouble, get<&T::slopeAdjustmentFactor>,
     set<&T::setSlopeAdjustmentFactor>, "Slope without its power of two, in [1, 2).", "PrivDlgSlopeString"},
    {"Bias", property_type::kDouble, get<&T::bias>, set<&T::setBias>,
     "Real-world value of the stored integer 0.", "PrivDlgSlopeString PrivDlgBiasString"},
    {"PrivDlgWordLengthString", property_type::kString, get<&T::wordLengthString>,
     setFromText<&T::setWordLength>, "WordLength as the dialog's text.", "WordLength", true},
    {"PrivDlgFractionLengthString", property_type::kString, get<&T::fractionLengthString>,
     setFromText<&T::setFractionLength>, "FractionLength as the dialog's text.", "FractionLength", true},
    {"PrivDlgSlopeString", property_type::kString, get<&T::slopeString>, setFromText<&T::setSlope>,
     "Slope as the dialog's text.", "Slope", true},
    {"PrivDlgBiasString", property_type::kString, get<&T::biasString>, setFromText<&T::setBias>,
     "Bias as the dialog's text.", "Bias", true},
    {"PrivDlgSigned", property_type::kBool, dialogSigned, set<&T::setSigned>,
     "Signed as the dialog's check box.", "Signed", true},
    {"SignedEnum", kSignedType, get<&T::signedEnum>, setSignedEnum, "Signed as an enumeration.",
     "PrivDlgSigned"},
};

// The qualifiers have no part in what a numeric type's values mean, so its listing leaves them out.
const Property<NumericType> kQualifiers[] = {
    {"ReadOnly", property_type::kBool, get<&T::readOnly>, set<&T::setReadOnly>, kReadOnlyHelp, "", true},
    {"Volatile", property_type::kBool, get<&T::isVolatile>, set<&T::setVolatile>, kVolatileHelp, "", true},
};

// ----------------------------------------------------------------------------------------------------- methods

/// A method without arguments whose result is what `Getter` returns.
template <auto Getter>
Arrays ask(Arrays& inputs, int) {
  return {get<Getter>(numericTypeArgument(inputs[0]))};
}

Arrays toText(Arrays& inputs, int) {
  const std::string prefix = inputs.size() > 1 ? inputs[1].toText() : "numerictype";
  return {toHost(numericTypeArgument(inputs[0]).tostring(prefix.c_str()))};
}

Arrays setBestFractionLength(Arrays& inputs, int) {
  numericTypeArgument(inputs[0]).setBestFractionLength(inputs[1]);
  return {};
}

Arrays isEqual(Arrays& inputs, int) {
  bool equal = true;
  for (std::size_t i = 1; i < inputs.size() && equal; ++i) {
    const NumericType *a = unwrapped<NumericType>(inputs[0]), *b = unwrapped<NumericType>(inputs[i]);
    equal = a && b && a->isequal(*b);
  }
  return {toHost(equal)};
}

Arrays isEquivalent(Arrays& inputs, int) {
  return {toHost(numericTypeArgument(inputs[0]).isequivalent(numericTypeArgument(inputs[1])))};
}

Arrays isNumericType(Arrays& inputs, int) { return {toHost(unwrapped<NumericType>(inputs[0]) != nullptr)}; }

template <const Message& M>
Arrays refuse(Arrays&, int) {
  fail<M>();
}

Arrays copy(Arrays& inputs, int) { return {wrap(NumericType(numericTypeArgument(inputs[0])))}; }

/// Shows what has a meaning in the type's mode.
Arrays dialog(Arrays& inputs, int) {
  const NumericType& type = numericTypeArgument(inputs[0]);
  std::vector<const char*> shown{"DataTypeMode"};
  if (!type.isBuiltIn()) shown.insert(shown.end(), {"PrivDlgSigned", "PrivDlgWordLengthString"});
  if (type.isBinaryPointScalingSet()) shown.push_back("PrivDlgFractionLengthString");
  if (type.isSlopeBiasScalingSet()) shown.insert(shown.end(), {"PrivDlgSlopeString", "PrivDlgBiasString"});
  return {dialogSchema(inputs[0], shown)};
}

const Method kMethods[] = {
    {"SetBestFractionLength", 2, 2, 0, setBestFractionLength,
     "SetBestFractionLength(T, x): sets the fraction length that holds the values x with the least loss."},
    {"disp", 1, 1, 0, disp<NumericType>, "disp(T): prints the properties that matter."},
    {"isequal", 2, -1, 1, isEqual, "isequal(T, U): true when all properties are equal."},
    {"eq", 2, 2, 1, isEqual, "T == U: true when all properties are equal."},
    {"isequivalent", 2, 2, 1, isEquivalent, "isequivalent(T, U): true when stored integers mean the same."},
    {"tostring", 1, 2, 1, toText, "tostring(T): the call that makes T again."},
    {"qpointstr", 1, 1, 1, ask<&NumericType::qpointstr>, "qpointstr(T): a short name, such as s16,15."},
    {"copy", 1, 1, 1, copy, "copy(T): another numerictype with the same properties."},
    {"dialogschema", 1, 1, 1, dialog,
     "dialogschema(T): a structure that describes the dialog in which T is edited."},
    {"isnumerictype", 1, 1, 1, isNumericType, "isnumerictype(T): true."},
    {"isfixed", 1, 1, 1, ask<&NumericType::isFixed>, "isfixed(T): the data type is Fixed."},
    {"isbinarypointscalingset", 1, 1, 1, ask<&NumericType::isBinaryPointScalingSet>,
     "isbinarypointscalingset(T): the scaling is BinaryPoint."},
    {"isslopebiasscalingset", 1, 1, 1, ask<&NumericType::isSlopeBiasScalingSet>,
     "isslopebiasscalingset(T): the scaling is SlopeBias."},
    {"isslopebiasscaled", 1, 1, 1, ask<&NumericType::isSlopeBias>,
     "isslopebiasscaled(T): slope adjustment factor or bias are not neutral."},
    {"isscaledtype", 1, 1, 1, ask<&NumericType::isFixedOrScaledDouble>,
     "isscaledtype(T): the data type is Fixed or ScaledDouble."},
    {"isscaleddouble", 1, 1, 1, ask<&NumericType::isScaledDouble>,
     "isscaleddouble(T): the data type is ScaledDouble."},
    {"isfloat", 1, 1, 1, ask<&NumericType::isFloat>, "isfloat(T): the data type is double or single."},
    {"isdouble", 1, 1, 1, ask<&NumericType::isDouble>, "isdouble(T): the data type is double."},
    {"issingle", 1, 1, 1, ask<&NumericType::isSingle>, "issingle(T): the data type is single."},
    {"isboolean", 1, 1, 1, ask<&NumericType::isBoolean>, "isboolean(T): the data type is boolean."},
    {"transpose", 1, 1, 1, refuse<kNoTranspose>, "T.': not defined."},
    {"ctranspose", 1, 1, 1, refuse<kNoCTranspose>, "T': not defined."},
};

}  // namespace

namespace {

/// A host object that lends a type which stands elsewhere.
class LentType : public Holder<NumericType> {
 public:
  explicit LentType(NumericType& type) : Holder(*hostClassOf<NumericType>), type_(type) {}
  std::shared_ptr<HostObject> clone() const override {
    return translated([this] {
      return std::make_shared<Wrapped<NumericType>>(hostClass(),
                                                    [this]() -> const NumericType& { return type_; });
    });
  }
  NumericType& held() override { return type_; }

 private:
  NumericType& type_;
};

}  // namespace

NumericType& NumericTypeObjClass::convertFromTesselArray(const HostArray& array) {
  return numericTypeArgument(array);
}

HostArray NumericTypeObjClass::convertToInternalTesselArray(NumericType& type) {
  if (HostObject* holder = type.hostObject()) return HostArray::object(holder->shared_from_this());
  return HostArray::object(std::make_shared<LentType>(type));
}

HostArray NumericTypeObjClass::convertToExternalTesselArray(const NumericType& type) {
  return wrap(NumericType(type));
}

NumericType& numericTypeArgument(const HostArray& array) {
  if (NumericType* type = unwrapped<NumericType>(array)) return *type;
  fail<kMustBeNumericType>();
}

NumericTypeObjClass::NumericTypeObjClass() : ObjClass(&scalarTypeClass()) {}

std::span<const Property<NumericType>> NumericTypeObjClass::properties() { return kProperties; }

std::shared_ptr<HostObject> NumericTypeObjClass::createClassSpecificObject(Arrays&) {
  return make(NumericType());
}

void NumericTypeObjClass::init() {
  for (const auto* table : {&tableOf(DataTypeModeEnum{}), &tableOf(DataTypeEnum{}), &tableOf(ScalingEnum{}),
                            &tableOf(SignedEnum{})}) {
    registeredEnum(*table);
  }
  hostClass().setHelp("A numeric type: signedness, word length and scaling of fixed-point values.");
  hostClass().setPersistence(numericTypePersistence());
  hostClass().addConstructor({});
  hostClass().setArgumentError(errorText<kTooManyInputs>());
  hostClass().setMismatchError(errorText<kMustBeNumericType>());
  addProperties(hostClass(), properties());
  addProperties<NumericType>(hostClass(), kQualifiers);
  addMethods(hostClass(), kMethods);
}

void NumericTypeObjClass::init_fi_methods() {
  addMethods(hostClass(), numericTypeArithmeticMethods());
  addMethods(hostClass(), numericTypeFileMethods());
  addMethods(hostClass(), numericTypeNumberMethods());
}

}  // namespace embedded::host

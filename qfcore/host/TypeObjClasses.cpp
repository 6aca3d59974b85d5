#include "qfcore/host/TypeObjClasses.h"

#include <compare>
#include <limits>

#include "qfcore/types/chartype.h"
#include "qfcore/types/complextype.h"
#include "qfcore/types/fienumtype.h"
#include "qfcore/types/matrixtype.h"
#include "qfcore/types/md5checksummodendian.h"
#include "qfcore/types/numerictype.h"
#include "qfcore/types/opaquetype.h"
#include "qfcore/types/pointertype.h"
#include "qfcore/types/printed.h"
#include "qfcore/types/structelement.h"
#include "qfcore/types/structtype.h"
#include "qfcore/types/voidtype.h"
#include "tessel/console.h"
#include "tessel/registries.h"

namespace embedded::host {

using namespace EmbeddedTypeSystem;

namespace {

namespace property_type = tessel::property_type;

constexpr Message kNotAType{"embeddedtype:basetype:invalidobject", "Parameter must be a valid type object."};
constexpr Message kNotAnElement{"embeddedtype:struct:InvalidElement",
                                "Elements should be vector of embedded.structelement objects"};
constexpr Message kNotTexts{"embeddedtype:enum:InvalidStrings", "Strings should be a cell array of texts"};

// -------------------------------------------------------------------------------------------------- properties

/// The host's handle of a part; an empty array for a missing one.
HostArray handleOf(const TypePtr& part) {
  return part ? HostArray::object(part->hostObject()->shared_from_this()) : HostArray();
}

template <class T>
HostArray baseType(const T& type) {
  return handleOf(type.baseType());
}
template <class T>
void setBaseType(T& type, const HostArray& base) {
  type.setBaseType(typeArgument(base));
}

HostArray strings(const FIEnumType& type) {
  HostArray cell = HostArray::cell({type.strings().empty() ? 0U : 1U, type.strings().size()});
  for (std::size_t i = 0; i < cell.numel(); ++i) cell.mutableCellAt(i) = HostArray::text(type.strings()[i]);
  return cell;
}

void setStrings(FIEnumType& type, const HostArray& cell) {
  if (!cell.isCell()) fail<kNotTexts>();
  std::vector<std::string> names;
  for (std::size_t i = 0; i < cell.numel(); ++i) {
    if (!cell.cellAt(i).isText()) fail<kNotTexts>();
    names.push_back(cell.cellAt(i).toText());
  }
  type.setStrings(names);
}

HostArray elementType(const StructElement& element) { return handleOf(element.type()); }

/// An empty array stands for no type, which the element refuses in its own words.
void setElementType(StructElement& element, const HostArray& type) {
  element.setType(type.isEmpty() ? TypePtr() : typeArgument(type));
}

HostArray elements(const StructType& type) {
  std::vector<std::shared_ptr<HostObject>> handles;
  for (const TypePtr& element : type.elements()) handles.push_back(element->hostObject()->shared_from_this());
  const std::size_t count = handles.size();
  return count == 0 ? HostArray() : HostArray::objects(std::move(handles), {1, count});
}

void setElements(StructType& type, const HostArray& objects) {
  if (!objects.isEmpty() && (!objects.isObject() || !objects.isVector())) fail<kNotAnElement>();
  std::vector<TypePtr> parts;
  for (std::size_t i = 0; i < objects.numel(); ++i) {
    const HostArray one = HostArray::object(objects.objectAt(i));
    if (!unwrapped<Type>(one)) fail<kNotAnElement>();
    parts.push_back(typeArgument(one));
  }
  type.setElements(std::move(parts));
}

const Property<Type> kTypeRows[] = {
    {"ReadOnly", property_type::kBool, get<Type, &Type::readOnly>, set<Type, &Type::setReadOnly>,
     kReadOnlyHelp},
    {"Volatile", property_type::kBool, get<Type, &Type::isVolatile>, set<Type, &Type::setVolatile>,
     kVolatileHelp},
};
const Property<ComplexType> kComplexRows[] = {
    {"BaseType", property_type::kArray, baseType<ComplexType>, setBaseType<ComplexType>,
     "The numerictype of the two parts; [] until it is given."},
};
const Property<FIEnumType> kEnumRows[] = {
    {"Strings", property_type::kArray, strings, setStrings, "The names: a cell array of texts."},
    {"Values", property_type::kArray, get<FIEnumType, &FIEnumType::mxValues>,
     set<FIEnumType, &FIEnumType::setMxValues>, "One integer a name."},
};
const Property<PointerType> kPointerRows[] = {
    {"BaseType", property_type::kArray, baseType<PointerType>, setBaseType<PointerType>,
     "The type pointed to: a primitive type, or a pointer or matrix of one; [] until it is given."},
};
const Property<MatrixType> kMatrixRows[] = {
    {"BaseType", property_type::kArray, baseType<MatrixType>, setBaseType<MatrixType>,
     "The type of the elements; [] until it is given."},
    {"Dimensions", property_type::kArray, get<MatrixType, &MatrixType::dimensionsArray>,
     set<MatrixType, &MatrixType::setDimensions>, "Sizes in each dimension; [] until they are given."},
    {"FrameData", property_type::kBool, get<MatrixType, &MatrixType::frameData>,
     set<MatrixType, &MatrixType::setFrameData>, "Whether the matrix holds the samples of a frame."},
};
const Property<StructElement> kElementRows[] = {
    {"Identifier", property_type::kString, get<StructElement, &StructElement::identifier>,
     set<StructElement, &StructElement::setIdentifier>, "The element's name, at most 128 characters."},
    {"Type", property_type::kArray, elementType, setElementType, "The element's type; [] until it is given."},
};
const Property<StructType> kStructRows[] = {
    {"Elements", property_type::kArray, elements, setElements, "A vector of structelement objects: [e f]."},
};
const Property<CharType> kCharRows[] = {
    {"NumberOfBits", property_type::kInt32, get<CharType, &CharType::numberOfBits>,
     set<CharType, &CharType::setNumberOfBits>, "Bits of a character, 1 to 32."},
    {"Signed", property_type::kBool, get<CharType, &CharType::isSigned>, set<CharType, &CharType::setSigned>,
     "Whether characters are signed integers."},
};

// ----------------------------------------------------------------------------------------------------- methods

const Type& asType(const HostArray& array) { return *typeArgument(array); }

/// A method without arguments whose result is what `Getter` returns.
template <auto Getter>
Arrays ask(Arrays& inputs, int) {
  return {toHost((asType(inputs[0]).*Getter)())};
}

bool allEqual(const Arrays& inputs) {
  const Type* first = unwrapped<Type>(inputs[0]);
  for (std::size_t i = 1; i < inputs.size(); ++i) {
    const Type* other = unwrapped<Type>(inputs[i]);
    if (!first || !other || !(*first == *other)) return false;
  }
  return true;
}

Arrays isEqual(Arrays& inputs, int) { return {toHost(allEqual(inputs))}; }
Arrays isDifferent(Arrays& inputs, int) { return {toHost(!allEqual(inputs))}; }

Arrays compare(Arrays& inputs, int) {
  const std::partial_ordering order = asType(inputs[0]).compare(asType(inputs[1]));
  if (order == std::partial_ordering::unordered) return {toHost(std::numeric_limits<double>::quiet_NaN())};
  return {toHost(order < 0 ? -1.0 : order > 0 ? 1.0 : 0.0)};
}

Arrays canBeConvertedTo(Arrays& inputs, int) {
  return {toHost(asType(inputs[0]).canBeConvertedTo(asType(inputs[1])))};
}

Arrays hash(Arrays& inputs, int) { return {HostArray::scalarOf<std::uint64_t>(asType(inputs[0]).hash())}; }

Arrays checkSum(Arrays& inputs, int) {
  MD5CheckSumModEndian sum;
  asType(inputs[0]).addCheckSum(sum);
  return {toHost(sum.digest())};
}

Arrays copy(Arrays& inputs, int) {
  typeArgument(inputs[0]);
  return {HostArray::object(inputs[0].objectAt()->clone())};
}

/// A property's value in one line.
std::string summary(const HostArray& value) {
  if (const NumericType* type = unwrapped<NumericType>(value)) return type->qpointstr();
  if (value.isObject()) {
    return (value.isScalar() ? "" : std::to_string(value.numel()) + " of ") + value.className();
  }
  if (value.isText()) return value.toText();
  if (value.isLogical()) return value.realAt(0) != 0 ? "true" : "false";
  const auto texts = [&](auto textAt) {
    std::string all;
    for (std::size_t i = 0; i < value.numel(); ++i) all += (i == 0 ? "" : " ") + textAt(i);
    return value.isScalar() && !value.isCell() ? all : (value.isCell() ? "{" + all + "}" : "[" + all + "]");
  };
  if (value.isCell()) return texts([&](std::size_t i) { return "'" + value.cellAt(i).toText() + "'"; });
  return texts([&](std::size_t i) { return printed("%g", value.realAt(i)); });
}

/// Also of a vector of types, one after the other: that is how the host shows one.
Arrays disp(Arrays& inputs, int) {
  for (std::size_t i = 0; i < inputs[0].numel(); ++i) {
    const HostArray one = HostArray::object(inputs[0].objectAt(i));
    for (const tessel::PropertyInfo* property : inputs[0].objectAt(i)->hostClass().properties()) {
      const std::string value = summary(tessel::getProperty(one, property->name));
      tessel::printFormatted("\n%22s: %s", property->name.c_str(), value.c_str());
    }
    tessel::print("\n");
  }
  return {};
}

const Method kMethods[] = {
    {"disp", 1, 1, 0, disp, "disp(T): prints the properties."},
    {"isequal", 2, -1, 1, isEqual, "isequal(T, U): true for types of one kind with equal properties."},
    {"eq", 2, 2, 1, isEqual, "T == U: true for types of one kind with equal properties."},
    {"ne", 2, 2, 1, isDifferent, "T ~= U: true for types that are not equal."},
    {"compare", 2, 2, 1, compare,
     "compare(T, U): -1, 0 or 1 as T sorts before, with or behind U; NaN where a NaN decides."},
    {"hash", 1, 1, 1, hash, "hash(T): a number that equal types share."},
    {"checksum", 1, 1, 1, checkSum, "checksum(T): 32 hexadecimal digits, the same on every machine."},
    {"copy", 1, 1, 1, copy, "copy(T): another type with the same properties and the same parts."},
    {"iscomplete", 1, 1, 1, ask<&Type::isComplete>,
     "iscomplete(T): all that a value of the type needs is given."},
    {"getwidth", 1, 1, 1, ask<&Type::getWidth>,
     "getwidth(T): how many scalar values one value of the type holds."},
    {"canbeconvertedto", 2, 2, 1, canBeConvertedTo,
     "canbeconvertedto(T, U): whether a value of T has a meaning as one of U."},
    {"isscalar", 1, 1, 1, ask<&Type::isScalar>, "isscalar(T): a value of the type is one number or character."},
    {"iscomplex", 1, 1, 1, ask<&Type::isComplex>, "iscomplex(T): values of the type have imaginary parts."},
    {"isstructure", 1, 1, 1, ask<&Type::isStructure>, "isstructure(T): T is a structtype."},
    {"ismatrix", 1, 1, 1, ask<&Type::isMatrix>, "ismatrix(T): T is a matrixtype."},
    {"isvoid", 1, 1, 1, ask<&Type::isVoid>, "isvoid(T): T is a voidtype."},
    {"ispointer", 1, 1, 1, ask<&Type::isPointer>, "ispointer(T): T is a pointertype."},
    {"isopaque", 1, 1, 1, ask<&Type::isOpaque>, "isopaque(T): T is an opaquetype."},
};

// ----------------------------------------------------------------------------------------------------- classes

template <class T>
struct ClassRow;
template <>
struct ClassRow<Type> {
  static constexpr const char *kName = "type", *kHelp = "Data types of generated code: what all of them share.";
  static std::span<const Property<Type>> rows() { return kTypeRows; }
};
template <>
struct ClassRow<ScalarType> {
  static constexpr const char *kName = "scalartype", *kHelp = "A type of one number or character.";
};
template <>
struct ClassRow<ComplexType> {
  static constexpr const char *kName = "complextype",
                              *kHelp = "Complex numbers whose parts are of one numerictype.";
  static std::span<const Property<ComplexType>> rows() { return kComplexRows; }
};
template <>
struct ClassRow<FIEnumType> {
  static constexpr const char *kName = "enumtype", *kHelp = "An enumeration: names and their integer values.";
  static std::span<const Property<FIEnumType>> rows() { return kEnumRows; }
};
template <>
struct ClassRow<PointerType> {
  static constexpr const char *kName = "pointertype", *kHelp = "Pointers to values of another type.";
  static std::span<const Property<PointerType>> rows() { return kPointerRows; }
};
template <>
struct ClassRow<OpaqueType> {
  static constexpr const char *kName = "opaquetype", *kHelp = "A type whose content only other code knows.";
};
template <>
struct ClassRow<MatrixType> {
  static constexpr const char *kName = "matrixtype", *kHelp = "Arrays of fixed dimensions.";
  static std::span<const Property<MatrixType>> rows() { return kMatrixRows; }
};
template <>
struct ClassRow<StructElement> {
  static constexpr const char *kName = "structelement", *kHelp = "One named element of a structtype.";
  static std::span<const Property<StructElement>> rows() { return kElementRows; }
};
template <>
struct ClassRow<StructType> {
  static constexpr const char *kName = "structtype", *kHelp = "Structures with named elements.";
  static std::span<const Property<StructType>> rows() { return kStructRows; }
};
template <>
struct ClassRow<CharType> {
  static constexpr const char *kName = "chartype", *kHelp = "Characters as integers of some bits.";
  static std::span<const Property<CharType>> rows() { return kCharRows; }
};
template <>
struct ClassRow<VoidType> {
  static constexpr const char *kName = "voidtype", *kHelp = "The type without values.";
};

/// The binding class of one member of the family. Being created, it is complete.
template <class T>
class TypeObjClass : public ObjClass<TypeObjClass<T>, T> {
 public:
  static constexpr const char* kName = ClassRow<T>::kName;
  static std::shared_ptr<HostObject> createClassSpecificObject(Arrays&) requires(!std::same_as<T, Type>) {
    return TypeObjClass::make(T());
  }

 private:
  friend class ObjClass<TypeObjClass<T>, T>;
  TypeObjClass() : ObjClass<TypeObjClass<T>, T>(superclass()) {
    HostClass& hostClass = this->hostClass();
    hostClass.setHelp(ClassRow<T>::kHelp);
    if constexpr (std::same_as<T, Type>) {
      addMethods(hostClass, kMethods);
    } else {
      hostClass.addConstructor({});
    }
    if constexpr (requires { ClassRow<T>::rows(); }) addProperties<T>(hostClass, ClassRow<T>::rows());
  }
  static const HostClass* superclass() {
    if constexpr (std::same_as<T, Type>)
      return nullptr;
    else if constexpr (std::same_as<T, CharType>)
      return &scalarTypeClass();
    else
      return &TypeObjClass<Type>::getInstance().hostClass();
  }
};

template <class... T>
void createInOrder() {
  (TypeObjClass<T>::getInstance(), ...);
}

}  // namespace

TypePtr typeArgument(const HostArray& array) {
  const Type* type = unwrapped<Type>(array);
  if (!type) fail<kNotAType>();
  return TypePtr(array.objectAt(), type);
}

const HostClass& scalarTypeClass() { return TypeObjClass<ScalarType>::getInstance().hostClass(); }

void createTypeClasses() {
  createInOrder<Type, ScalarType, ComplexType, FIEnumType, PointerType, OpaqueType, MatrixType, StructElement,
                StructType, CharType, VoidType>();
}

}  // namespace embedded::host

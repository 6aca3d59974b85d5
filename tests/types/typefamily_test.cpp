#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "qfcore/types/chartype.h"
#include "qfcore/types/complextype.h"
#include "qfcore/types/fienumtype.h"
#include "qfcore/types/matrixtype.h"
#include "qfcore/types/numerictype.h"
#include "qfcore/types/opaquetype.h"
#include "qfcore/types/pointertype.h"
#include "qfcore/types/structtype.h"
#include "qfcore/types/voidtype.h"
#include "tests/types/outcome.h"

using namespace EmbeddedTypeSystem;
using tessel::ArrayClass;
using tessel::HostArray;

namespace {

HostArray row(const std::vector<double>& values) {
  HostArray array = HostArray::zeros(ArrayClass::Double, {1, values.size()});
  std::copy(values.begin(), values.end(), array.mutableReal<double>());
  return array;
}

const TypePtr kNumber = std::make_shared<NumericType>();
const TypePtr kVoid = std::make_shared<VoidType>();

std::shared_ptr<PointerType> pointerTo(TypePtr base) {
  auto pointer = std::make_shared<PointerType>();
  pointer->setBaseType(std::move(base));
  return pointer;
}
std::shared_ptr<MatrixType> matrixOf(TypePtr base, const std::vector<double>& dimensions = {2, 3}) {
  auto matrix = std::make_shared<MatrixType>();
  matrix->setBaseType(std::move(base));
  matrix->setDimensions(row(dimensions));
  return matrix;
}
std::shared_ptr<StructElement> elementOf(const std::string& name, TypePtr type) {
  auto element = std::make_shared<StructElement>();
  element->setIdentifier(name);
  element->setType(std::move(type));
  return element;
}
std::shared_ptr<StructType> structOf(std::vector<TypePtr> elements) {
  auto structure = std::make_shared<StructType>();
  structure->setElements(std::move(elements));
  return structure;
}
std::shared_ptr<ComplexType> complexOf(TypePtr base) {
  auto complex = std::make_shared<ComplexType>();
  complex->setBaseType(std::move(base));
  return complex;
}
std::shared_ptr<FIEnumType> enumOf(const std::vector<std::string>& names, const std::vector<double>& values) {
  auto enumeration = std::make_shared<FIEnumType>();
  enumeration->setStrings(names);
  enumeration->setMxValues(row(values));
  return enumeration;
}

TEST(TypeFamily, PartsMakeTypesComplete) {
  const auto pointer = pointerTo(kNumber);
  const auto matrix = matrixOf(kNumber, {4});
  EXPECT_EQ(outcomeOf([&] { pointer->setBaseType(nullptr); }).identifier,
            "embeddedtype:pointerbasetype:nullbasetype");
  EXPECT_EQ(outcomeOf([&] { matrix->setBaseType(nullptr); }).identifier,
            "embeddedtype:matrixbasetype:nullbasetype");
  const auto nowhere = std::make_shared<PointerType>();
  for (const TypePtr& base : {TypePtr(nowhere), TypePtr(pointerTo(matrix)), TypePtr(elementOf("a", kNumber))})
    EXPECT_EQ(outcomeOf([&] { pointer->setBaseType(base); }).identifier,
              "embeddedtype:pointerbasetype:invalidbasetype");
  EXPECT_TRUE(pointer->baseType() == kNumber && matrix->baseType() == kNumber);
  MatrixType shapeless;
  shapeless.setBaseType(kNumber);
  EXPECT_FALSE(shapeless.isComplete() || shapeless.isComplex());
  for (const TypePtr& base : {kVoid, TypePtr(pointerTo(kNumber)), TypePtr(matrix), TypePtr(complexOf(kNumber)),
                              TypePtr(std::make_shared<OpaqueType>())})
    EXPECT_EQ(outcomeOf([&] { pointer->setBaseType(base); }), Outcome{});
  matrix->setDimensions(row({3, 1}));
  EXPECT_EQ(matrix->getWidth(), 3);
  EXPECT_EQ(matrix->dimensionsArray().dims(), (tessel::Dimensions{1, 2}));
  EXPECT_EQ(matrix->dimensions(), (std::vector<int>{3, 1}));
  matrix->setDimensions(row({65536, 65536}));
  EXPECT_EQ(matrix->getWidth(), std::numeric_limits<int>::max());

  EXPECT_EQ(outcomeOf([&] { complexOf(nullptr); }).identifier, "embeddedtype:complexbasetype:invalidbasetype");
  EXPECT_TRUE(matrixOf(complexOf(kNumber), {2, 3, 4})->isComplex());

  const auto element = elementOf("a", kNumber);
  EXPECT_EQ(outcomeOf([&] { matrix->setBaseType(element); }).identifier,
            "embeddedtype:matrixbasetype:invalidbasetype");
  EXPECT_EQ(outcomeOf([&] { element->setType(matrixOf(structOf({element}))); }).identifier,
            "embeddedtype:elementtype:invalidtype");
  const auto structure = structOf({element, elementOf("b", matrixOf(kNumber))});
  EXPECT_EQ(outcomeOf([&] { structure->setElements({nullptr}); }).identifier,
            "embeddedtype:struct:InvalidElement");
  EXPECT_EQ(structure->elements().size(), 2u);
  EXPECT_EQ(structure->element(1).identifier(), "b");
  for (const TypePtr& whole :
       {TypePtr(complexOf(kNumber)), TypePtr(pointerTo(kNumber)), TypePtr(matrix), TypePtr(element)}) {
    EXPECT_TRUE(whole->contains(*whole) && whole->contains(*kNumber));
    EXPECT_FALSE(whole->contains(*kVoid));
  }
  EXPECT_FALSE(nowhere->contains(*kNumber));
  EXPECT_EQ(structure->getWidth(), 7);
  element->setIdentifier(std::string(128, 'x'));
  EXPECT_TRUE(structure->isComplete());
  element->setIdentifier("");
  EXPECT_FALSE(structure->isComplete() || StructType().isComplete());

  FIEnumType enumeration;
  EXPECT_FALSE(enumeration.isComplete());
  enumeration.setStrings({"off", "on"});
  EXPECT_FALSE(enumeration.isComplete());
  EXPECT_EQ(outcomeOf([&] {
              enumeration.setMxValues(row({-1e19, 1}));
            }).identifier,
            "embeddedtype:enum:InvalidValues");
  EXPECT_EQ(outcomeOf([&] {
              enumeration.setMxValues(HostArray::zeros(ArrayClass::Double, {1, 2}, true));
            }).identifier,
            "embeddedtype:enum:InvalidValues");
  enumeration.setMxValues(row({-1, 1}));
  EXPECT_TRUE(enumeration.isComplete());
  EXPECT_EQ(enumeration.values(), (std::vector<std::int64_t>{-1, 1}));
  HostArray column = HostArray::zeros(ArrayClass::Int8, {2, 1});
  column.mutableReal<std::int8_t>()[0] = -1;
  column.mutableReal<std::int8_t>()[1] = 1;
  const auto shared = std::make_shared<FIEnumType>(enumeration);
  const auto state = elementOf("state", shared);
  FIEnumType& other = *shared;
  other.setMxValues(column);
  EXPECT_EQ(other, enumeration);
  other.setStrings({"off"});
  EXPECT_FALSE(other.isComplete() || other == enumeration || state->isComplete());
  HostArray unsignedValue = HostArray::scalarOf(std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(outcomeOf([&] { other.setMxValues(unsignedValue); }).identifier, "embeddedtype:enum:InvalidValues");
  unsignedValue.mutableReal<std::uint64_t>()[0] >>= 1;
  other.setMxValues(unsignedValue);
  EXPECT_EQ(other.values()[0], std::numeric_limits<std::int64_t>::max());
}

TEST(TypeFamily, EqualityHashOrderAndQualifiers) {
  const TypePtr wide = std::make_shared<NumericType>(true, 20, 3);
  auto volatilePointer = pointerTo(kNumber);
  volatilePointer->setVolatile(true);
  auto readOnlyOpaque = std::make_shared<OpaqueType>();
  readOnlyOpaque->setReadOnly(true);
  auto bits16 = std::make_shared<CharType>();
  bits16->setNumberOfBits(16);
  auto signedText = std::make_shared<CharType>();
  signedText->setSigned(!signedText->isSigned());
  auto frame = matrixOf(kNumber);
  frame->setFrameData(true);
  const TypePtr scalar = std::make_shared<ScalarType>(), text = std::make_shared<CharType>();
  const TypePtr empty = std::make_shared<ComplexType>(), opaque = std::make_shared<OpaqueType>();
  const TypePtr x = elementOf("a", kNumber), y = elementOf("b", kNumber), one = structOf({x}),
                two = structOf({x, y});
  const TypePtr point = pointerTo(kNumber), vague = pointerTo(kVoid), z = complexOf(kNumber),
                w = complexOf(wide);
  const TypePtr flat = matrixOf(kNumber), tall = matrixOf(kNumber, {3, 2}), deep = matrixOf(wide);
  const TypePtr first = enumOf({"a"}, {1}), second = enumOf({"a"}, {2});
  const TypePtr other = structOf({elementOf("a", wide)});
  // No two of these are equal.
  const std::vector<TypePtr> types = {
      kNumber, wide,   scalar,         text,  bits16,     empty, z,     w, point, volatilePointer,
      vague,   opaque, readOnlyOpaque, flat,  tall,       deep,  frame, x, y,     one,
      two,     first,  second,         kVoid, signedText, other};
  for (std::size_t i = 0; i < types.size(); ++i) {
    for (std::size_t j = 0; j < types.size(); ++j) {
      const Type &a = *types[i], &b = *types[j];
      EXPECT_EQ(a == b, i == j) << i << " " << j;
      EXPECT_EQ(a.compare(b) == 0, i == j) << i << " " << j;
      EXPECT_EQ(a.compare(b) < 0, b.compare(a) > 0) << i << " " << j;
      EXPECT_EQ(a.hash() == b.hash(), i == j) << i << " " << j;
    }
  }
  // Equal parts make equal wholes, whichever objects they are.
  const auto twin = structOf({elementOf("a", std::make_shared<NumericType>())});
  const auto original = structOf({elementOf("a", kNumber)});
  EXPECT_TRUE(*twin == *original && twin->hash() == original->hash());
}

TEST(TypeFamily, Conversions) {
  const TypePtr complex = complexOf(kNumber), text = std::make_shared<CharType>();
  const TypePtr opaque = std::make_shared<OpaqueType>(), wide = std::make_shared<NumericType>(true, 40, 0);
  const TypePtr names = enumOf({"a"}, {1}), others = enumOf({"a"}, {2}), twins = enumOf({"a"}, {1});
  const TypePtr a = structOf({elementOf("a", kNumber)}), wideA = structOf({elementOf("a", wide)});
  const TypePtr b = structOf({elementOf("b", kNumber)});
  const TypePtr ab = structOf({elementOf("a", kNumber), elementOf("b", kNumber)});
  const TypePtr point = pointerTo(kNumber), toVoid = pointerTo(kVoid), toWide = pointerTo(wide);
  const TypePtr matrix = matrixOf(kNumber), wholes = matrixOf(complex), tall = matrixOf(kNumber, {3, 2});
  const TypePtr samePoint = pointerTo(std::make_shared<NumericType>());
  using Pairs = std::vector<std::pair<TypePtr, TypePtr>>;
  const Pairs possible = {{kNumber, wide},   {kNumber, complex}, {complex, complex}, {kNumber, text},
                          {text, kNumber},   {names, kNumber},   {names, twins},     {point, toVoid},
                          {toVoid, toWide},  {matrix, wholes},   {opaque, opaque},   {a, wideA},
                          {point, samePoint}};
  const TypePtr nowhere = std::make_shared<PointerType>(), shapeless = std::make_shared<MatrixType>();
  const TypePtr nothing = std::make_shared<StructElement>(), nameless = elementOf("", kNumber);
  const TypePtr imaginary = elementOf("", complex);
  const Pairs impossible = {
      {complex, kNumber}, {kNumber, names},  {names, others},  {point, toWide}, {point, kNumber},
      {matrix, tall},     {opaque, kNumber}, {wholes, matrix}, {a, b},          {a, ab}};
  const Pairs unfinished = {{nowhere, point},    {point, nowhere},    {shapeless, matrix},  {matrix, shapeless},
                            {nothing, nameless}, {nameless, nothing}, {imaginary, nameless}};
  for (const auto& [from, to] : possible) EXPECT_TRUE(from->canBeConvertedTo(*to)) << from->hash();
  for (const auto& [from, to] : unfinished) EXPECT_FALSE(from->canBeConvertedTo(*to)) << from->hash();
  for (const auto& [from, to] : impossible) EXPECT_FALSE(from->canBeConvertedTo(*to)) << from->hash();
}

TEST(TypeFamily, CopiesHaveNoHostObject) {
  NumericType original;
  original.setHostObject(reinterpret_cast<tessel::HostObject*>(&original));
  original.setReadOnly(true);
  NumericType copy = original;
  EXPECT_EQ(copy.hostObject(), nullptr);
  EXPECT_TRUE(copy.readOnly());
  NumericType target(false, 3, 1);
  target.setHostObject(reinterpret_cast<tessel::HostObject*>(&target));
  target = original;
  EXPECT_EQ(static_cast<void*>(target.hostObject()), &target);
  EXPECT_EQ(target, original);
}

}  // namespace

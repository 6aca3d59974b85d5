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

struct Refusal {
  const char* name;
  std::function<void()> call;
  const char *identifier, *text;
};

void expectRefusals(const std::vector<Refusal>& rows) {
  for (const Refusal& r : rows)
    EXPECT_EQ(outcomeOf(r.call), (Outcome{"error", r.identifier, r.text})) << r.name;
}

TEST(TypeFamily, BaseTypesAreChecked) {
  const auto pointer = pointerTo(kNumber);
  const auto matrix = matrixOf(kNumber);
  const auto complex = complexOf(kNumber);
  const auto structure = structOf({elementOf("m", matrix)});
  const char* const invalid = "Parameter is not a valid type.";
  const char* const leadsToRecursion = "Invalid Parameter, parameter leads to recursion";
  expectRefusals({
      {"complex of pointer", [&] { complex->setBaseType(pointer); },
       "embeddedtype:complexbasetype:invalidbasetype", "Parameter is not a valid numeric type."},
      {"complex of null", [&] { complex->setBaseType(nullptr); },
       "embeddedtype:complexbasetype:invalidbasetype", "Parameter is not a valid numeric type."},
      {"pointer to null", [&] { pointer->setBaseType(nullptr); }, "embeddedtype:pointerbasetype:nullbasetype",
       invalid},
      {"pointer to pointer to pointer", [&] { pointer->setBaseType(pointerTo(pointerTo(kNumber))); },
       "embeddedtype:pointerbasetype:invalidbasetype", invalid},
      {"pointer to structure", [&] { pointer->setBaseType(structure); },
       "embeddedtype:pointerbasetype:invalidbasetype", invalid},
      {"pointer to incomplete complex", [&] { pointer->setBaseType(std::make_shared<ComplexType>()); },
       "embeddedtype:pointerbasetype:invalidbasetype", invalid},
      {"pointer to matrix of pointers", [&] { pointer->setBaseType(matrixOf(pointerTo(kNumber))); },
       "embeddedtype:pointerbasetype:invalidbasetype", invalid},
      {"pointer to itself", [&] { pointer->setBaseType(pointer); }, "embeddedtype:pointerbasetype:recursion",
       leadsToRecursion},
      {"matrix of null", [&] { matrix->setBaseType(nullptr); }, "embeddedtype:matrixbasetype:nullbasetype",
       "Parameter is invalid."},
      {"matrix of void", [&] { matrix->setBaseType(kVoid); }, "embeddedtype:matrixbasetype:incompletebasetype",
       "Parameter is not a completely specified type."},
      {"matrix of matrix", [&] { matrix->setBaseType(matrixOf(kNumber)); },
       "embeddedtype:matrixbasetype:invalidbasetype", invalid},
      {"matrix in its own structure", [&] { matrix->setBaseType(structure); },
       "embeddedtype:matrixbasetype:recursion", leadsToRecursion},
  });
  EXPECT_TRUE(pointer->baseType() == kNumber && matrix->baseType() == kNumber &&
              complex->baseType() == kNumber);
  for (const TypePtr& base : {kVoid, TypePtr(pointerTo(kNumber)), TypePtr(matrix), TypePtr(complex),
                              TypePtr(std::make_shared<OpaqueType>())})
    EXPECT_EQ(outcomeOf([&] { pointer->setBaseType(base); }), Outcome{});
}

TEST(TypeFamily, Dimensions) {
  auto matrix = matrixOf(kNumber, {4});
  HostArray complex = row({2, 3});
  complex.mutableImag<double>();
  const char* const id = "embeddedtype:matrix:InvalidDims";
  const char* const text = "Dimensions should be vector of positive numbers";
  std::vector<Refusal> refusals;
  for (const HostArray& dims : {HostArray(), row({2, 0}), row({2.5, 1}), row({-1}), HostArray::text("ab"),
                                complex, row({std::numeric_limits<double>::quiet_NaN()}), row({1e10}),
                                HostArray::zeros(ArrayClass::Double, {2, 2})})
    refusals.push_back({"dimensions", [&matrix, dims] { matrix->setDimensions(dims); }, id, text});
  refusals.push_back({"trailing",
                      [&] {
                        matrix->setDimensions(row({2, 3, 1}));
                      },
                      "embeddedtype:matrix:InvalidTrailingDim",
                      "The trailing dimension should be greater than 1"});
  expectRefusals(refusals);
  EXPECT_EQ(matrix->dimensions(), std::vector<int>{4});
  matrix->setDimensions(row({3, 1}));
  EXPECT_EQ(matrix->getWidth(), 3);
  EXPECT_EQ(matrix->dimensionsArray().dims(), (tessel::Dimensions{1, 2}));
  matrix->setDimensions(row({65536, 65536}));
  EXPECT_EQ(matrix->getWidth(), std::numeric_limits<int>::max());
}

TEST(TypeFamily, StructuresAndTheirElements) {
  const auto element = elementOf("a", kNumber);
  const auto structure = structOf({element, elementOf("b", matrixOf(kNumber))});
  const auto nameless = std::make_shared<StructElement>();
  nameless->setType(kNumber);
  const auto holder = elementOf("s", structure);
  const char* const tooLong = "Parameter must be a string less than 128 characters";
  const char* const notElement = "Elements should be vector of embedded.structelement objects";
  expectRefusals({
      {"long name", [&] { element->setIdentifier(std::string(129, 'x')); },
       "embeddedtype:string:InvalidStringParam", tooLong},
      {"null", [&] { element->setType(nullptr); }, "embeddedtype:elementtype:nulltype", "Parameter is invalid"},
      {"incomplete", [&] { element->setType(std::make_shared<MatrixType>()); },
       "embeddedtype:elementtype:incompletetype", "Parameter is not a completely specified type."},
      {"own structure", [&] { element->setType(structure); }, "embeddedtype:elementtype:invalidtype",
       "Parameter is not a valid element type."},
      {"own structure, deeper", [&] { element->setType(structOf({holder})); },
       "embeddedtype:elementtype:invalidtype", "Parameter is not a valid element type."},
      {"an element", [&] { element->setType(elementOf("x", kNumber)); }, "embeddedtype:elementtype:invalidtype",
       "Parameter is not a valid element type."},
      {"not an element", [&] { structure->setElements({kNumber}); }, "embeddedtype:struct:InvalidElement",
       notElement},
      {"null element", [&] { structure->setElements({nullptr}); }, "embeddedtype:struct:InvalidElement",
       notElement},
      {"nameless", [&] { structure->setElements({nameless}); }, "embeddedtype:struct:IncompleteElement",
       "All elements should have a valid Type and Identifier"},
      {"recursive", [&] { structure->setElements({holder}); }, "embeddedtype:struct:RecursiveElement",
       "Parameter contains invalid Structure Element"},
      {"name clash",
       [&] {
         structure->setElements({element, elementOf("a", kNumber)});
       },
       "embeddedtype:struct:NameClash", "Elements should have unique identifiers"},
  });
  EXPECT_EQ(structure->elements().size(), 2u);
  EXPECT_EQ(structure->getWidth(), 7);
  EXPECT_TRUE(element->type() == kNumber && element->identifier() == "a");
  element->setIdentifier(std::string(128, 'x'));
  EXPECT_TRUE(structure->isComplete());
  element->setIdentifier("");
  EXPECT_FALSE(structure->isComplete() || StructType().isComplete());
}

TEST(TypeFamily, EnumerationValues) {
  FIEnumType enumeration;
  enumeration.setStrings({"off", "on"});
  const char* const id = "embeddedtype:enum:InvalidValues";
  const char* const text = "Values should be vector of +ve or -ve integers";
  std::vector<Refusal> refusals;
  for (const HostArray& values : {HostArray(), row({0, 0.5}), row({0, 1e300}), HostArray::text("ab"),
                                  HostArray::zeros(ArrayClass::Double, {2, 2}), HostArray::logical(true)})
    refusals.push_back({"values", [&enumeration, values] { enumeration.setMxValues(values); }, id, text});
  refusals.push_back({"count", [&] { enumeration.setMxValues(row({1})); },
                      "embeddedtype:enum:ValuesandStringsMismatch",
                      "Number of values should be equal to number of strings"});
  expectRefusals(refusals);
  EXPECT_FALSE(enumeration.isComplete());
  enumeration.setMxValues(row({-1, 1}));
  EXPECT_TRUE(enumeration.isComplete());
  EXPECT_EQ(enumeration.values(), (std::vector<std::int64_t>{-1, 1}));
  HostArray column = HostArray::zeros(ArrayClass::Int8, {2, 1});
  column.mutableReal<std::int8_t>()[0] = -1;
  column.mutableReal<std::int8_t>()[1] = 1;
  FIEnumType other = enumeration;
  other.setMxValues(column);
  EXPECT_EQ(other, enumeration);
  other.setStrings({"off"});
  EXPECT_FALSE(other.isComplete() || other == enumeration);
}

TEST(TypeFamily, EqualityHashOrderAndQualifiers) {
  const auto wide = std::make_shared<NumericType>(true, 20, 3);
  auto volatilePointer = pointerTo(kNumber);
  volatilePointer->setVolatile(true);
  auto readOnlyOpaque = std::make_shared<OpaqueType>();
  readOnlyOpaque->setReadOnly(true);
  auto bits16 = std::make_shared<CharType>();
  bits16->setNumberOfBits(16);
  auto frame = matrixOf(kNumber);
  frame->setFrameData(true);
  // No two of these are equal.
  const std::vector<TypePtr> types = {kNumber,
                                      wide,
                                      std::make_shared<ScalarType>(),
                                      std::make_shared<CharType>(),
                                      bits16,
                                      std::make_shared<ComplexType>(),
                                      complexOf(kNumber),
                                      complexOf(wide),
                                      pointerTo(kNumber),
                                      volatilePointer,
                                      pointerTo(kVoid),
                                      std::make_shared<OpaqueType>(),
                                      readOnlyOpaque,
                                      matrixOf(kNumber),
                                      matrixOf(kNumber, {3, 2}),
                                      matrixOf(wide),
                                      frame,
                                      elementOf("a", kNumber),
                                      elementOf("b", kNumber),
                                      structOf({elementOf("a", kNumber)}),
                                      structOf({elementOf("a", kNumber), elementOf("b", kNumber)}),
                                      enumOf({"a"}, {1}),
                                      enumOf({"a"}, {2}),
                                      kVoid};
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
  const auto opaque = std::make_shared<OpaqueType>();
  struct Row {
    TypePtr from, to;
    bool possible;
  };
  const TypePtr complex = complexOf(kNumber), character = std::make_shared<CharType>();
  const TypePtr names = enumOf({"a"}, {1}), wide = std::make_shared<NumericType>(true, 40, 0);
  const Row rows[] = {
      {kNumber, wide, true},
      {kNumber, complex, true},
      {complex, kNumber, false},
      {complex, complex, true},
      {kNumber, character, true},
      {character, kNumber, true},
      {names, kNumber, true},
      {kNumber, names, false},
      {names, enumOf({"a"}, {1}), true},
      {names, enumOf({"a"}, {2}), false},
      {pointerTo(kNumber), pointerTo(kVoid), true},
      {pointerTo(kVoid), pointerTo(wide), true},
      {pointerTo(kNumber), pointerTo(wide), false},
      {pointerTo(kNumber), kNumber, false},
      {matrixOf(kNumber), matrixOf(complex), true},
      {matrixOf(kNumber), matrixOf(kNumber, {3, 2}), false},
      {matrixOf(complex), matrixOf(kNumber), false},
      {opaque, opaque, true},
      {opaque, kNumber, false},
      {structOf({elementOf("a", kNumber)}), structOf({elementOf("a", wide)}), true},
      {structOf({elementOf("a", kNumber)}), structOf({elementOf("b", kNumber)}), false},
      {structOf({elementOf("a", kNumber)}), structOf({elementOf("a", kNumber), elementOf("b", kNumber)}),
       false},
  };
  for (const Row& row : rows) EXPECT_EQ(row.from->canBeConvertedTo(*row.to), row.possible) << &row - rows;
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

#include <gtest/gtest.h>

#include <cstring>

#include "qfcore/types/chartype.h"
#include "qfcore/types/complextype.h"
#include "qfcore/types/fienumtype.h"
#include "qfcore/types/matrixtype.h"
#include "qfcore/types/md5checksummodendian.h"
#include "qfcore/types/numerictype.h"
#include "qfcore/types/opaquetype.h"
#include "qfcore/types/pointertype.h"
#include "qfcore/types/structtype.h"
#include "qfcore/types/voidtype.h"

using namespace EmbeddedTypeSystem;
using Sum = MD5CheckSumModEndian;

namespace {

std::string digestOf(const Type& type) {
  Sum sum;
  type.addCheckSum(sum);
  return sum.digest();
}

class CheckSum : public testing::Test {
 protected:
  ~CheckSum() override { Sum::setByteOrder(Sum::ByteOrder::Unknown); }
};

// The expected digests are those of the bytes written out by another implementation of MD5.
TEST_F(CheckSum, DigestsOfEveryType) {
  const auto number = std::make_shared<NumericType>();
  NumericType slopeBias(DataTypeModeEnum::FixedSlopeBias, false, 24, 1.25, 5, -2.5);
  slopeBias.setReadOnly(true);
  ComplexType complex, empty;
  complex.setBaseType(number);
  complex.setVolatile(true);
  PointerType pointer;
  pointer.setBaseType(number);
  CharType character;
  character.setNumberOfBits(16);
  character.setSigned(false);
  FIEnumType enumeration;
  enumeration.setStrings({"a", "b"});
  enumeration.setMxValues(tessel::HostArray::zeros(tessel::ArrayClass::Double, {1, 2}));
  const std::pair<const Type*, const char*> rows[] = {
      {number.get(), "dcf57ae1d8affc7901bf446344ae25aa"}, {&slopeBias, "0e99613bac596e03e1a130858956c1df"},
      {&empty, "8cb665d32bef74f57a3c1b9749ea2cfe"},       {&complex, "d8392dbe9685533490cd0080ba04d760"},
      {&pointer, "2ac67d7873ba331ea091835dfd2850c4"},     {&character, "e3783b06a73ea5f62528aca37fce9002"},
      {&enumeration, "38cb4c4cd01ba6bb7cf3594c65fd27ac"},
  };
  for (const auto& [type, digest] : rows) EXPECT_EQ(digestOf(*type), digest);
  EXPECT_EQ(digestOf(OpaqueType()), "05a1db293430484d272a67473c44ca97");
  EXPECT_EQ(digestOf(VoidType()), "4679da137f931b497101fd6e403ceeac");
  EXPECT_EQ(digestOf(ScalarType()), "7dea362b3fac8e00956a4952a3d4f474");
}

TEST_F(CheckSum, ContentOfMatricesAndStructuresCounts) {
  const auto number = std::make_shared<NumericType>();
  const auto dims = [](double rows, double columns) {
    auto array = tessel::HostArray::zeros(tessel::ArrayClass::Double, {1, 2});
    array.mutableReal<double>()[0] = rows;
    array.mutableReal<double>()[1] = columns;
    return array;
  };
  MatrixType a;
  a.setBaseType(number);
  a.setDimensions(dims(2, 3));
  MatrixType b = a, c = a, d = a;
  b.setDimensions(dims(3, 2));
  c.setFrameData(true);
  EXPECT_EQ(digestOf(a), digestOf(d));
  EXPECT_TRUE(digestOf(a) != digestOf(b) && digestOf(a) != digestOf(c));
  const auto structure = [&](const char* name) {
    auto element = std::make_shared<StructElement>();
    element->setIdentifier(name);
    element->setType(number);
    StructType whole;
    whole.setElements({element});
    return digestOf(whole);
  };
  EXPECT_EQ(structure("x"), structure("x"));
  EXPECT_NE(structure("x"), structure("y"));
}

TEST_F(CheckSum, NumbersAreFedInBigEndianOrder) {
  Sum::setByteOrder(Sum::ByteOrder::Little);
  EXPECT_EQ(Sum::htonl_int32(0x01020304u), 0x04030201u);
  EXPECT_EQ(Sum::htonl_real64(1.0), 0x000000000000f03fu);
  EXPECT_EQ(Sum::getUniformedUInt32(0x01020304u), 0x01020304u);
  Sum::setByteOrder(Sum::ByteOrder::Big);
  EXPECT_EQ(Sum::htonl_int32(0x01020304u), 0x01020304u);
  EXPECT_EQ(Sum::htonl_real64(1.0), 0x3ff0000000000000u);
  EXPECT_EQ(Sum::getUniformedUInt32(0x01020304u), 0x04030201u);
  Sum::setByteOrder(Sum::ByteOrder::Unknown);
  const std::uint32_t bigEndian = Sum::htonl_int32(0x01020304u);
  const unsigned char expected[] = {1, 2, 3, 4};
  EXPECT_EQ(std::memcmp(&bigEndian, expected, 4), 0);
  EXPECT_EQ(digestOf(NumericType()), "dcf57ae1d8affc7901bf446344ae25aa");
}

}  // namespace

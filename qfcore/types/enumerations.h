/// The enumerations of a numeric type, with the spellings that users see.
#pragma once

#include "qfcore/types/enumtable.h"

namespace EmbeddedTypeSystem {

/// Data type and scaling in one. The value 6 is no mode.
enum class DataTypeModeEnum : int {
  Boolean = 0,
  Single = 1,
  Double = 2,
  FixedUnspecified = 3,
  FixedBinaryPoint = 4,
  FixedSlopeBias = 5,
  ScaledDoubleUnspecified = 7,
  ScaledDoubleBinaryPoint = 8,
  ScaledDoubleSlopeBias = 9
};

enum class DataTypeEnum : int { Fixed = 0, Boolean, Double, Single, ScaledDouble };

/// `Unused` is the scaling of the three built-in data types.
enum class ScalingEnum : int { BinaryPoint = 0, SlopeBias, Unspecified, Unused };

enum class SignedEnum : int { Unsigned = 0, Signed, Unspecified };

namespace detail {

inline constexpr EnumRow kDataTypeModeRows[] = {
    {0, "boolean"},
    {1, "single"},
    {2, "double"},
    {3, "Fixed-point: unspecified scaling"},
    {4, "Fixed-point: binary point scaling"},
    {5, "Fixed-point: slope and bias scaling"},
    {7, "Scaled double: unspecified scaling"},
    {8, "Scaled double: binary point scaling"},
    {9, "Scaled double: slope and bias scaling"},
};
inline constexpr EnumRow kDataTypeRows[] = {
    {0, "Fixed"}, {1, "boolean"}, {2, "double"}, {3, "single"}, {4, "ScaledDouble"}};
inline constexpr EnumRow kScalingRows[] = {
    {0, "BinaryPoint"}, {1, "SlopeBias"}, {2, "Unspecified"}, {3, "Unused"}};
inline constexpr EnumRow kSignedRows[] = {{1, "Signed"}, {0, "Unsigned"}, {2, "Unspecified"}};

inline constexpr EnumTable kDataTypeModeTable{"NumericTypeDataTypeModeEnum", "NumericTypeDataTypeModeEnum",
                                              kDataTypeModeRows};
inline constexpr EnumTable kDataTypeTable{"NumericTypeDataTypeEnum", "NumericTypeDataTypeEnum", kDataTypeRows};
inline constexpr EnumTable kScalingTable{"NumericTypeScalingEnum", "NumericTypeScalingEnum", kScalingRows};
// The two names differ on purpose: a look-up never finds what was created, so the binding keeps what it
// created.
inline constexpr EnumTable kSignedTable{"embedded numerictype SignedEnum", "embedded OperationTypeEnum",
                                        kSignedRows};

}  // namespace detail

constexpr const EnumTable& tableOf(DataTypeModeEnum) { return detail::kDataTypeModeTable; }
constexpr const EnumTable& tableOf(DataTypeEnum) { return detail::kDataTypeTable; }
constexpr const EnumTable& tableOf(ScalingEnum) { return detail::kScalingTable; }
constexpr const EnumTable& tableOf(SignedEnum) { return detail::kSignedTable; }

}  // namespace EmbeddedTypeSystem

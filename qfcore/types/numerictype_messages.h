/// The messages of `NumericType`.
#pragma once

#include "qfcore/number/errors.h"

namespace EmbeddedTypeSystem::msg {

using embedded::Message;

#define QFCORE_INVALID_SETTING "Numforge:numerictype:InvalidSetting"
inline constexpr Message cannotChange{
    QFCORE_INVALID_SETTING,
    "Cannot change the %s property when the data type mode is %s. That property has not been changed."};
inline constexpr Message wordLengthTooSmall{
    QFCORE_INVALID_SETTING, "Invalid WordLength specified; the WordLength must be greater than 0"};
inline constexpr Message wordLengthTooBig{
    QFCORE_INVALID_SETTING, "Invalid WordLength specified; the WordLength must be less than 65536"};
inline constexpr Message invalidSlope{
    QFCORE_INVALID_SETTING, "Invalid total slope specified; the total slope must be greater than 0 and finite"};
inline constexpr Message slopeNoPowerOfTwo{
    QFCORE_INVALID_SETTING,
    "Invalid total slope specified; for binary point scaling, the total slope must be an exact power of two"};
inline constexpr Message biasNotFinite{QFCORE_INVALID_SETTING,
                                       "Invalid Bias specified; the Bias must be finite"};
inline constexpr Message invalidSlopeAdjustmentFactor{
    QFCORE_INVALID_SETTING,
    "Invalid SlopeAdjustmentFactor specified; the SlopeAdjustmentFactor must be greater than or equal to 1 and "
    "less than 2"};
#undef QFCORE_INVALID_SETTING
inline constexpr Message unhandledCase{"numerictype:constructor:unhandledcase",
                                       "Unhandled case in the numerictype constructor."};
inline constexpr Message invalidDataType{"numforge:numerictype:setDataType:invalid", "Unrecognized DataType."};
inline constexpr Message invalidDataTypeMode{"numforge:numerictype:setDataTypeMode:invalid",
                                             "Unrecognized DataTypeMode."};
inline constexpr Message unknownDataTypeMode{
    "numforge:numericytpe:convertDataTypeModeToDataType:unknowndatatypemode", "Unknown DataTypeMode."};
inline constexpr Message booleanNaN{"numforge:nologicalnan", "NaN cannot be converted to boolean."};
inline constexpr Message fixedNaN{"numforge:nofixednan", "NaN cannot be converted to fixed-point."};
inline constexpr Message scaledDoubleNaN{"numforge:nofixednan", "NaN cannot be converted to scaled double."};
inline constexpr Message fixedInf{"numforge:nofixedinf", "Inf cannot be converted to fixed-point."};
inline constexpr Message scaledDoubleInf{"numforge:nofixedinf", "Inf cannot be converted to scaled double."};
inline constexpr Message booleanComplex{"numforge:nologicalcomplex",
                                        "Complex values cannot be converted to boolean."};
inline constexpr Message unspecifiedSign{
    "numforge:fi:setBestPrecision:unspecifiedSign",
    "Sign must be specified true (signed) or false (unsigned) to compute best precision."};
inline constexpr Message bestPrecisionNotNumeric{"numforge:fi:setBestPrecision:mustbenumeric",
                                                 "Set Best Precision only valid for numeric data"};

}  // namespace EmbeddedTypeSystem::msg

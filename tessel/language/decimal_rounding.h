/// Rounding to decimal places, exact in the sense of decimal digits.
#pragma once

namespace tessel {

/// The number nearest to the decimal number with `places` digits after the point that is nearest to `x`; ties
/// of the exact value of `x` away from zero. A negative count rounds before the point: 1234 with −2 gives 1200.
/// What is not finite stays.
double roundedToPlaces(double x, int places);
float roundedToPlaces(float x, int places);
long double roundedToPlaces(long double x, int places);

/// The same with `digits` significant digits, at least 1.
double roundedToDigits(double x, int digits);
float roundedToDigits(float x, int digits);
long double roundedToDigits(long double x, int digits);

}  // namespace tessel

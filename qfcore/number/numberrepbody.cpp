#include "qfcore/number/numberrepbody.h"

#include "qfcore/number/numberops.h"

namespace embedded {

numberrepbody& numberrepbody::setvalue(const numberrepbody& other) {
  return numberops::setvalue(*this, other), *this;
}
numberrepbody& numberrepbody::operator+=(const numberrepbody& other) {
  return numberops::plusequals(*this, other), *this;
}
numberrepbody& numberrepbody::operator-=(const numberrepbody& other) {
  return numberops::minusequals(*this, other), *this;
}
numberrepbody& numberrepbody::operator*=(const numberrepbody& other) {
  return numberops::timesequals(*this, other), *this;
}
numberrepbody& numberrepbody::operator/=(const numberrepbody& other) {
  return numberops::divideequals(*this, other), *this;
}
bool numberrepbody::operator==(const numberrepbody& other) const { return numberops::equal(*this, other); }
bool numberrepbody::operator!=(const numberrepbody& other) const { return numberops::notequal(*this, other); }
bool numberrepbody::operator<(const numberrepbody& other) const { return numberops::lessthan(*this, other); }
bool numberrepbody::operator<=(const numberrepbody& other) const {
  return numberops::lessthanorequal(*this, other);
}
bool numberrepbody::operator>(const numberrepbody& other) const { return numberops::greaterthan(*this, other); }
bool numberrepbody::operator>=(const numberrepbody& other) const {
  return numberops::greaterthanorequal(*this, other);
}
numberrepbody& numberrepbody::mod(const numberrepbody& other) { return numberops::mod(*this, other), *this; }
numberrepbody& numberrepbody::hypot(const numberrepbody& a, const numberrepbody& b) {
  return numberops::hypot(*this, a, b), *this;
}

bool numberrepbody::base2float(const char* text, int base, int wordLength, int exponentLength) {
  return numberops::base2float(*this, text, base, wordLength, exponentLength);
}
bool numberrepbody::base2fixed(const char* text, int base, bool isSigned, int wordLength, double slope,
                               int exponent, double bias) {
  return numberops::base2fixed(*this, text, base, isSigned, wordLength, slope, exponent, bias);
}
std::string numberrepbody::decimalText(int decimals) const { return numberops::decimalText(*this, decimals); }
int numberrepbody::fractionBits() const { return numberops::fractionBits(*this); }
std::string numberrepbody::float2base(int base, int wordLength, int exponentLength) const {
  return numberops::float2base(*this, base, wordLength, exponentLength);
}
std::string numberrepbody::fixed2base(int base, bool isSigned, int wordLength, double slope, int exponent,
                                      double bias) const {
  return numberops::fixed2base(*this, base, isSigned, wordLength, slope, exponent, bias);
}
std::string numberrepbody::fixed2sdec(bool isSigned, int wordLength, double slope, int exponent,
                                      double bias) const {
  return numberops::fixed2sdec(*this, isSigned, wordLength, slope, exponent, bias);
}
void numberrepbody::fixed2IntArray(unsigned* words, int wordCount, int wordLength, double slope, int exponent,
                                   double bias, const MpFloat& twoToWordLength) const {
  numberops::fixed2IntArray(*this, words, wordCount, wordLength, slope, exponent, bias, twoToWordLength);
}

unsigned long long numberrepbody::fixed2uint64(int wordLength, int fractionLength) const {
  return numberops::fixed2uint64(*this, wordLength, fractionLength);
}
unsigned numberrepbody::fixed2uint32(int wordLength, int fractionLength) const {
  return numberops::fixed2uint32(*this, wordLength, fractionLength);
}
unsigned short numberrepbody::fixed2uint16(int wordLength, int fractionLength) const {
  return numberops::fixed2uint16(*this, wordLength, fractionLength);
}
unsigned char numberrepbody::fixed2uint8(int wordLength, int fractionLength) const {
  return numberops::fixed2uint8(*this, wordLength, fractionLength);
}
long long numberrepbody::fixed2int64(int wordLength, int fractionLength) const {
  return numberops::fixed2int64(*this, wordLength, fractionLength);
}
int numberrepbody::fixed2int32(int wordLength, int fractionLength) const {
  return numberops::fixed2int32(*this, wordLength, fractionLength);
}
short numberrepbody::fixed2int16(int wordLength, int fractionLength) const {
  return numberops::fixed2int16(*this, wordLength, fractionLength);
}
signed char numberrepbody::fixed2int8(int wordLength, int fractionLength) const {
  return numberops::fixed2int8(*this, wordLength, fractionLength);
}

}  // namespace embedded

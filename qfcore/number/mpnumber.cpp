#include "qfcore/number/mpnumber.h"

#include <algorithm>
#include <new>
#include <numeric>
#include <type_traits>
#include <utility>
#include <vector>

#include "qfcore/number/doublenumber.h"
#include "qfcore/number/messages.h"
#include "qfcore/number/mpvalue.h"
#include "qfcore/number/nativeinteger.h"
#include "qfcore/number/precision.h"
#include "qfcore/number/radix.h"
#include "qfcore/number/rounding.h"
#include "qfcore/number/stridesort.h"
#include "tessel/console.h"
#include "tessel/freelist.h"

namespace embedded {

namespace {

/// element(i) becomes what element(from[i]) was; leaves `from` the identity.
template <class Element>
void permute(Element element, std::vector<unsigned>& from) {
  for (unsigned start = 0; start < from.size(); ++start) {
    if (from[start] == start) continue;
    MpScratch first(element(start).bits());
    *first = element(start);
    unsigned i = start;
    for (; from[i] != start; i = std::exchange(from[i], i)) element(i) = element(from[i]);
    element(i) = *first;
    from[i] = i;
  }
}

}  // namespace

const MpFloat mpnumber::sOneHalf = [] {
  MpFloat half(constructedBits(0));
  mpfr_set_ui_2exp(half.get(), 1, -1, MPFR_RNDN);
  return half;
}();

void* mpnumber::operator new(std::size_t) { return tessel::FreeList<mpnumber>::take(); }
void mpnumber::operator delete(void* freed) noexcept { tessel::FreeList<mpnumber>::give(freed); }

mpnumber::mpnumber(unsigned count, unsigned precision, NumberVector)
    : numberrepbody(kMultiprecisionRepresentation, &own_),
      own_{{count, precision}, MpArray(count, constructedBits(precision))} {}

mpnumber::mpnumber(double value, unsigned precision) : mpnumber(1, precision, NumberVector{}) {
  mpfr_set_d(current().get(), value, MPFR_RNDN);
}

mpnumber::mpnumber(const mpnumber* source, NumberVector tag)
    : mpnumber(source->numel(), source->precision(), tag) {
  if (copyIntegers(*source, 0, 0, numel())) return;
  for (unsigned i = 0; i < numel(); ++i) setelement(i, source->getelement(i));
}

/// Where stored integers stand for the values of `source`, and then may for these: copies them. Whether it has.
bool mpnumber::copyIntegers(const mpnumber& source, unsigned first, unsigned place, unsigned count) {
  const long fractionLength = source.storage().values.integerFormat().fractionLength;
  const auto copy = [&](const auto* from) {
    using Integer = std::remove_cvref_t<decltype(*from)>;
    Integer* to = from ? modifiableIntegers<Integer>(fractionLength) : nullptr;
    if (to) std::copy_n(from + first, count, to + place);
    return to != nullptr;
  };
  return copy(source.integers<std::int64_t>(fractionLength)) || copy(source.integers<Int128>(fractionLength));
}

mpnumber& mpnumber::copyValue(const mpnumber& source, unsigned place) {
  if (!copyIntegers(source, place, getIndex(), 1)) setvalue(source.getelement(place));
  return *this;
}

mpnumber::mpnumber(const mpnumber* source, CopyIndex)
    : numberrepbody(kMultiprecisionRepresentation, source->share()),
      own_{{0, 0}, MpArray(0, constructedBits(0))} {
  seeAs(*source);
}

mpnumber::mpnumber(const mpnumber* source, Reading reading)
    : numberrepbody(*source, reading), own_{{0, 0}, MpArray(0, constructedBits(0))} {}

mpnumber::mpnumber(const mpnumber& source)
    : mpnumber(source.isempty() ? 0 : 1, source.precision(), NumberVector{}) {
  if (!isempty()) setvalue(source.current());
}

mpnumber::~mpnumber() {
  if (isReader_) return;
  Storage& last = storage();
  if (--last.references == 0 && &last != &own_) delete &last;
}

/// Storage with one reference more, for a view. It moves out of the body so that it can outlive it.
mpnumber::Storage* mpnumber::share() const {
  assert(!isReader_);
  if (shared_ == &own_) {
    auto* moved = new (std::nothrow) Storage(std::move(own_));
    if (!moved) fail<message::outOfMemory>();
    shared_ = moved;
  }
  ++shared_->references;
  return &storage();
}

mpnumber* mpnumber::clone() const { return new mpnumber(*this); }

void mpnumber::resize(unsigned count) {
  assert(!isWindow());
  Storage& resized = storage();
  if (count == resized.count) return;
  MpArray fresh(count, resized.values.bits());
  if (count > 0) fresh.modifiable(0);  // what fills the values later needs no memory
  for (unsigned i = 0; i < std::min(count, resized.count); ++i)
    fresh.modifiable(i).assign(std::as_const(resized.values)[i], fresh.bits());
  resized.values = std::move(fresh);
  resized.count = count;
}

double mpnumber::todouble() const { return current().toDouble(); }

void mpnumber::setelement(unsigned index, const MpFloat& value) {
  MpFloat& element = getmodifiableelement(index);
  element.assign(value, std::min(element.bits(), storage().values.bits()));
}

mpnumber& mpnumber::setvalue(const MpFloat& value) {
  setelement(getIndex(), value);
  return *this;
}

mpnumber& mpnumber::setvalue(double value) {
  current().assign(value, std::min(current().bits(), storage().values.bits()));
  return *this;
}

mpnumber& mpnumber::setvalue(const unsigned* words, int wordCount, bool isSigned, int wordLength,
                             int fractionLength) {
  setvalue(words, wordCount, isSigned, wordLength, 1.0, 0, 0.0);
  current().scaleByPow2(-long{fractionLength});
  return *this;
}

mpnumber& mpnumber::setvalue(const unsigned* words, int wordCount, bool isSigned, int wordLength, double,
                             int exponent, double) {
  MpIntegerScratch stored;
  mpz_import(stored.get(), static_cast<std::size_t>(wordCount), -1, sizeof *words, 0, 0, words);
  if (isSigned && mpz_tstbit(stored.get(), static_cast<mp_bitcnt_t>(wordLength - 1))) {
    MpIntegerScratch range;
    mpz_setbit(range.get(), static_cast<mp_bitcnt_t>(wordLength));
    mpz_sub(stored.get(), stored.get(), range.get());
  }
  setStoredInteger(*stored, exponent);
  return *this;
}

void mpnumber::setStoredInteger(const MpInteger& stored, int exponent) {
  current().assign(stored.get(), std::min(current().bits(), storage().values.bits()));
  current().scaleByPow2(exponent);
}

int mpnumber::sign() const { return current().sign(); }

mpnumber& mpnumber::negate() {
  current().negate();
  return *this;
}

mpnumber& mpnumber::pow2(int exponent) {
  current().scaleByPow2(exponent);
  return *this;
}

mpnumber& mpnumber::pow2(unsigned exponent) {
  current().scaleByPow2(static_cast<long>(exponent));
  return *this;
}

mpnumber& mpnumber::abs() {
  current().makeAbsolute();
  return *this;
}

mpnumber& mpnumber::stripscaling(double, int exponent, double) {
  current().scaleByPow2(-static_cast<long>(exponent));
  return round();
}

mpnumber& mpnumber::addscaling(double, int exponent, double) { return pow2(exponent); }

void mpnumber::stridesort(bool ascending, unsigned stride, unsigned length) {
  std::vector<double> unusedIndex(numel());
  stridesort2(unusedIndex.data(), ascending, stride, length);
}

void mpnumber::stridesort2(double* index, bool ascending, unsigned stride, unsigned length) {
  std::vector<unsigned> from(length);
  forEachSequence(numel(), stride, length, [&](std::size_t start) {
    const auto element = [&](unsigned i) -> MpFloat& {
      return getmodifiableelement(static_cast<unsigned>(start + std::size_t{i} * stride));
    };
    std::iota(from.begin(), from.end(), 0U);
    std::stable_sort(from.begin(), from.end(), [&](unsigned a, unsigned b) {
      return ascending ? sortsBefore(element(a), element(b)) : sortsBefore(element(b), element(a));
    });
    for (unsigned i = 0; i < length; ++i) index[start + std::size_t{i} * stride] = from[i] + 1.0;
    permute(element, from);
  });
}

bool mpnumber::isFinite() const { return current().isFinite(); }
bool mpnumber::myisinf() const { return current().isInfinite(); }
bool mpnumber::myisnan() const { return current().isNan(); }
bool mpnumber::iszero() const { return current().isZero(); }
bool mpnumber::isnegative() const { return current().isNegative(); }

int mpnumber::unbiasedexponent() const {
  return mpfr_regular_p(current().get()) ? static_cast<int>(getexponent()) - 1 : -1;
}

template <class Policy>
mpnumber& mpnumber::roundCurrent() {
  Policy::integer(current());
  return *this;
}

template <class Policy>
mpnumber& mpnumber::roundCurrent(int fractionBits) {
  embedded::round<Policy>(current(), fractionBits);
  return *this;
}

mpnumber& mpnumber::ceil() { return roundCurrent<Ceil>(); }
mpnumber& mpnumber::ceil(int fractionBits) { return roundCurrent<Ceil>(fractionBits); }
mpnumber& mpnumber::convergent() { return roundCurrent<Convergent>(); }
mpnumber& mpnumber::convergent(int fractionBits) { return roundCurrent<Convergent>(fractionBits); }
mpnumber& mpnumber::fix() { return roundCurrent<Fix>(); }
mpnumber& mpnumber::fix(int fractionBits) { return roundCurrent<Fix>(fractionBits); }
mpnumber& mpnumber::floor() { return roundCurrent<Floor>(); }
mpnumber& mpnumber::floor(int fractionBits) { return roundCurrent<Floor>(fractionBits); }
mpnumber& mpnumber::nearest() { return roundCurrent<Nearest>(); }
mpnumber& mpnumber::nearest(int fractionBits) { return roundCurrent<Nearest>(fractionBits); }
mpnumber& mpnumber::round() { return roundCurrent<Round>(); }
mpnumber& mpnumber::round(int fractionBits) { return roundCurrent<Round>(fractionBits); }

void mpnumber::disp() const {
  for (unsigned i = 0; i < numel(); ++i) {
    char text[64];
    mpfr_snprintf(text, sizeof text, "%Rg", getelement(i).get());
    tessel::printFormatted("\nmpnumber[%ld] = %s", static_cast<long>(i), text);
  }
}

unsigned mpnumber::getprecision() const { return current().bits(); }

mpnumber& mpnumber::setprecision(unsigned precision) {
  current().setBits(setPrecisionBits(precision));
  return *this;
}

long mpnumber::getexponent() const { return mpfr_get_exp(current().get()); }

mpnumber& mpnumber::setexponent(int exponent) {
  mpfr_set_exp(current().get(), exponent);
  return *this;
}

mpnumber& mpnumber::pow(unsigned exponent) {
  mpfr_pow_ui(current().get(), current().get(), exponent, MPFR_RNDN);
  return *this;
}

mpnumber& mpnumber::log() {
  mpfr_log(current().get(), current().get(), MPFR_RNDN);
  return *this;
}

mpnumber& mpnumber::log2() {
  mpfr_log2(current().get(), current().get(), MPFR_RNDN);
  return *this;
}

mpnumber& mpnumber::sqrt() {
  mpfr_sqrt(current().get(), current().get(), MPFR_RNDN);
  return *this;
}

mpnumber& mpnumber::operator+=(double other) { return *this += doublenumber(other), *this; }
mpnumber& mpnumber::operator-=(double other) { return *this -= doublenumber(other), *this; }
mpnumber& mpnumber::operator*=(double other) { return *this *= doublenumber(other), *this; }
mpnumber& mpnumber::operator/=(double other) { return *this /= doublenumber(other), *this; }
bool mpnumber::operator==(double other) const { return *this == doublenumber(other); }
bool mpnumber::operator<(double other) const { return *this < doublenumber(other); }
bool mpnumber::operator<=(double other) const { return *this <= doublenumber(other); }
bool mpnumber::operator>(double other) const { return *this > doublenumber(other); }
bool mpnumber::operator>=(double other) const { return *this >= doublenumber(other); }

mpnumber& mpnumber::mod(const mpnumber& other) {
  modulo(current(), other.current());
  return *this;
}

mpnumber& mpnumber::hypot(const MpFloat& a, const MpFloat& b) {
  embedded::hypot(current(), a, b);
  return *this;
}

}  // namespace embedded

#include "qfcore/number/doublenumber.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "qfcore/number/messages.h"
#include "qfcore/number/precision.h"
#include "qfcore/number/rounding.h"
#include "qfcore/number/stridesort.h"
#include "qfcore/number/valuememory.h"
#include "tessel/console.h"

namespace embedded {

namespace {

double storedInteger(const unsigned* words, int wordCount, bool isSigned, int wordLength) {
  double stored = 0;
  for (int i = wordCount - 1; i >= 0; --i) stored = stored * 4294967296.0 + words[i];
  const int signBit = wordLength - 1;
  const bool isNegative =
      isSigned && signBit / 32 < wordCount && (words[signBit / 32] >> (signBit % 32) & 1) != 0;
  return isNegative ? stored - timesPow2(1.0, wordLength) : stored;
}

}  // namespace

// A loaded module would otherwise look its thread's copy up by a call, at the price of the allocation saved.
[[gnu::tls_model("initial-exec")]] constinit thread_local doublenumber::Waiting doublenumber::Waiting::list{};

/// Whether bodies may wait from now on.
[[gnu::noinline]] bool doublenumber::Waiting::makesRoom() {
  const bool isFirst = kMost > 0 && !atThreadEnd.act && !isOver;
  if (isFirst && tessel::noteThreadEnd(atThreadEnd, freeAll)) room = kMost;
  return room > 0;
}

void doublenumber::Waiting::freeAll() {
  while (list.first) ::operator delete(list.take());
  list.room = 0;
  list.isOver = true;
}

void doublenumber::drop(numberrepbody* body) noexcept {
  Waiting& list = Waiting::list;
  if (body->gettype() == kDoubleRepresentation && list.room > 0) {
    auto* dropped = static_cast<doublenumber*>(body);
    // Views and readers have no values of their own.
    if (dropped->shared_ == &dropped->own_)
      return dropped->own_.count == 1 ? list.keep(dropped) : keepVector(dropped);
  }
  dropOther(body);
}

// All apart, so that single values which wait pay for no registers of theirs.
[[gnu::noinline]] doublenumber* doublenumber::newSingle(double value, unsigned precision) {
  return &(new doublenumber(1, precision, Unset{}))->setvalue(value);
}
[[gnu::noinline]] void doublenumber::keepVector(doublenumber* body) noexcept {
  Storage& own = body->own_;
  own.free(std::exchange(own.values, &own.single), std::exchange(own.count, 1));
  Waiting::list.keep(body);
}
[[gnu::noinline]] void doublenumber::dropOther(numberrepbody* body) noexcept { delete body; }

void* doublenumber::operator new(std::size_t size) {
  return Waiting::list.first ? Waiting::list.take() : ::operator new(size);
}
void doublenumber::operator delete(void* freed) noexcept {
  if (Waiting::list.room == 0 && !Waiting::list.makesRoom()) return ::operator delete(freed);
  Waiting::list.keep(::new (freed) doublenumber(1, kMaxDoublePrecision, Unset{}));
}

double* doublenumber::Storage::room(unsigned forCount, bool zeroed) {
  if (forCount == 0) return nullptr;
  if (forCount == 1) {
    single = 0;
    return &single;
  }
  return static_cast<double*>(allocateValues(forCount * sizeof(double), zeroed));
}

void doublenumber::Storage::free(double* room, unsigned forCount) noexcept {
  if (room != &single) freeValues(room, forCount * sizeof(double));
}

doublenumber::doublenumber(double value) : doublenumber(1, kMaxDoublePrecision, NumberVector{}) {
  own_.single = value;
}

doublenumber::doublenumber(unsigned count, unsigned precision, NumberVector)
    : numberrepbody(kDoubleRepresentation, &own_), own_{{count, precision}, nullptr, {0}} {
  own_.values = own_.room(count, true);
}

doublenumber::doublenumber(const doublenumber* source, NumberVector)
    : doublenumber(source->numel(), source->precision(), Unset{}) {
  std::copy_n(source->values(), numel(), values());
}

doublenumber::doublenumber(const doublenumber* source, CopyIndex)
    : numberrepbody(kDoubleRepresentation, source->share()), own_{} {
  seeAs(*source);
}

doublenumber::doublenumber(const doublenumber* source, Reading reading)
    : numberrepbody(*source, reading), own_{} {}

doublenumber::doublenumber(const doublenumber& source)
    : doublenumber(source.isempty() ? 0 : 1, kMaxDoublePrecision, NumberVector{}) {
  if (!isempty()) current() = source.current();
}

doublenumber::~doublenumber() {
  if (isReader_) return;
  Storage& last = storage();
  if (--last.references > 0) return;
  last.free(last.values, last.count);
  if (&last != &own_) delete &last;
}

/// Storage with one reference more, for a view. It moves out of the body so that it can outlive it.
doublenumber::Storage* doublenumber::share() const {
  assert(!isReader_);
  if (shared_ == &own_) {
    auto* moved = new (std::nothrow) Storage(own_);
    if (!moved) fail<message::outOfMemory>();
    if (own_.values == &own_.single) moved->values = &moved->single;
    shared_ = moved;
  }
  ++shared_->references;
  return &storage();
}

doublenumber* doublenumber::clone() const { return new doublenumber(*this); }

void doublenumber::resize(unsigned count) {
  assert(!isWindow());
  Storage& resized = storage();
  if (count == resized.count) return;
  double* old = resized.values;
  double* fresh = resized.room(count, true);
  std::copy_n(old, std::min(count, resized.count), fresh);
  resized.free(old, resized.count);
  resized.values = fresh;
  resized.count = count;
}

double doublenumber::todouble() const { return current(); }

doublenumber& doublenumber::setvalue(double value) {
  current() = value;
  return *this;
}

doublenumber& doublenumber::setvalue(const unsigned* words, int wordCount, bool isSigned, int wordLength,
                                     int fractionLength) {
  return setvalue(timesPow2(storedInteger(words, wordCount, isSigned, wordLength), -long{fractionLength}));
}

doublenumber& doublenumber::setvalue(const unsigned* words, int wordCount, bool isSigned, int wordLength,
                                     double, int exponent, double) {
  return setvalue(timesPow2(storedInteger(words, wordCount, isSigned, wordLength), exponent));
}

int doublenumber::sign() const { return (current() > 0) - (current() < 0); }

doublenumber& doublenumber::negate() { return setvalue(-current()); }
doublenumber& doublenumber::pow2(int exponent) { return setvalue(timesPow2(current(), exponent)); }
doublenumber& doublenumber::abs() { return setvalue(std::fabs(current())); }

doublenumber& doublenumber::stripscaling(double, int exponent, double) {
  return setvalue(std::round(timesPow2(current(), -long{exponent})));
}

void doublenumber::stridesort(bool ascending, unsigned stride, unsigned length) {
  sortSequences(values(), numel(), ascending, stride, length);
}

void doublenumber::stridesort2(double* index, bool ascending, unsigned stride, unsigned length) {
  sortSequences(values(), index, numel(), ascending, stride, length);
}

bool doublenumber::isFinite() const { return std::isfinite(current()); }
bool doublenumber::myisinf() const { return std::isinf(current()); }
bool doublenumber::iszero() const { return current() == 0; }
bool doublenumber::isnegative() const { return current() < 0; }

int doublenumber::unbiasedexponent() const {
  int exponent = 0;
  if (isFinite()) (void)std::frexp(current(), &exponent);
  return exponent - 1;
}

doublenumber& doublenumber::ceil() { return setvalue(Ceil::integer(current())); }
doublenumber& doublenumber::ceil(int fractionBits) { return setvalue(rounded<Ceil>(current(), fractionBits)); }
doublenumber& doublenumber::convergent() { return setvalue(Convergent::integer(current())); }
doublenumber& doublenumber::convergent(int fractionBits) {
  return setvalue(rounded<Convergent>(current(), fractionBits));
}
doublenumber& doublenumber::fix() { return setvalue(Fix::integer(current())); }
doublenumber& doublenumber::fix(int fractionBits) { return setvalue(rounded<Fix>(current(), fractionBits)); }
doublenumber& doublenumber::floor() { return setvalue(Floor::integer(current())); }
doublenumber& doublenumber::floor(int fractionBits) {
  return setvalue(rounded<Floor>(current(), fractionBits));
}
doublenumber& doublenumber::nearest() { return setvalue(Nearest::integer(current())); }
doublenumber& doublenumber::nearest(int fractionBits) {
  return setvalue(rounded<Nearest>(current(), fractionBits));
}
doublenumber& doublenumber::round() { return setvalue(Round::integer(current())); }
doublenumber& doublenumber::round(int fractionBits) {
  return setvalue(rounded<Round>(current(), fractionBits));
}

void doublenumber::disp() const {
  for (unsigned i = 0; i < numel(); ++i) {
    tessel::printFormatted("\ndoublenumber[%ld] = %g", static_cast<long>(i), values()[i]);
  }
}

doublenumber& doublenumber::mod(const doublenumber& other) {
  return setvalue(embedded::mod(current(), other.current()));
}

doublenumber& doublenumber::hypot(const doublenumber& a, const doublenumber& b) {
  return hypot(a.current(), b.current());
}

doublenumber& doublenumber::hypot(double a, double b) {
  const double length = std::hypot(a, b);
  const bool nanBesideInfinity = std::isinf(length) && (std::isnan(a) || std::isnan(b));
  return setvalue(nanBesideInfinity ? std::nan("") : length);
}

}  // namespace embedded

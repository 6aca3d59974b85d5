#include "qfcore/number/mpvalue.h"

#include <algorithm>
#include <atomic>
#include <cassert>
#include <cstdlib>
#include <iterator>
#include <new>
#include <type_traits>

#include "qfcore/number/exponentrange.h"
#include "qfcore/number/messages.h"
#include "qfcore/number/mpmemory.h"
#include "qfcore/number/precision.h"
#include "tessel/threadend.h"

namespace embedded {

namespace {

[[maybe_unused]] const bool exponentRangeWidened = (widenExponentRange(), true);

const MpReserve whileLoaded;

/// Placed values that have limbs of their own. They are few, and whoever ends the life of one has seen it grow.
constinit std::atomic<std::size_t> placedWithLimbs{0};

mp_limb_t* allocateLimbs(std::uint32_t count) {
  void* block = std::malloc(count * sizeof(mp_limb_t));
  if (!block) fail<message::outOfMemory>();
  return static_cast<mp_limb_t*>(block);
}

template <class T>
void clearScratch();

/// Values in the order of the scopes that borrow them: a stack that never shrinks while its thread lives.
template <class T>
class ScratchStack {
 public:
  /// The value for the next scope; it counts as borrowed once `push` is called.
  T& next() {
    if (depth_ == made_) addOne();
    return *values_[depth_];
  }
  void push() { ++depth_; }
  void pop() { --depth_; }
  void clear() {
    while (made_ > 0) delete values_[--made_];
  }

 private:
  void addOne() {
    if (!tessel::noteThreadEnd(atThreadEnd_, clearScratch<T>)) fail<message::outOfMemory>();
    assert(made_ < std::size(values_));
    if constexpr (std::is_same_v<T, MpFloat>) {
      values_[made_] = new T(kDoubleBits);
    } else {
      values_[made_] = new T;
    }
    ++made_;
  }

  T* values_[16] = {};  // operations nest a few deep and never recurse
  unsigned made_ = 0;
  unsigned depth_ = 0;
  tessel::ThreadEnd atThreadEnd_;
};

// A loaded module would otherwise look its thread's copy up by a call, which costs as much as an addition.
[[gnu::tls_model("initial-exec")]] constinit thread_local ScratchStack<MpFloat> floatScratch{};
[[gnu::tls_model("initial-exec")]] constinit thread_local ScratchStack<MpInteger> integerScratch{};

template <>
void clearScratch<MpFloat>() {
  floatScratch.clear();
}
template <>
void clearScratch<MpInteger>() {
  integerScratch.clear();
}

}  // namespace

MpFloat::MpFloat(unsigned bits) : capacity_(limbCount(bits)), ownsLimbs_(true) {
  becomeZero(allocateLimbs(capacity_), bits);
}

MpFloat::MpFloat(const MpFloat& other) : MpFloat(other.bits()) { takeBits(other); }

MpFloat& MpFloat::operator=(const MpFloat& other) {
  if (this == &other) return *this;
  if (bits() != other.bits()) reset(other.bits());
  takeBits(other);
  return *this;
}

std::size_t MpFloat::placedSize(unsigned bits) {
  static_assert(sizeof(MpFloat) % alignof(mp_limb_t) == 0 && alignof(MpFloat) >= alignof(mp_limb_t));
  return sizeof(MpFloat) + limbCount(bits) * sizeof(mp_limb_t);
}

void MpFloat::endPlaced() {
  if (ownsLimbs_) placedWithLimbs.fetch_sub(1, std::memory_order_relaxed);
  this->~MpFloat();
}

bool MpFloat::placedOwnLimbs() { return placedWithLimbs.load(std::memory_order_relaxed) != 0; }

/// Takes a value of as many bits.
void MpFloat::takeBits(const MpFloat& source) {
  mp_limb_t* own = limbs();
  const mp_limb_t* given = source.limbs();
  const std::uint32_t count = limbCount(bits());
  if (count == 2) {  // words of 64 bits: a call would cost more than the copy
    own[0] = given[0];
    own[1] = given[1];
  } else {
    std::copy_n(given, count, own);
  }
  *value_ = *source.value_;
  mpfr_custom_move(value_, own);
}

void MpFloat::reserve(unsigned bits) {
  const std::uint32_t needed = limbCount(bits);
  if (needed <= capacity_) return;
  mp_limb_t* larger = allocateLimbs(needed);
  if (ownsLimbs_) {
    std::free(limbs());
  } else {
    placedWithLimbs.fetch_add(1, std::memory_order_relaxed);
  }
  mpfr_custom_move(value_, larger);
  capacity_ = needed;
  ownsLimbs_ = true;
}

void MpFloat::reset(unsigned bits) {
  reserve(bits);
  becomeZero(limbs(), bits);
}

void MpFloat::setBits(unsigned bits) {
  MpScratch roundedValue(bits);
  mpfr_set(roundedValue.get(), value_, MPFR_RNDN);
  *this = *roundedValue;
}

/// Compares significands below their highest limbs.
int MpFloat::orderOfLowerLimbs(const MpFloat& a, const MpFloat& b) {
  unsigned i = limbCount(a.bits()) - 1, j = limbCount(b.bits()) - 1;
  while ((i | j) != 0) {
    const mp_limb_t x = i > 0 ? a.limbs()[--i] : 0, y = j > 0 ? b.limbs()[--j] : 0;
    if (x != y) return x > y ? 1 : -1;
  }
  return 0;
}

void MpFloat::assign(const MpFloat& source, unsigned bits) {
  if (this == &source) return;
  if (this->bits() == bits && source.bits() == bits) return takeBits(source);
  const bool fits = source.bits() <= bits || mpfr_min_prec(source.value_) <= static_cast<mpfr_prec_t>(bits);
  const unsigned needed = fits ? bits : source.bits();
  if (this->bits() != needed) reset(needed);
  mpfr_set(value_, source.value_, MPFR_RNDN);
}

void MpFloat::assign(double source, unsigned bits) {
  if (this->bits() != bits) reset(bits);
  if (mpfr_set_d(value_, source, MPFR_RNDN) == 0) return;
  reset(kDoubleBits);
  mpfr_set_d(value_, source, MPFR_RNDN);
}

void MpFloat::assign(mpz_srcptr source, unsigned bits) {
  unsigned needed = static_cast<unsigned>(mpz_sizeinbase(source, 2));
  if (needed > bits) needed -= static_cast<unsigned>(mpz_scan1(source, 0));
  needed = std::max(needed, bits);
  if (this->bits() != needed) reset(needed);
  mpfr_set_z(value_, source, MPFR_RNDN);
}

MpScratch::MpScratch(unsigned bits) : value_(&floatScratch.next()) {
  value_->reset(bits);
  floatScratch.push();
}

MpScratch::~MpScratch() { floatScratch.pop(); }

MpIntegerScratch::MpIntegerScratch() : value_(&integerScratch.next()) {
  mpz_set_ui(value_->get(), 0);
  integerScratch.push();
}

MpIntegerScratch::~MpIntegerScratch() {
  if (MpReserve::isInUse()) value_->forgetRoom();
  integerScratch.pop();
}

void modulo(MpFloat& x, const MpFloat& y) {
  if (y.isZero()) return;
  MpScratch whole(x.bits());
  if (mpfr_integer_p(y.get())) {
    mpfr_div(whole.get(), x.get(), y.get(), MPFR_RNDN);
    mpfr_floor(whole.get(), whole.get());
    *whole *= y;
    x -= *whole;
  } else {
    x /= y;
    mpfr_floor(whole.get(), x.get());
    x -= *whole;
    x *= y;
  }
}

void hypot(MpFloat& length, const MpFloat& a, const MpFloat& b) {
  const bool nan = a.isNan() || b.isNan();  // MPFR lets infinity win over NaN
  mpfr_hypot(length.get(), a.get(), b.get(), MPFR_RNDN);
  if (nan) mpfr_set_nan(length.get());
}

void widenExponentRange() {
  mpfr_set_emin(mpfr_get_emin_min());
  mpfr_set_emax(mpfr_get_emax_max());
}

}  // namespace embedded

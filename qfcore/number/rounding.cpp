#include "qfcore/number/rounding.h"

#include "qfcore/number/mpnumber.h"
#include "qfcore/number/mpvalue.h"

namespace embedded {

void Ceil::integer(MpFloat& x) { mpfr_ceil(x.get(), x.get()); }
void Convergent::integer(MpFloat& x) { mpfr_roundeven(x.get(), x.get()); }
void Fix::integer(MpFloat& x) { mpfr_trunc(x.get(), x.get()); }
void Floor::integer(MpFloat& x) { mpfr_floor(x.get(), x.get()); }
void Round::integer(MpFloat& x) { mpfr_round(x.get(), x.get()); }

void Nearest::integer(MpFloat& x) {
  // Away from zero is toward plus infinity unless x is negative.
  if (!x.isNegative() || mpfr_integer_p(x.get())) return Round::integer(x);
  // The sum is smaller than x and so exact, down to -1/2; nearer to zero it may be rounded, but stays below
  // one.
  x += mpnumber::sOneHalf;
  Floor::integer(x);
}

template <class Policy>
void round(MpFloat& x, int fractionBits) {
  x.scaleByPow2(fractionBits);
  Policy::integer(x);
  x.scaleByPow2(-static_cast<long>(fractionBits));
}

template void round<Ceil>(MpFloat&, int);
template void round<Convergent>(MpFloat&, int);
template void round<Fix>(MpFloat&, int);
template void round<Floor>(MpFloat&, int);
template void round<Nearest>(MpFloat&, int);
template void round<Round>(MpFloat&, int);

}  // namespace embedded

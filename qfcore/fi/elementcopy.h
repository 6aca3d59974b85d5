/// Elements as they are, moved where positions say.
#pragma once

#include "qfcore/fi/elementvisit.h"
#include "qfcore/number/number.h"

namespace embedded {

/// Copies what `from`, an array's part with its own cursor or a reader of it, has at `sources`. A source of
/// `kNoElement` leaves its target as it is.
void copyPart(number& to, const number& from, const ElementVisit& targets, const ElementVisit& sources,
              unsigned count);

}  // namespace embedded

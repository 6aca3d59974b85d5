/// Host arrays of positions, on which the host's own functions work in place of the elements.
#pragma once

#include "qfcore/fi/elementvisit.h"
#include "qfcore/fi/fi.h"
#include "tessel/array.h"

namespace embedded {

/// The positions `first` + 1, `first` + 2, … in shape `dims`.
tessel::HostArray positionMap(const fi::Shape& dims, double first = 0);
/// The positions −1, −2, … of a right-hand side.
tessel::HostArray sourceMap(const fi::Shape& dims);

}  // namespace embedded

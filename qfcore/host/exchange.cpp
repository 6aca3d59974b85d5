#include "qfcore/host/exchange.h"

#include "qfcore/host/FiObjClass.h"

namespace embedded {

fi* heldArray(const tessel::HostArray& object) { return host::unwrapped<fi>(object); }

}  // namespace embedded

#include "qfcore/host/objclass.h"

namespace embedded::host {

tessel::Package& getEmbeddedPackage() { return tessel::getPackage("embedded"); }

void terminateEmbeddedPackage() { getEmbeddedPackage().terminate(); }

}  // namespace embedded::host

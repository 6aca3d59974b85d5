#include "qfcore/host/objclass.h"

#include <utility>
#include <vector>

namespace embedded::host {

namespace {

std::vector<void (*)()>& termination() {
  static std::vector<void (*)()> all;
  return all;
}

}  // namespace

tessel::Package& getEmbeddedPackage() { return tessel::getPackage("embedded"); }

void atTermination(void (*forget)()) { termination().push_back(forget); }

void terminateEmbeddedPackage() {
  for (void (*forget)() : std::exchange(termination(), {})) forget();
  getEmbeddedPackage().terminate();
}

}  // namespace embedded::host

// Fixed-point arrays in a program of its own: the library alone, no host running.
#include <cstdio>

#include "qfcore/qfcore.h"

using embedded::fi;

void show(const char* name, const fi& array) {
  std::printf("%-6s %-8s", name, array.getNumericType().qpointstr().c_str());
  const tessel::HostArray values = array.getDoubleHostArray();
  for (unsigned i = 0; i < array.numel(); ++i) std::printf(" %10.6f", values.realAt(i));
  std::printf("\n");
}

int main() {
  embedded::qlogger::setLogging(true);  // counts overflows and warns of them, on standard error
  const embedded::NumericType type(true, 8, 4), wide(true, 60, 58);  // signed; word length, fraction length
  embedded::fimath bytes;
  bytes.setCStyle(8);  // sums and products wrap as integers of 8 bits do
  const double x[] = {1.5, -2.25, 7.9375}, y[] = {0.5, 0.3, 3}, z[] = {1.0 / 3, 0, -1};
  const unsigned row[] = {1, 3}, column[] = {3, 1};
  const fi a(x, row, 2, type), b(y, row, 2, type), c(x, row, 2, type, bytes), d(z, row, 2, wide);
  show("a", a), show("b", b), show("a + b", a.plus(b)), show("a .* b", a.times(b));
  show("c + c", c.plus(c)), show("d .* d", d.times(d));
  show("a back", a.rearrangedBy("flip", {})), show("[a b]", fi::joined("horzcat", a, {&a, &b}));
  try {
    a.plus(fi(y, column, 2, type));
  } catch (const embedded::ErrorIdException& error) {
    std::printf("%s: %s\n", error.identifier().c_str(), error.what());
  }
  d.disp();
}

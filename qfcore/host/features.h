/// Setters of the module's feature switches.
#pragma once

#include "tessel/array.h"

namespace embedded {

// Each is called like a host function. With one input it sets its switch: a double, a logical, or "0", "off",
// "1", "on" in any case. Returns the state, 1.0 or 0.0. Raises the host's errors for too many inputs or
// outputs, "Tessel:doubleOrCharArgRequired" and "Tessel:mustBe01OffOn"; the state stays then.
void setFiTagLogging(int outputCount, tessel::HostArray* outputs, int inputCount,
                     const tessel::HostArray* inputs);
void setFiStackTraceLogging(int outputCount, tessel::HostArray* outputs, int inputCount,
                            const tessel::HostArray* inputs);
void setFi33PlusMemoryFootprint(int outputCount, tessel::HostArray* outputs, int inputCount,
                                const tessel::HostArray* inputs);
void setNumericTypeUnspecifiedSign(int outputCount, tessel::HostArray* outputs, int inputCount,
                                   const tessel::HostArray* inputs);

/// How many threads share long loops, `threadCount`: a double from 1 to 1024. Raises
/// "numforge:threads:badvalue".
void setThreads(int outputCount, tessel::HostArray* outputs, int inputCount, const tessel::HostArray* inputs);

/// Registers the switches with the host, each at its default.
void registerFeatures();

}  // namespace embedded

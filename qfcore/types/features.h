/// Feature switches, module-wide and read at every use. The host binding sets them.
#pragma once

#include "qfcore/number/errors.h"

namespace embedded {

/// Log records and log displays carry the array's tag. Off at start.
extern QFCORE_API bool s_feature_fi_tag_logging;
/// Log records carry the host's stack trace. Off at start.
extern QFCORE_API bool s_feature_fi_stack_trace_logging;
/// Corvane integer arrays of 33 to 128 bits take only the words they need. On at start.
extern QFCORE_API bool s_feature_fi_33plus_memory_footprint;

}  // namespace embedded

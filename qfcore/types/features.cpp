#include "qfcore/types/features.h"

namespace embedded {

bool s_feature_fi_tag_logging = false;
bool s_feature_fi_stack_trace_logging = false;
bool s_feature_fi_33plus_memory_footprint = true;

}  // namespace embedded

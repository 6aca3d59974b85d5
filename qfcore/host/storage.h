/// How objects of the module are kept in files.
#pragma once

#include "tessel/objects.h"

namespace embedded::host {

/// Type, settings, stored integers of words of any length, tag, logging switch and record.
tessel::Persistence fiPersistence();
tessel::Persistence numericTypePersistence();
tessel::Persistence fimathPersistence();
/// Settings and record.
tessel::Persistence quantizerPersistence();

}  // namespace embedded::host

/// printf into a string, for the texts whose printf form is fixed.
#pragma once

#include <string>

namespace EmbeddedTypeSystem {

/// The text that printf would print.
std::string printed(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace EmbeddedTypeSystem

/// Examples of functions, classes and methods, for the host's help.
#pragma once

namespace embedded::host {

void registerExamples();

}  // namespace embedded::host

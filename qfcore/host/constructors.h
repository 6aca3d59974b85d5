/// The short constructors that users type: numerictype, fimath, quantizer, fi, fipref.
#pragma once

namespace embedded::host {

/// Registers them as functions of the host. They take the forms that objects print as their constructor string,
/// the short forms that their help tells, and trailing name/value pairs.
void registerConstructors();
/// From now on they raise "numforge:module:terminated".
void unregisterConstructors();

}  // namespace embedded::host

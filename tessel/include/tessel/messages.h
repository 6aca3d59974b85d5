/// Errors and warnings, each with an identifier and a text.
#pragma once

#include <functional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "tessel/api.h"

namespace tessel {

/// An error of the host: what a script's `catch err` receives. `what()` is the text, a NUL shown as "\0".
class TESSEL_API HostError : public std::runtime_error {
 public:
  HostError(std::string identifier, const std::string& text);
  ~HostError() override;
  /// Colon-separated, such as "Tessel:badsubscript"; empty where an error has none.
  const std::string& identifier() const { return identifier_; }

 private:
  std::string identifier_;
};

/// Raises a host error.
[[noreturn]] TESSEL_API void raiseError(std::string identifier, const std::string& text);

/// " Did you mean 'NAME'?" with the known name that a slip of the fingers turns into `wrong`, or nothing where
/// none is that near.
TESSEL_API std::string suggestion(std::string_view wrong, const std::vector<std::string>& known);

/// Issues a warning: one line "Warning: TEXT" on standard error, unless `identifier` is switched off. Either
/// way it is remembered for `lastWarning`.
TESSEL_API void warn(std::string_view identifier, std::string_view text);

struct Warning {
  std::string identifier;
  std::string text;
};
/// The warning issued last; both texts are empty when there was none. Assigning forgets or replaces it.
TESSEL_API Warning& lastWarning();

/// Who is told of warnings instead of standard error; of those only that are not switched off.
using WarningHandler = std::function<void(const Warning&)>;
/// Replaces the handler and returns the one before; an empty one stands for standard error. It is called in the
/// middle of operations, so it must not throw.
TESSEL_API WarningHandler setWarningHandler(WarningHandler handler);

/// Switches the warnings of one identifier, or of all with "all", on or off.
TESSEL_API void setWarningEnabled(std::string_view identifier, bool enabled);
/// Whether a warning of that identifier is shown; with "all", one of an identifier that was never switched by
/// itself.
TESSEL_API bool isWarningEnabled(std::string_view identifier);

}  // namespace tessel

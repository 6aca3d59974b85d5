#include "tessel/messages.h"

#include <unistd.h>

#include <cstdio>
#include <map>
#include <utility>

#include "tessel/runtime/terminal.h"
#include "tessel/threadend.h"

namespace tessel {

namespace {

/// Which warnings are shown: a default, and the identifiers that were switched since it was set.
struct WarningSwitches {
  bool others = true;
  std::map<std::string, bool, std::less<>> byIdentifier;
};

WarningSwitches& warningSwitches() {
  static WarningSwitches switches;
  return switches;
}

WarningHandler& warningHandler() {
  static WarningHandler handler;
  return handler;
}

std::string withoutNul(std::string text) {
  for (std::size_t at = 0; (at = text.find('\0', at)) != std::string::npos;) text.replace(at, 1, "\\0");
  return text;
}

}  // namespace

HostError::HostError(std::string identifier, const std::string& text)
    : std::runtime_error(withoutNul(text)), identifier_(std::move(identifier)) {}

HostError::~HostError() = default;

void raiseError(std::string identifier, const std::string& text) {
  throw HostError(std::move(identifier), text);
}

void warn(std::string_view identifier, std::string_view text) {
  lastWarning() = {std::string(identifier), std::string(text)};
  if (!isWarningEnabled(identifier)) return;
  if (warningHandler()) return warningHandler()(lastWarning());
  // What was printed before the warning stands before it where both streams go to one place.
  std::fflush(stdout);
  std::fprintf(stderr, "%s %s\n", coloured("Warning:", Colour::Yellow, STDERR_FILENO).c_str(),
               lastWarning().text.c_str());
}

// A thread is told of its own warnings.
Warning& lastWarning() { return ownObject<Warning>(); }

WarningHandler setWarningHandler(WarningHandler handler) {
  return std::exchange(warningHandler(), std::move(handler));
}

void setWarningEnabled(std::string_view identifier, bool enabled) {
  if (identifier == "all")
    warningSwitches() = {enabled, {}};
  else
    warningSwitches().byIdentifier.insert_or_assign(std::string(identifier), enabled);
}

bool isWarningEnabled(std::string_view identifier) {
  const WarningSwitches& switches = warningSwitches();
  const auto found = switches.byIdentifier.find(identifier);
  return found != switches.byIdentifier.end() ? found->second : switches.others;
}

}  // namespace tessel

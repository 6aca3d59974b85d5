/// What a call does besides returning: nothing, a warning, or an error, with identifier and text.
#pragma once

#include <ostream>
#include <string>

#include "qfcore/number/errors.h"
#include "tessel/messages.h"

struct Outcome {
  std::string kind, identifier, text;
  bool operator==(const Outcome&) const = default;
  friend std::ostream& operator<<(std::ostream& out, const Outcome& o) {
    return out << (o.kind.empty() ? "silent" : o.kind) << " " << o.identifier << ": " << o.text;
  }
};

template <class Call>
Outcome outcomeOf(Call&& call) {
  tessel::lastWarning() = {};
  try {
    call();
  } catch (const embedded::ErrorIdException& error) {
    return {"error", error.identifier(), error.text()};
  }
  const tessel::Warning& warning = tessel::lastWarning();
  if (warning.identifier.empty()) return {};
  return {"warning", warning.identifier, warning.text};
}

#include "qfcore/logging/filog.h"

#include "qfcore/types/features.h"
#include "qfcore/types/printed.h"
#include "tessel/console.h"

namespace embedded {

filog::filog(const std::string& tag, const qlogger& logger) : record_(logger), type_(logger.numericType()) {
  record_.setTag(tag);
}

std::string filog::displayText() const {
  using EmbeddedTypeSystem::printed;
  std::string text;
  if (s_feature_fi_tag_logging) text += "\n          Tag: " + tag();
  text += printed("\n    operation: %s", qlogger::operationTypeToString(operationType()));
  text += "\n  numerictype: " + type_.qpointstr();
  text += printed("\n       minlog: %g", minlog());
  text += printed("\n       maxlog: %g", maxlog());
  text += printed("\n   noverflows: %zu", noverflows());
  text += printed("\n  nunderflows: %zu", nunderflows());
  for (const std::string& place : stackTrace()) text += "\n           in: " + place;
  return text + "\n";
}

void filog::disp() const { tessel::print(displayText()); }

FilogMap& filog::getLogMap() {
  static FilogMap map;
  return map;
}

std::vector<filog> filog::getglobalfilogs() {
  std::vector<filog> records;
  for (const auto& [key, record] : getLogMap()) records.push_back(record);
  return records;
}

void qlogger::writeLogMap(FilogMap& map) const {
  if (!s_feature_fi_tag_logging) return;
  const auto [place, isNew] = map.try_emplace(createFilogKey(), tag_, *this);
  if (!isNew) place->second.merge(*this);
}

}  // namespace embedded

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

namespace {

bool hasRecorded(const qlogger* logger) { return logger && !logger->isreset(); }

/// What begins to be collected from the loggers, and is theirs again unless all of it is kept.
class Collection {
 public:
  explicit Collection(std::span<const qlogger* const> loggers) : loggers_(loggers) {}
  Collection(const Collection&) = delete;
  Collection& operator=(const Collection&) = delete;
  ~Collection() {
    for (const qlogger* logger : loggers_) {
      if (!hasRecorded(logger)) continue;
      logger->endCollection(isKept_);
      if (isKept_) logger->reset();
    }
  }
  /// The records of `map` that change, as they become.
  FilogMap changesOf(const FilogMap& map) const {
    FilogMap changed;
    for (const qlogger* logger : loggers_) {
      if (!hasRecorded(logger)) continue;
      const qlogger fresh = logger->beginCollection();
      if (fresh.isreset()) continue;
      const auto known = map.find(fresh.createFilogKey());
      if (known != map.end()) changed.insert(*known);
      fresh.writeLogMap(changed);
    }
    return changed;
  }
  void keep() noexcept { isKept_ = true; }

 private:
  std::span<const qlogger* const> loggers_;
  bool isKept_ = false;
};

}  // namespace

void filog::collect(std::span<const qlogger* const> loggers) {
  Collection collection(loggers);
  FilogMap changed;
  if (s_feature_fi_tag_logging) changed = collection.changesOf(getLogMap());
  // From here on nothing takes memory.
  while (!changed.empty()) {
    auto record = changed.extract(changed.begin());
    getLogMap().erase(record.key());
    getLogMap().insert(std::move(record));
  }
  collection.keep();
}

void qlogger::writeLogMap(FilogMap& map) const {
  if (!s_feature_fi_tag_logging) return;
  const auto [place, isNew] = map.try_emplace(createFilogKey(), tag(), *this);
  if (!isNew) place->second.merge(*this);
}

}  // namespace embedded

/// Enumerations as rows of value and spelling, used for parsing, printing and validation alike.
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace EmbeddedTypeSystem {

struct EnumRow {
  int value;
  const char* text;
};

/// One enumerated type of the host. A host binding looks it up by `lookupName` and, where it is missing,
/// creates it under `createdName`.
struct EnumTable {
  const char* lookupName;
  const char* createdName;
  std::span<const EnumRow> rows;

  /// The spelling of `value`, or null where no row has it.
  constexpr const char* textOf(int value) const {
    for (const EnumRow& row : rows)
      if (row.value == value) return row.text;
    return nullptr;
  }
  /// The row spelled exactly `text`, or null.
  constexpr const EnumRow* find(std::string_view text) const {
    for (const EnumRow& row : rows)
      if (text == row.text) return &row;
    return nullptr;
  }
};

/// The spelling of an enumeration's value; null where no row has it. The enumeration's own namespace declares
/// `constexpr const EnumTable& tableOf(Enum)`.
template <class Enum>
constexpr const char* textOf(Enum value) {
  return tableOf(value).textOf(static_cast<int>(value));
}

/// The value spelled exactly `text`.
template <class Enum>
constexpr std::optional<Enum> enumValue(std::string_view text) {
  const EnumRow* row = tableOf(Enum{}).find(text);
  if (!row) return std::nullopt;
  return static_cast<Enum>(row->value);
}

}  // namespace EmbeddedTypeSystem

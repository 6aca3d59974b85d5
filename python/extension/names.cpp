#include "python/extension/names.h"

#include <algorithm>
#include <cctype>
#include <iterator>

#include "python/extension/python.h"

namespace face {

namespace {

bool isUpper(char c) { return std::isupper(static_cast<unsigned char>(c)) != 0; }
bool isLower(char c) { return std::islower(static_cast<unsigned char>(c)) != 0; }
bool isWordCharacter(char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; }
char lower(char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); }
char upper(char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); }

bool isKeyword(std::string_view name) {
  static constexpr std::string_view kKeywords[] = {"and", "or",   "not",    "is",    "in",
                                                   "if",  "from", "import", "class", "def"};
  return std::ranges::find(kKeywords, name) != std::end(kKeywords);
}

std::string essence(std::string_view text) {
  std::string kept;
  for (const char c : text) {
    if (isWordCharacter(c)) kept += lower(c);
  }
  return kept;
}

}  // namespace

std::string snakeCase(std::string_view hostName) {
  std::string name;
  for (std::size_t i = 0; i < hostName.size(); ++i) {
    const char c = hostName[i];
    if (!isWordCharacter(c)) {
      name += '_';
      continue;
    }
    // A word starts at a capital behind a small letter or digit, or before a small letter.
    const bool starts = i > 0 && isUpper(c) &&
                        (!isUpper(hostName[i - 1]) || (i + 1 < hostName.size() && isLower(hostName[i + 1])));
    if (starts && name.back() != '_') name += '_';
    name += lower(c);
  }
  if (isKeyword(name)) name += '_';
  return name;
}

const std::string* textOf(const tessel::EnumeratedType& type, std::string_view spelled) {
  const std::string wanted = essence(spelled);
  for (const auto& value : type.values) {
    if (essence(value.first) == wanted) return &value.first;
  }
  return nullptr;
}

std::string enumerationName(std::string_view hostName) {
  std::string name;
  // The owner comes first, in small letters.
  const auto first = std::ranges::find_if(hostName, isUpper);
  std::copy_if(first, hostName.end(), std::back_inserter(name), isWordCharacter);
  if (name.ends_with("Enum")) name.resize(name.size() - 4);
  return name;
}

std::string memberName(std::string_view text) {
  std::string name;
  for (const char c : snakeCase(text)) {
    if (c != '_' || (!name.empty() && name.back() != '_')) name += upper(c);
  }
  while (name.ends_with('_')) name.pop_back();
  return name.empty() || std::isdigit(static_cast<unsigned char>(name[0])) ? "VALUE_" + name : name;
}

std::string suggestion(std::string_view wrong, const std::vector<std::string>& choices) {
  const py::list near =
      py::module_::import("difflib").attr("get_close_matches")(std::string(wrong), choices, 1, 0.5);
  return near.empty() ? "" : "; did you mean '" + near[0].cast<std::string>() + "'?";
}

}  // namespace face

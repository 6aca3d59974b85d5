#include "qfcore/fi/radixtext.h"

#include <algorithm>

namespace embedded {

using tessel::HostArray;

TextTokens tokensOf(const HostArray& text, const char* realDelimiters) {
  TextTokens table{{}, !text.isEmpty() && isComplexText(text)};
  if (text.isEmpty()) return table;
  const char* const parting = table.isComplex ? delimiters(true) : realDelimiters;
  for (const std::string& line : text.textRows()) {
    std::vector<std::string>& tokens = table.rows.emplace_back();
    for (std::size_t begin = 0, end; (begin = line.find_first_not_of(parting, begin)) != std::string::npos;
         begin = end) {
      end = std::min(line.find_first_of(parting, begin), line.size());
      tokens.push_back(line.substr(begin, end - begin));
    }
  }
  return table;
}

HostArray emptyFields(std::size_t rows, std::size_t columns, const FieldLayout& layout) {
  const std::size_t width = layout.width();
  HostArray result =
      HostArray::unset(tessel::ArrayClass::Char, {rows, columns == 0 ? 0 : columns * width - kColumnGap});
  if (result.isEmpty()) return result;
  char* text = result.mutableReal<char>();
  std::fill_n(text, result.numel(), ' ');
  for (std::size_t column = 0; layout.isComplex && column < columns; ++column, text += width * rows) {
    std::fill_n(text + (layout.imaginary() - 2) * rows, rows, '+');
    std::fill_n(text + (layout.imaginary() + layout.digits) * rows, rows, 'i');
  }
  return result;
}

}  // namespace embedded

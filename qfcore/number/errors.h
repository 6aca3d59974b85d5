/// How the module reports what is wrong: one exception class, and messages that stand in tables beside their
/// class.
#pragma once

#include <cstdio>
#include <exception>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#define QFCORE_API __attribute__((visibility("default")))

namespace embedded {

/// The exception of the module: an identifier such as "numforge:fi:badindex" and a text. The host binding turns
/// it into an error of the host.
class QFCORE_API ErrorIdException : public std::exception {
 public:
  ErrorIdException(std::string identifier, std::string text)
      : identifier_(std::move(identifier)), text_(std::move(text)) {}
  const char* what() const noexcept override { return text_.c_str(); }
  const std::string& identifier() const { return identifier_; }
  const std::string& text() const { return text_; }

 private:
  std::string identifier_, text_;
};

/// One row of a message table. The text may hold %s (texts), %d and %ld (integers), as printf reads them.
struct Message {
  const char* identifier;
  const char* text;
};

namespace detail {

template <class Argument>
constexpr bool fitsPlaceholder(char conversion) {
  if (conversion == 's') return std::is_convertible_v<Argument, const char*>;
  return conversion == 'd' && std::is_integral_v<std::decay_t<Argument>>;
}

/// True when `text` has exactly one placeholder an argument, each of the argument's kind.
template <class... Arguments>
constexpr bool argumentsFit(std::string_view text) {
  constexpr std::size_t count = sizeof...(Arguments);
  [[maybe_unused]] char conversions[count + 1] = {};
  std::size_t found = 0;
  for (std::size_t i = 0; i + 1 < text.size(); ++i) {
    if (text[i] != '%') continue;
    ++i;
    while (text[i] == 'l') ++i;
    if (found == count) return false;
    conversions[found++] = text[i];
  }
  std::size_t next = 0;
  return found == count && (fitsPlaceholder<Arguments>(conversions[next++]) && ...);
}

}  // namespace detail

/// The text of message `M` with its placeholders filled, cut to 299 characters.
template <const Message& M, class... Arguments>
std::string formatted(Arguments... arguments) {
  static_assert(detail::argumentsFit<Arguments...>(M.text),
                "the arguments do not fit the message's placeholders");
  if constexpr (sizeof...(Arguments) == 0) {
    return M.text;
  } else {
    char buffer[300];
    std::snprintf(buffer, sizeof buffer, M.text, arguments...);
    return buffer;
  }
}

/// Throws message `M` as an ErrorIdException.
template <const Message& M, class... Arguments>
[[noreturn]] void fail(Arguments... arguments) {
  throw ErrorIdException(M.identifier, formatted<M>(arguments...));
}

}  // namespace embedded

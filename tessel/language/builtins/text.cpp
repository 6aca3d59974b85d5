// Functions of texts and of cells of texts.
#include <cctype>
#include <functional>

#include "tessel/language/builtins/builtins.h"
#include "tessel/language/builtins/support.h"
#include "tessel/language/regular_expression.h"
#include "tessel/language/text_format.h"
#include "tessel/messages.h"

namespace tessel {
namespace {

bool isText(const HostArray& a) { return a.isText() || (a.isChar() && a.isEmpty()); }

std::string lowered(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

// Comparison

/// Applies `holds` to texts and cells of texts: cells of one size element by element, a text with every
/// element. What is no text is equal to nothing.
template <class Holds>
HostArray comparedTexts(const HostArray& a, const HostArray& b, const Holds& holds) {
  const auto compare = [&](const HostArray& x, const HostArray& y) {
    if (isText(x) && isText(y)) return holds(textArgument("", x), textArgument("", y));
    return x.isChar() && y.isChar() && x.dims() == y.dims() && x.textRows() == y.textRows();
  };
  if (!a.isCell() && !b.isCell()) return HostArray::logical(compare(a, b));
  const bool aSpreads = !a.isCell() || a.isScalar(), bSpreads = !b.isCell() || b.isScalar();
  if (!aSpreads && !bSpreads && a.dims() != b.dims())
    raiseError("Tessel:dimagree", "Matrix dimensions must agree.");
  HostArray result =
      HostArray::zeros(ArrayClass::Logical, a.isCell() && !(aSpreads && b.isCell()) ? a.dims() : b.dims());
  const auto element = [](const HostArray& x, std::size_t k) -> const HostArray& {
    return x.isCell() ? x.cellAt(x.isScalar() ? 0 : k) : x;
  };
  for (std::size_t k = 0; k < result.numel(); ++k)
    result.mutableReal<bool>()[k] = compare(element(a, k), element(b, k));
  return result;
}

template <class Holds>
FunctionInfo comparison(const char* name, Holds holds, const char* help) {
  return {name, [=](Arrays& in, int) { return Arrays{comparedTexts(in[0], in[1], holds)}; }, 2, 2, 1, help};
}

template <class Change>
FunctionInfo prefixComparison(const char* name, Change change, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            const std::size_t length = countArgument(name, in[2]);
            return Arrays{comparedTexts(in[0], in[1], [&](const std::string& x, const std::string& y) {
              return x.size() >= length && y.size() >= length &&
                     change(x.substr(0, length)) == change(y.substr(0, length));
            })};
          },
          3,
          3,
          1,
          help};
}

/// Whether each text of the first argument contains one of the second at some place.
template <class Holds>
FunctionInfo containment(const char* name, Holds holds, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            const std::vector<std::string> texts = textsArgument(name, in[0]),
                                           patterns = textsArgument(name, in[1]);
            HostArray result = HostArray::zeros(ArrayClass::Logical,
                                                in[0].isCell() ? in[0].dims() : Dimensions{texts.size(), 1});
            for (std::size_t k = 0; k < result.numel(); ++k) {
              result.mutableReal<bool>()[k] =
                  std::any_of(patterns.begin(), patterns.end(),
                              [&](const std::string& pattern) { return holds(texts[k], pattern); });
            }
            return Arrays{result};
          },
          2,
          2,
          1,
          help};
}

// Character by character

template <class F>
FunctionInfo characterQuestion(const char* name, F f, const char* help) {
  return {name,
          [=](Arrays& in, int) {
            HostArray result = HostArray::zeros(ArrayClass::Logical, in[0].dims());
            if (!in[0].isChar()) return Arrays{result};
            for (std::size_t k = 0; k < result.numel(); ++k) {
              result.mutableReal<bool>()[k] = f(static_cast<unsigned char>(in[0].real<char>()[k])) != 0;
            }
            return Arrays{result};
          },
          1,
          1,
          1,
          help};
}

/// A change of each text of an argument, which stays a text, a char matrix or a cell.
template <class F>
HostArray changedTexts(const char* name, const HostArray& a, const F& change) {
  if (a.isChar()) {
    if (a.isText() || a.isEmpty()) return HostArray::text(change(textArgument(name, a)));
    std::vector<std::string> rows = a.textRows();
    for (std::string& row : rows) row = change(row);
    return HostArray::charMatrix(rows);
  }
  std::vector<std::string> texts = textsArgument(name, a);
  for (std::string& text : texts) text = change(text);
  return cellOfTexts(texts, a.dims());
}

template <class F>
FunctionInfo change(const char* name, F f, const char* help) {
  return {name, [=](Arrays& in, int) { return Arrays{changedTexts(name, in[0], f)}; }, 1, 1, 1, help};
}

constexpr const char* kBlanks = " \t\n\v\f\r";

std::string withoutTrailing(std::string text) {
  text.erase(text.find_last_not_of(std::string(kBlanks) + '\0') + 1);
  return text;
}

std::string trimmed(const std::string& text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  return first == std::string::npos ? "" : withoutTrailing(text.substr(first));
}

std::string raised(std::string text) {
  for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return text;
}

// Joining and splitting

/// Texts lose blanks at their ends; with a cell among the arguments the result is a cell.
Arrays callStrcat(Arrays& in, int) {
  const auto cell =
      std::find_if(in.begin(), in.end(), [](const HostArray& a) { return a.isCell() && !a.isScalar(); });
  const bool anyCell = std::any_of(in.begin(), in.end(), [](const HostArray& a) { return a.isCell(); });
  const Dimensions dims = cell != in.end() ? cell->dims() : Dimensions{1, 1};
  std::vector<std::string> joined(HostArray::zeros(ArrayClass::Logical, dims).numel());
  for (const HostArray& part : in) {
    const std::vector<std::string> texts =
        part.isCell() ? textsArgument("strcat", part) : std::vector{textArgument("strcat", part)};
    if (texts.size() != 1 && part.dims() != dims)
      raiseError("Tessel:dimagree", "Matrix dimensions must agree.");
    for (std::size_t k = 0; k < joined.size(); ++k) {
      const std::string& text = texts[texts.size() == 1 ? 0 : k];
      joined[k] += anyCell ? text : withoutTrailing(text);
    }
  }
  return {anyCell ? cellOfTexts(joined, dims) : HostArray::text(joined[0])};
}

HostArray rowOfTexts(const std::vector<std::string>& texts) { return cellOfTexts(texts, {1, texts.size()}); }

/// The longest of `delimiters` that stands at position `at`; 0 when there is none.
std::size_t delimiterLength(const std::string& text, std::size_t at,
                            const std::vector<std::string>& delimiters) {
  std::size_t longest = 0;
  for (const std::string& d : delimiters)
    if (text.compare(at, d.size(), d) == 0) longest = std::max(longest, d.size());
  return longest;
}

/// strsplit(text), strsplit(text, delimiters), strsplit(..., 'CollapseDelimiters', flag)
Arrays callStrsplit(Arrays& in, int) {
  bool collapses = true;
  if (in.size() > 2) {
    if (lowered(textArgument("strsplit", in[in.size() - 2])) != "collapsedelimiters")
      raiseInvalidArgument("strsplit", "the option is 'CollapseDelimiters'.");
    collapses = numberArgument("strsplit", in.back()) != 0;
    in.resize(in.size() - 2);
  }
  const std::string text = textArgument("strsplit", in[0]);
  std::vector<std::string> delimiters{" ", "\t", "\n", "\v", "\f", "\r"}, parts{""};
  if (in.size() > 1) {
    delimiters.clear();
    for (const std::string& d : textsArgument("strsplit", in[1])) delimiters.push_back(unescaped(d));
  }
  for (std::size_t at = 0, lastEnd = std::string::npos; at < text.size();) {
    const std::size_t length = delimiterLength(text, at, delimiters);
    if (length == 0) {
      parts.back() += text[at++];
    } else {
      if (!collapses || at != lastEnd) parts.emplace_back();
      lastEnd = at += length;
    }
  }
  return {rowOfTexts(parts)};
}

Arrays callStrjoin(Arrays& in, int) {
  const std::string delimiter = in.size() > 1 ? unescaped(textArgument("strjoin", in[1])) : " ";
  std::string joined;
  const std::vector<std::string> texts = textsArgument("strjoin", in[0]);
  for (std::size_t k = 0; k < texts.size(); ++k) joined += (k > 0 ? delimiter : "") + texts[k];
  return {HostArray::text(joined)};
}

/// [token, rest] = strtok(text, delimiters)
Arrays callStrtok(Arrays& in, int) {
  const std::string text = textArgument("strtok", in[0]);
  const std::string delimiters = in.size() > 1 ? textArgument("strtok", in[1]) : kBlanks;
  const std::size_t first = std::min(text.find_first_not_of(delimiters), text.size());
  const std::size_t end = std::min(text.find_first_of(delimiters, first), text.size());
  return {HostArray::text(text.substr(first, end - first)), HostArray::text(text.substr(end))};
}

Arrays callStrrep(Arrays& in, int) {
  const std::string from = textArgument("strrep", in[1]), to = textArgument("strrep", in[2]);
  return {changedTexts("strrep", in[0], [&](std::string text) {
    for (std::size_t at = 0; !from.empty() && (at = text.find(from, at)) != std::string::npos;
         at += to.size()) {
      text.replace(at, from.size(), to);
    }
    return text;
  })};
}

HostArray places(const std::string& text, const std::string& pattern) {
  std::vector<double> found;
  for (std::size_t at = 0; !pattern.empty() && (at = text.find(pattern, at)) != std::string::npos; ++at) {
    found.push_back(static_cast<double>(at + 1));
  }
  return found.empty() ? HostArray() : doubleRow(found);
}

Arrays callStrfind(Arrays& in, int) {
  const std::string pattern = textArgument("strfind", in[1]);
  if (!in[0].isCell()) return {places(textArgument("strfind", in[0]), pattern)};
  HostArray result = HostArray::cell(in[0].dims());
  const std::vector<std::string> texts = textsArgument("strfind", in[0]);
  for (std::size_t k = 0; k < texts.size(); ++k) result.mutableCellAt(k) = places(texts[k], pattern);
  return {result};
}

// Regular expressions

HostArray tokensOf(const RegularExpression::Match& match, std::string_view text) {
  std::vector<std::string> tokens;
  for (std::size_t k = match.size() > 1 ? 1 : 0; k < match.size(); ++k) tokens.emplace_back(match[k].in(text));
  return rowOfTexts(tokens);
}

/// What `regexp` can return, in the order of its outputs when none is asked for by name.
struct Matches {
  Arrays starts, ends, texts, tokens;
  std::vector<std::string> between;

  Matches(const std::string& text, const RegularExpression& expression) {
    std::size_t last = 0;
    for (const RegularExpression::Match& match : expression.matchesIn(text)) {
      const auto [begin, end] = match[0];
      starts.push_back(HostArray::scalar(static_cast<double>(begin + 1)));
      ends.push_back(HostArray::scalar(static_cast<double>(end)));
      texts.push_back(HostArray::text(match[0].in(text)));
      tokens.push_back(tokensOf(match, text));
      between.push_back(text.substr(last, begin - last));
      last = end;
    }
    between.push_back(text.substr(last));
  }

  /// All of one kind, or the first one alone.
  HostArray get(const char* function, const std::string& kind, bool once) const {
    if (kind == "start") return numbers(starts, once);
    if (kind == "end") return numbers(ends, once);
    if (kind == "match") return cells(texts, once, HostArray::text(""));
    if (kind == "tokens") return cells(tokens, once, HostArray::cell({0, 0}));
    if (kind == "split") return rowOfTexts(between);
    raiseInvalidArgument(function, "there is no option '" + kind + "'.");
  }

 private:
  static HostArray numbers(const Arrays& values, bool once) {
    if (values.empty()) return HostArray();
    return once ? values[0] : callBuiltin("horzcat", values)[0];
  }
  static HostArray cells(const Arrays& values, bool once, const HostArray& nothing) {
    if (once) return values.empty() ? nothing : values[0];
    HostArray cell = HostArray::cell({1, values.size()});
    for (std::size_t k = 0; k < values.size(); ++k) cell.mutableCellAt(k) = values[k];
    return cell;
  }
};

template <bool IgnoresCase>
Arrays callRegexp(Arrays& in, int) {
  const char* name = IgnoresCase ? "regexpi" : "regexp";
  const std::string text = textArgument(name, in[0]);
  std::vector<std::string> kinds;
  bool once = false;
  for (std::size_t k = 2; k < in.size(); ++k) {
    const std::string option = lowered(textArgument(name, in[k]));
    if (option == "once")
      once = true;
    else
      kinds.push_back(option);
  }
  for (const char* kind : {"start", "end", "match", "tokens", "split"})
    if (std::find(kinds.begin(), kinds.end(), kind) == kinds.end()) kinds.emplace_back(kind);
  const Matches matches(text, RegularExpression(name, textArgument(name, in[1]), IgnoresCase));
  Arrays outputs;
  for (const std::string& kind : kinds) outputs.push_back(matches.get(name, kind, once));
  return outputs;
}

/// Tokens are $1 to $9 in the replacement, the whole match is $0.
Arrays callRegexprep(Arrays& in, int) {
  const RegularExpression expression("regexprep", textArgument("regexprep", in[1]), false);
  const std::string replacement = unescaped(textArgument("regexprep", in[2]));
  return {changedTexts("regexprep", in[0],
                       [&](const std::string& text) { return expression.replaced(text, replacement); })};
}

Arrays callBlanks(Arrays& in, int) {
  return {HostArray::text(std::string(countArgument("blanks", in[0]), ' '))};
}

Builtins comparisons() {
  const auto asItIs = [](const std::string& text) { return text; };
  return {
      comparison("strcmp", std::equal_to<>(),
                 "strcmp(a, b): true for equal texts; cells of texts element by element."),
      comparison(
          "strcmpi", [](const std::string& x, const std::string& y) { return lowered(x) == lowered(y); },
          "strcmpi(a, b): as strcmp, without regard to case."),
      prefixComparison("strncmp", asItIs,
                       "strncmp(a, b, n): true for texts whose first n characters are equal."),
      prefixComparison("strncmpi", lowered, "strncmpi(a, b, n): as strncmp, without regard to case."),
      containment(
          "contains", [](const std::string& t, const std::string& p) { return t.find(p) != std::string::npos; },
          "contains(text, pattern): true for texts in which a pattern stands."),
      containment(
          "startsWith", [](const std::string& t, const std::string& p) { return t.starts_with(p); },
          "startsWith(text, pattern): true for texts that start with a pattern."),
      containment(
          "endsWith", [](const std::string& t, const std::string& p) { return t.ends_with(p); },
          "endsWith(text, pattern): true for texts that end with a pattern."),
      characterQuestion(
          "isspace", [](int c) { return std::isspace(c); },
          "isspace(text): true for blanks, tabs and line ends."),
      characterQuestion(
          "isletter", [](int c) { return std::isalpha(c); }, "isletter(text): true for letters."),
      characterQuestion(
          "isdigit", [](int c) { return std::isdigit(c); }, "isdigit(text): true for the digits 0 to 9."),
  };
}

Builtins changes() {
  return {
      change("lower", lowered, "lower(text): small letters."),
      change("upper", raised, "upper(text): capital letters."),
      change("strtrim", trimmed, "strtrim(text): the text without blanks at its ends."),
      change("deblank", withoutTrailing, "deblank(text): the text without blanks at its end."),
      {"strcat", callStrcat, 1, -1, 1,
       "strcat(a, b, ...): texts one after the other; cells of texts element by element."},
      {"strsplit", callStrsplit, 1, 4, 1,
       "strsplit(text), strsplit(text, delimiters), strsplit(..., 'CollapseDelimiters', flag): the parts of a "
       "text."},
      {"strjoin", callStrjoin, 1, 2, 1,
       "strjoin(texts), strjoin(texts, delimiter): one text from the texts of a cell."},
      {"strtok", callStrtok, 1, 2, 2,
       "[token, rest] = strtok(text), strtok(text, delimiters): the first word of a text."},
      {"strrep", callStrrep, 3, 3, 1, "strrep(text, from, to): the text with every `from` replaced."},
      {"strfind", callStrfind, 2, 2, 1, "strfind(text, pattern): where a pattern starts."},
      {"regexp", callRegexp<false>, 2, -1, 5,
       "[start, end, match, tokens, split] = regexp(text, expression, option, ...): matches of a regular "
       "expression.\n"
       "Options choose what comes first: 'match', 'tokens', 'start', 'end', 'split'; 'once' returns the first "
       "match alone."},
      {"regexpi", callRegexp<true>, 2, -1, 5,
       "regexpi(text, expression, option, ...): as regexp, without regard to case."},
      {"regexprep", callRegexprep, 3, 3, 1,
       "regexprep(text, expression, replacement): matches replaced; $1 is the first token."},
      {"blanks", callBlanks, 1, 1, 1, "blanks(n): n blanks."},
  };
}

}  // namespace

void registerTextBuiltins() {
  for (auto family : {comparisons, changes}) registerAll(family());
}

}  // namespace tessel

/// Files of variables in which a byte is another one, or the end is missing.
#include <gtest/gtest.h>

#include <cstring>

#include "tessel/language/interpreter.h"
#include "tessel/language/storage.h"
#include "tessel/messages.h"
#include "tessel/objects.h"
#include "tessel/registries.h"

namespace tessel {
namespace {

constexpr std::size_t kHeader = 16;  // the mark and the checksum of what follows

std::string withChecksum(std::string file) {
  std::uint64_t sum = 0xcbf29ce484222325;
  for (const unsigned char byte : file.substr(kHeader)) sum = (sum ^ byte) * 0x100000001b3;
  std::memcpy(&file[kHeader / 2], &sum, sizeof sum);
  return file;
}

/// Whether a file gives variables; else it raises an error of the host, and nothing else.
bool givesVariables(const std::string& content) {
  try {
    restoredVariables(content, "test");
    return true;
  } catch (const HostError&) {
    return false;
  }
}

TEST(Storage, DamagedFilesGiveVariablesOrErrors) {
  Interpreter interpreter;
  interpreter.run(interpreter.load(
      "k = 3; v = {1, [1+2i 2], 'ab', true, int8([1 -2]), {}, {[]}, struct('a', {1, 2}), struct(), "
      "@sin, @(x) x + k, zeros(0, 3), single(2)};",
      "test"));
  const std::vector<NamedArray> variables{{"v", interpreter.findVariable("v")->toArray()}, {"w", HostArray()}};
  const std::string whole = storedVariables(variables);
  EXPECT_EQ(storedVariables(restoredVariables(whole, "test")), whole);
  EXPECT_EQ(withChecksum(whole), whole);
  std::size_t given = 0, refused = 0;
  for (std::size_t k = 0; k < whole.size(); ++k) {
    EXPECT_FALSE(givesVariables(whole.substr(0, k)));
    ++(givesVariables(withChecksum(whole.substr(0, std::max(k, kHeader)))) ? given : refused);
    for (const unsigned value : {0U, 1U, 2U, 10U, 13U, 14U, 15U, 16U, 40U, 127U, 255U}) {
      std::string damaged = whole;
      damaged[k] = static_cast<char>(value);
      EXPECT_TRUE(damaged == whole || !givesVariables(damaged));
      ++(givesVariables(k < kHeader ? damaged : withChecksum(damaged)) ? given : refused);
    }
  }
  EXPECT_GT(given, whole.size());
  EXPECT_GT(refused, whole.size());
}

TEST(Storage, RefusesDeepValuesAndClassesThatKeepNothing) {
  const auto word = [](std::uint64_t number) {
    return std::string(reinterpret_cast<const char*>(&number), sizeof number);
  };
  const std::string header = storedVariables({}), sizes = word(2) + word(1) + word(1);
  std::string deep = header + word(1) + "v";
  for (int k = 0; k < 600; ++k) deep += static_cast<char>(ArrayClass::Cell) + sizes;
  EXPECT_THROW(restoredVariables(withChecksum(deep + static_cast<char>(ArrayClass::Double) + word(2) + word(0) +
                                              word(0) + '\0'),
                                 "test"),
               HostError);
  getPackage("testing").createClass("transient");
  const std::string object =
      word(1) + "v" + static_cast<char>(ArrayClass::Object) + sizes + word(17) + "testing.transient";
  try {
    restoredVariables(withChecksum(header + object), "test");
    ADD_FAILURE();
  } catch (const HostError& error) {
    EXPECT_EQ(error.identifier(), "Tessel:noSuchClass");
  }
}

}  // namespace
}  // namespace tessel

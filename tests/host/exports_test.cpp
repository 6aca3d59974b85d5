// What the module's library exports with C linkage.
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>
#include <set>
#include <sstream>
#include <string>

#include "qfcore/host/module.h"

namespace {

std::string outputOf(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::string output;
  std::array<char, 4096> buffer;
  while (std::fgets(buffer.data(), buffer.size(), pipe.get())) output += buffer.data();
  return output;
}

TEST(Exports, AreTheEntryPointsAlone) {
  std::istringstream symbols(outputOf("nm --dynamic --defined-only '" QFCORE_LIBRARY "'"));
  std::set<std::string> names;
  for (std::string address, kind, name; symbols >> address >> kind >> name;) {
    // "_Z": C++; "__": what a sanitizer adds.
    if (!name.starts_with("_Z") && !name.starts_with("__")) names.insert(name);
  }
  EXPECT_EQ(names, (std::set<std::string>{"TesselInitialize_qfcore", "TesselTerminate_qfcore",
                                          "QueryTesselFcns_qfcore", "QueryTesselFcnTable_qfcore",
                                          "TesselVersion_qfcore", "TesselBuildDate_qfcore"}));
}

TEST(Exports, TellOfNoFunctionsAndOfTheBuild) {
  EXPECT_EQ(QueryTesselFcnTable_qfcore()->functions, QueryTesselFcns_qfcore());
  EXPECT_EQ(QueryTesselFcns_qfcore()[0].name, nullptr);
  EXPECT_GT(std::string(TesselBuildDate_qfcore()).size(), std::string(TesselVersion_qfcore()).size());
}

}  // namespace

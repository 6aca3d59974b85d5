/// What the tests of the host classes share: the registered module, objects of each class, values as texts.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "qfcore/host/module.h"
#include "tessel/messages.h"
#include "tessel/objects.h"
#include "tessel/registries.h"

namespace host_tests {

using tessel::ArrayClass;
using tessel::Arrays;
using tessel::HostArray;
using tessel::HostClass;

/// Registers the module once, with a language that evaluates numbers.
void startModule();
/// The functions that this language says are running.
std::vector<std::string>& hostStack();

class HostTest : public testing::Test {
 protected:
  static void SetUpTestSuite() { startModule(); }
};

HostArray row(const std::vector<double>& values);

const HostClass& classNamed(const std::string& name);
/// All classes of the package that have instances.
std::vector<const HostClass*> concreteClasses();
/// A fresh object of the class, with some content where it has any.
HostArray freshObject(const HostClass& hostClass);

/// A value as a text in which equal contents read the same: numbers whatever their class, objects by their
/// properties.
std::string textOf(const HostArray& value);
/// All properties of an object, hidden ones too; where reading fails, the error's identifier.
std::map<std::string, std::string> stateOf(const HostArray& object);

/// The identifier of the error that `action` raises; "" for none.
template <class Action>
std::string errorOf(Action&& action) {
  try {
    action();
  } catch (const tessel::HostError& error) {
    return error.identifier();
  }
  return "";
}

}  // namespace host_tests

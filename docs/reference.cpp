// Writes the reference pages from the tables that language and module register: functions by theme, a page a
// class, and the values of enumerations. reference FOLDER; fails where a function or a method has no example.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tessel/interpreter.h"
#include "tessel/language/interpreter.h"
#include "tessel/messages.h"
#include "tessel/module.h"
#include "tessel/objects.h"
#include "tessel/registries.h"

namespace {

using tessel::HostClass, tessel::MethodInfo, tessel::PropertyInfo;

/// A text that is no markup.
std::string escaped(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '|' || c == '*' || c == '_' || c == '[' || c == '<') result += '\\';
    result += c == '\n' ? ' ' : c;
  }
  return result;
}

std::string code(const std::string& text) { return "`" + text + "`"; }

/// A file name, or the place of a heading, for a title.
std::string slug(const std::string& title) {
  std::string result;
  for (const char c : title)
    if (c != ',') result += c == ' ' ? '_' : static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return result;
}

std::string link(const std::string& title) { return "[" + title + "](" + slug(title) + ".md)"; }

std::string anchor(std::string name) {
  name = slug(name);
  std::replace(name.begin(), name.end(), '_', '-');
  return name;
}

std::set<std::string> withoutExample;

/// A heading with the forms of a call and what they do, and an example whose output the tests know.
std::string entry(const std::string& name, const std::string& help, const char* example) {
  const std::size_t colon = help.find(": ");
  std::string text = "\n### " + name + "\n\n";
  if (colon == std::string::npos)
    text += escaped(help);
  else
    text += code(help.substr(0, colon)) + ": " + escaped(help.substr(colon + 2));
  if (example == nullptr) {
    withoutExample.insert(name);
    return text + "\n";
  }
  return text + "\n\n```tessel\n" + example + "\n```\n";
}

std::string constructorsOf(const HostClass& hostClass) {
  std::string forms;
  for (const tessel::ConstructorSignature& signature : hostClass.constructors()) {
    std::string arguments;
    for (const std::string& type : signature) arguments += (arguments.empty() ? "" : ", ") + type;
    forms += "- " + code(hostClass.qualifiedName() + "(" + arguments + ")") + "\n";
  }
  return forms.empty() ? "It has no instances of its own.\n" : forms;
}

std::string typeOf(const PropertyInfo& property) {
  if (tessel::findEnumeratedType(property.type) == nullptr) return property.type;
  return "[" + property.type + "](enumerations.md#" + anchor(property.type) + ")";
}

std::string propertiesOf(const HostClass& hostClass) {
  std::string table = "| name | type | set | meaning |\n| --- | --- | --- | --- |\n";
  for (const PropertyInfo* property : hostClass.properties()) {
    if (property->hidden) continue;
    table += "| " + code(property->name) + " | " + typeOf(*property) + " | " + (property->set ? "yes" : "no") +
             " | " + escaped(property->help) + " |\n";
  }
  return table;
}

/// The methods that have their example in this class, by theme; those of the superclass stand on its page.
std::string methodsOf(const HostClass& hostClass) {
  std::string text;
  std::set<std::string> told;
  const std::string prefix = hostClass.name() + ".";
  for (const tessel::Theme& theme : tessel::themes()) {
    std::string entries;
    for (const tessel::Example& example : theme.examples) {
      const std::string name = example.name;
      if (!name.starts_with(prefix)) continue;
      const MethodInfo* method = hostClass.findMethod(name.substr(prefix.size()));
      if (method == nullptr) tessel::raiseError("", "There is no method " + name + ".");
      entries += entry(method->function.name, method->function.help, example.code);
      told.insert(method->function.name);
    }
    if (!entries.empty()) text += "\n## " + std::string(theme.title) + "\n" + entries;
  }
  for (const MethodInfo* method : hostClass.methods()) {
    const std::string& name = method->function.name;
    if (!method->hidden && !told.contains(name) && hostClass.findExample(name) == nullptr)
      text += entry(name, method->function.help, nullptr);
  }
  return text;
}

std::string pageOf(const HostClass& hostClass) {
  std::string page = "# " + hostClass.qualifiedName() + "\n\n" + hostClass.help() + "\n";
  if (const char* example = tessel::findExample(hostClass.qualifiedName()))
    page += "\n```tessel\n" + std::string(example) + "\n```\n\n";
  else if (tessel::findExample(hostClass.name()) == nullptr)
    withoutExample.insert(hostClass.qualifiedName());
  if (hostClass.superclass()) {
    const std::string& name = hostClass.superclass()->name();
    page += "Superclass: [" + name + "](" + name + ".md), whose methods this class has as well.\n";
  }
  return page + "\n## Constructors\n\n" + constructorsOf(hostClass) + "\n## Properties\n\n" +
         propertiesOf(hostClass) + methodsOf(hostClass);
}

/// The functions of a theme; empty for themes of methods.
std::string pageOf(const tessel::Theme& theme) {
  std::string entries;
  for (const tessel::Example& example : theme.examples) {
    if (const tessel::FunctionInfo* function = tessel::findFunction(example.name))
      entries += entry(example.name, function->help, example.code);
  }
  return entries.empty() ? "" : "# " + std::string(theme.title) + "\n" + entries;
}

std::string enumerationsOf(const tessel::Package& package) {
  std::string page =
      "# Enumerations\n\nValues are texts; case does not count. A property names those of its type when it is "
      "given another. What "
      "they do is told in [types](../manual/types.md), [rounding](../manual/rounding.md) and "
      "[growth](../manual/growth.md).\n";
  std::vector<const tessel::EnumeratedType*> types;
  std::map<const tessel::EnumeratedType*, std::set<std::string>> propertiesOfType;
  for (const HostClass* hostClass : package.classes()) {
    for (const PropertyInfo* property : hostClass->properties()) {
      const tessel::EnumeratedType* type = tessel::findEnumeratedType(property->type);
      if (type == nullptr || property->hidden) continue;
      if (!propertiesOfType.contains(type)) types.push_back(type);
      propertiesOfType[type].insert(code(property->name));
    }
  }
  for (const tessel::EnumeratedType* type : types) {
    page += "\n## " + type->name + "\n\nOf";
    for (const std::string& name : propertiesOfType[type]) page += " " + name;
    page += ".\n\n";
    for (const auto& [text, value] : type->values) page += "- " + code("'" + text + "'") + "\n";
  }
  return page;
}

void write(const std::filesystem::path& file, const std::string& text) {
  std::ofstream out(file);
  out << text;
  if (!out.flush()) tessel::raiseError("Tessel:fileNotWritten", "Cannot write '" + file.string() + "'.");
}

void writePages(const std::filesystem::path& folder) {
  tessel::Interpreter interpreter;
  tessel::loadModule("qfcore");
  std::filesystem::create_directories(folder);
  std::string index =
      "# Reference\n\nWritten by `make docs` from the tables that language and module register. `help NAME` "
      "shows the same.\n\n"
      "| functions | |\n| --- | --- |\n";
  for (const tessel::Theme& theme : tessel::themes()) {
    const std::string page = pageOf(theme);
    if (page.empty()) continue;
    write(folder / (slug(theme.title) + ".md"), page);
    std::string names;
    for (const tessel::Example& example : theme.examples)
      if (tessel::findFunction(example.name)) names += (names.empty() ? "" : " ") + code(example.name);
    index += "| " + link(theme.title) + " | " + names + " |\n";
  }
  index += "\n| class | what it is |\n| --- | --- |\n";
  const tessel::Package& package = tessel::getPackage("embedded");
  for (const HostClass* hostClass : package.classes()) {
    const std::string page = hostClass->name() + ".md";
    write(folder / page, pageOf(*hostClass));
    index += "| [" + hostClass->qualifiedName() + "](" + page + ") | " + escaped(hostClass->help()) + " |\n";
  }
  write(folder / "enumerations.md", enumerationsOf(package));
  write(folder / "index.md", index + "\nThe values of properties: [enumerations](enumerations.md).\n");
  for (const std::string& name : tessel::functionNames())
    if (tessel::findExample(name) == nullptr) withoutExample.insert(name);
}

}  // namespace

int main(int argumentCount, char** arguments) {
  if (argumentCount != 2) {
    std::fputs("usage: reference FOLDER\n", stderr);
    return 2;
  }
  try {
    writePages(arguments[1]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "reference: %s\n", error.what());
    return 1;
  }
  for (const std::string& name : withoutExample)
    std::fprintf(stderr,
                 "reference: '%s' has no example; tessel/language/builtins/examples.cpp and "
                 "qfcore/host/examples.cpp have those of the others.\n",
                 name.c_str());
  return withoutExample.empty() ? 0 : 1;
}

// Writes the reference pages, one a class of the module and one for its functions, from the tables that the
// module registers: reference FOLDER
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

#include "tessel/interpreter.h"
#include "tessel/messages.h"
#include "tessel/module.h"
#include "tessel/objects.h"

namespace {

/// A text in a cell of a table.
std::string cell(const std::string& text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '|') escaped += '\\';
    escaped += c == '\n' ? ' ' : c;
  }
  return escaped;
}

std::string code(const std::string& text) { return "`" + text + "`"; }

std::string constructorsOf(const tessel::HostClass& hostClass) {
  std::string forms;
  for (const tessel::ConstructorSignature& signature : hostClass.constructors()) {
    std::string arguments;
    for (const std::string& type : signature) arguments += (arguments.empty() ? "" : ", ") + type;
    forms += "- " + code(hostClass.qualifiedName() + "(" + arguments + ")") + "\n";
  }
  return forms.empty() ? "It has no instances of its own.\n" : forms;
}

std::string pageOf(const tessel::HostClass& hostClass) {
  std::string page = "# " + hostClass.qualifiedName() + "\n\n" + hostClass.help() + "\n";
  if (hostClass.superclass()) {
    const std::string& name = hostClass.superclass()->name();
    page +=
        "Superclass: [" + name + "](" + name + ".md), whose properties and methods are listed here as well.\n";
  }
  page += "\n## Constructors\n\n" + constructorsOf(hostClass);
  page += "\n## Properties\n\n| name | type | set | meaning |\n| --- | --- | --- | --- |\n";
  for (const tessel::PropertyInfo* property : hostClass.properties()) {
    if (property->hidden) continue;
    page += "| " + code(property->name) + " | " + property->type + " | " + (property->set ? "yes" : "no") +
            " | " + cell(property->help) + " |\n";
  }
  page += "\n## Methods\n\n| name | meaning |\n| --- | --- |\n";
  for (const tessel::MethodInfo* method : hostClass.methods()) {
    if (!method->hidden)
      page += "| " + code(method->function.name) + " | " + cell(method->function.help) + " |\n";
  }
  return page;
}

void write(const std::filesystem::path& file, const std::string& text) {
  std::ofstream out(file);
  out << text;
  if (!out.flush()) tessel::raiseError("Tessel:fileNotWritten", "Cannot write '" + file.string() + "'.");
}

void writePages(const std::filesystem::path& folder) {
  const std::vector<std::string> names = tessel::functionNames();
  const std::set<std::string> own(names.begin(), names.end());
  tessel::loadModule("qfcore");
  std::filesystem::create_directories(folder);
  std::string index =
      "# Reference\n\nWritten by `make docs` from the tables that the module registers.\n\n"
      "| class | what it is |\n| --- | --- |\n";
  for (const tessel::HostClass* hostClass : tessel::getPackage("embedded").classes()) {
    const std::string page = hostClass->name() + ".md";
    write(folder / page, pageOf(*hostClass));
    index += "| [" + hostClass->qualifiedName() + "](" + page + ") | " + cell(hostClass->help()) + " |\n";
  }
  index += "\n| function | forms |\n| --- | --- |\n";
  for (const std::string& name : tessel::functionNames()) {
    if (!own.contains(name))
      index += "| " + code(name) + " | " + cell(tessel::findFunction(name)->help) + " |\n";
  }
  write(folder / "index.md", index);
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
}

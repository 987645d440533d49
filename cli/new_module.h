// zepl new-module: a folder with a module of one's own to begin with.
#pragma once

#include <map>
#include <string>

namespace cli {

// Makes the folder `name` in the working folder, with the module of that name, its test and a procedure. A name that C++ and
// CMake cannot take, or a folder that is there already, is a Problem.
int newModule(const std::string& name);

// The files of the folder, by name, with @NAME@ and @COMMAND@ in place of the names; made from cli/module_template.
const std::map<std::string, std::string>& moduleTemplate();

}  // namespace cli

// zepl lsp: a language server for editors, over standard input and output.
#pragma once

#include "cli/modules.h"

namespace cli {

struct LspArguments {
    ModuleArguments modules;
    bool words = false;  // prints the words of the language instead
    bool stdio = true;   // what some editors ask for, and all get
};

int serveEditor(const LspArguments& arguments);

}  // namespace cli

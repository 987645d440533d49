// scalar_host MODULE PROCEDURE [without]: runs a procedure as the tool does; with the last word, on a host that has none of the
// operations that a host need not have, whose names it prints as the module looks them up.

#include <dlfcn.h>

#include <cstdio>
#include <filesystem>
#include <string_view>

#include "host/modules.h"
#include "runtime/binder.h"
#include "runtime/files.h"

namespace {

bool isScalar = false;

int run(const std::string& module, const std::filesystem::path& path) {
    using namespace libzepl;
    CommandLibrary library;
    library.load(module);
    std::vector<Diagnostic> diagnostics;
    const Procedure procedure = parseProcedure({path, readTextFile(path)}, diagnostics);
    const BoundProcedure bound = bindProcedure(procedure, library, {}, diagnostics);
    if (!diagnostics.empty()) std::fputs(render(diagnostics, procedure.source).c_str(), stderr);
    return bound.session != nullptr && bound.session->run().status == Report::Status::ok ? 0 : 1;
}

}  // namespace

namespace zepl {

// Stands before the library's own, which the loader knows by its name in the object file.
void* ModuleProcAddressGet(ModuleHandle module, const char* name) {
    const std::string_view operation = name;
    if (isScalar && (operation.ends_with("_array") || operation.starts_with("turns_"))) {
        std::puts(name);
        return nullptr;
    }
    using Operation = void*(ModuleHandle, const char*);
    return reinterpret_cast<Operation*>(::dlsym(RTLD_NEXT, "_ZN4zepl20ModuleProcAddressGetENS_12ModuleHandleEPKc"))(
        module, name);
}

}  // namespace zepl

int main(int count, char** arguments) {
    isScalar = count == 4;
    return count < 3 ? 2 : run(arguments[1], arguments[2]);
}

#include "runtime/base/late_library.h"

#include <dlfcn.h>

#include <string>

#include "runtime/diagnostics.h"

namespace libzepl {

void* LateLibrary::address(const char* name) const {
    const std::string library = std::string(what_) + ", " + file_;
    void* const handle = ::dlopen(file_, RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr)
        throw Problem(library + ", cannot be loaded", std::string("install it: apt install ") + package_);
    if (void* const found = ::dlsym(handle, name)) return found;
    throw Problem(library + ", has no " + quoted(name), std::string("update it: apt install ") + package_);
}

}  // namespace libzepl

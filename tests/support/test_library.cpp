// What tests load or call, by the places where the build puts it: known here, so that the other files of the tests are
// compiled alike wherever the tree stands.

#include "tests/support/session_support.h"

namespace libzepl {

const CommandLibrary& testLibrary() {
    static CommandLibrary library;
    if (library.modules().empty()) {
        library.load(TEST_MODULE_FILE);
        library.load(TEST_PROBE_FILE);
    }
    return library;
}

}  // namespace libzepl

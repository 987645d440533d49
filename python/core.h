// What the parts of the extension module share. Everything that Python code can say better is in zepl/*.py.
#pragma once

#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <csignal>
#include <memory>
#include <string>
#include <vector>

#include "runtime/binder.h"
#include "runtime/commands.h"
#include "runtime/stop_request.h"

namespace python {

namespace py = pybind11;
using namespace libzepl;

// The modules that were loaded. Sessions refer to it, so that it lasts as long as the process.
struct Library {
    CommandLibrary commands;
    std::shared_ptr<const CautionTable> cautions;
};
Library& library();

// While it lasts, a Ctrl-C also ends the run: on the main thread, to which Python's handlers belong, and where the program has
// a handler. An ignored SIGINT stays ignored, and one with the default action ends the process. Once it is over, check() lets
// the handlers run, and throws what they raise.
class Interruption {
 public:
    Interruption(std::shared_ptr<StopRequest> stop, bool isMainThread);
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;
    ~Interruption();
    static void check();

 private:
    std::shared_ptr<StopRequest> stop_;
    bool hasHandler_ = false;
    struct sigaction before_ {};
};

py::dtype dtypeOf(ElementType type);
ElementType elementTypeOf(const py::dtype& dtype);  // one of the four
ElementType elementTypeFrom(const std::string& name);
// An array on the bytes, which `owner` keeps; of two dimensions where a frame has several elements.
py::array arrayOn(std::span<const std::byte> bytes, ElementType type, std::size_t channels, const py::object& owner);
// The array's elements, one of the four types, steps of whole elements.
MemorySamples samplesOf(const py::array& array);
Number numberOf(const py::handle& value);
py::list listOf(const std::vector<Diagnostic>& diagnostics);
// The text of a message or a remedy with the package's options in place of the tool's: "raise memory=" for "raise --memory".
std::string inPython(const std::string& text);

void defineRuns(py::module_& module);
void defineCalls(py::module_& module);
void defineLive(py::module_& module);

}  // namespace python

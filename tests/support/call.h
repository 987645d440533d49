// Calls of commands, written as the procedure language writes a command's line:
//
//     OFFSET (in, 5:int32, out:int16)
//
// with a declaration where an argument first occurs: `out:int16` is a new pipe, `trigger beat` a trigger,
// `variable gain:int32 = 7` a variable (0 where it says nothing), `[1, -2]:float` a vector. A name can be left out:
// `int16`, `trigger`, `variable:int32`. `in` is what the session has under that name. Numbers, texts and words are the
// language's own; a number takes the type that it takes where no signature asks for another: `5` int16 or, where that
// does not hold it, int32; `0.5` double; `5:float` what it says.
#pragma once

#include "runtime/procedure.h"
#include "tests/support/session_support.h"

namespace libzepl {

// The declarations and the command of a call. A call that cannot be read throws what the language says of it.
Procedure parseCall(const std::string& call);

// The arguments of a list as they are written: "int16, [1, 2]:float" are two.
std::vector<std::string> argumentsIn(const std::string& list);

// Adds what the call declares, and its task. Returns the names of the pipes that it names.
std::vector<std::string> addCall(TestSession& session, const std::string& call, int line = 0);

// A number of a C++ type, and arguments in a row, in a call's words: list("in", std::int32_t{5}) is "(in, 5:int32)".
std::string written(const std::string& argument);
std::string written(std::int16_t number);
std::string written(std::int32_t number);
std::string written(float number);
std::string written(double number);
template <class... Arguments>
std::string list(const Arguments&... arguments) {
    std::string text;
    ((text += (text.empty() ? "(" : ", ") + written(arguments)), ...);
    return text + ")";
}
// ", word, word": so many more arguments.
std::string more(std::size_t times, const std::string& argument);

// "out:int16" of the test's type.
template <class Element>
std::string typed(const std::string& name) {
    return name + ":" + std::string(nameOf(elementTypeOf<Element>()));
}

// What a pipe gives, or what a vector holds where the name says so: Input("[taps]", ...).
struct Input {
    template <class Element>
    Input(std::string itsName, const std::vector<Element>& elements)
        : name(std::move(itsName)), type(elementTypeOf<Element>()), bytes(bytesOf(elements)) {}
    std::string name;
    ElementType type;
    std::vector<std::byte> bytes;
};

// A call that is run to its end on its inputs, in a session of its own. The pipes that it names are collected.
class Call : public TestSession {
 public:
    explicit Call(const std::string& call, const std::vector<Input>& inputs = {}, SessionOptions options = {},
                  std::optional<std::uint64_t> limit = {});

    template <class Element>
    std::vector<Element> taken(const std::string& name = "out") const {
        return collected<Element>(pipeNamed(name));
    }

    Report report;
    std::string state;  // of its task, as statesOf gives it

 private:
    std::vector<Input> inputs_;
};

// What the call writes to `out`, which it need not declare, where `in` gives the source. It must not fail.
template <class Element, class Source>
std::vector<Element> resultOf(const std::string& call, const std::vector<Source>& source, SessionOptions options = {}) {
    TestSession session(std::move(options));
    session.input("in", source);
    const PipeId out = session.output("out", {}, elementTypeOf<Element>());
    addCall(session, call);
    const Report report = session.run();
    EXPECT_EQ(report.status, Report::Status::ok) << statesOf(report)[0] << " is " << call;
    return session.collected<Element>(out);
}

// The first `n` elements that the call writes to `out`, which it need not declare.
template <class Element>
std::vector<Element> generated(const std::string& call, std::size_t n, SessionOptions options = {}) {
    TestSession session(std::move(options));
    const PipeId out = session.output("out", n, elementTypeOf<Element>());
    addCall(session, call);
    const Report report = session.run();
    EXPECT_EQ(report.status, Report::Status::ok) << statesOf(report)[0] << " is " << call;
    return session.collected<Element>(out);
}

// Each call sets itself up, or ends in its set-up with the error at the position; code 0 is what the masks refuse.
void expectReady(const std::vector<std::string>& calls);
void expectRefused(const std::vector<std::string>& calls, int code, int position);

}  // namespace libzepl

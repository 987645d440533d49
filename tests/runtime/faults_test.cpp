// A task that fails ends alone: the others go on, and the outputs are finished.

#include <thread>

#include "tests/support/session_support.h"

namespace libzepl {
namespace {

struct FaultCase {
    const char* command;
    const char* steps;  // of SCRIPT
    const char* outcome;
};

void expectAlone(const FaultCase& fault) {
    TestSession session;
    const PipeId source = session.input("source", countUp(20000)), copy = session.pipe("copy");
    SinkLog log;
    session.setOutput(copy, std::make_unique<LogSink>(log));
    if (std::string_view(fault.command) == "SCRIPT")
        session.script(fault.steps, source, session.addTrigger("beat"));
    else
        session.task(fault.command);
    session.task("ABS", source, copy);
    const Report report = session.run();
    EXPECT_EQ(statesOf(report)[0] + ": " + report.tasks[0].text, fault.outcome);
    EXPECT_EQ(report.tasks[1].state, State::waiting);
    EXPECT_EQ(report.status, Report::Status::failed);
    EXPECT_EQ(log.elements, countUp(20000)) << fault.outcome;
    EXPECT_EQ(log.finished, 1) << fault.outcome;
}

TEST(Faults, EndTheTaskAlone) {
    const FaultCase cases[] = {
        {"SCRIPT", "raise:0xC0000094", "fault code 3221225620: integer division by zero"},
        {"SCRIPT", "read:2 get:2 raise:0xC0000095",
         "fault code 3221225621: the quotient of an integer division is out of range"},
        {"UNKNOWNHANDLE", "", "fault: the command uses the host wrongly: pipe handle 77777 was never given"},
        {"SCRIPT", "get:2",
         "fault: the command uses the host wrongly: reads `source`, which it has not opened for that"},
        {"SCRIPT", "read:2 put:2,1",
         "fault: the command uses the host wrongly: writes `source`, which it has not opened for that"},
        {"SCRIPT", "read:2 write:2",
         "fault: the command uses the host wrongly: opens `source` for reading and for writing"},
        {"SCRIPT", "block:2,4", "fault: the command uses the host wrongly: opens a pbuf on `source` before the pipe"},
        {"SCRIPT", "fetch:2", "fault: the command uses the host wrongly: pbuf handle 0 was never given"},
        {"SCRIPT", "read:2 block:2,0 most:2,9 fetch:2",
         "fault: the command uses the host wrongly: gets a block of `source` with no data area"},
        {"SCRIPT", "event:3",
         "fault: the command uses the host wrongly: reads `beat`, which it has not opened for that"},
        {"SCRIPT", "read:3 assert:3,1",
         "fault: the command uses the host wrongly: writes `beat`, which it has not opened for that"},
        {"SCRIPT", "length:2", "fault: the command uses the host wrongly: vector handle 1 was never given"},
        {"SCRIPT", "kind:9", "fault: the command uses the host wrongly: asks for the kind of parameter 9 of 3"},
        {"SCRIPT", "exit:8", "exited exit 8: ended itself with code 8"},
        {"SCRIPT", "read:2 100( get:2 ) exit:0", "exited exit 0: ended itself with code 0"},
        {"SCRIPT", "!switch switch switch task", "exited exit 1: its routine returned 1"},
        {"SCRIPT", "malloc:10 free:$ free:16",
         "fault: the command uses the host wrongly: frees what it has not allocated"},
    };
    for (const FaultCase& fault : cases) expectAlone(fault);
}

TEST(Faults, TheProcessorsDivideFaultEndsTheTaskAlone) {
#if !defined(__x86_64__)
    GTEST_SKIP() << "this processor has no divide fault";
#endif
    expectAlone({"DIVIDE", "", "fault code 3221225620: integer division by zero"});
}

TEST(Faults, AUsedUpStackEndsTheTaskAlone) { expectAlone({"OVERFLOW", "", "fault: its stack is used up"}); }

TEST(Faults, OfSeveralTasksAreCaughtInEverySessionThatRuns) {
    const Lines expected{"fault", "fault code 3221225620", "fault", "fault code 3221225621"};
    const auto failAgainAndAgain = [&expected] {
        for (int i = 0; i < 50; ++i) {
            TestSession session;
            session.task("OVERFLOW");
            session.script("raise:0xC0000094");
            session.task("OVERFLOW");
            session.script("3( switch ) raise:0xC0000095");
            ASSERT_EQ(statesOf(session.run()), expected);
        }
    };
    testLibrary();
    std::thread thread(failAgainAndAgain);
    failAgainAndAgain();
    thread.join();
}

}  // namespace
}  // namespace libzepl

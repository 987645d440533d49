// A task that fails ends alone: the others go on, and the outputs are finished.

#include <csignal>
#include <thread>

#include "runtime/live.h"
#include "tests/support/session_support.h"

namespace libzepl {
namespace {

// `task` is the name of a command, or the steps of a script.
void expectAlone(const std::string& task, const std::string& outcome) {
    TestSession session;
    const PipeId source = session.input("source", countUp(20000)), copy = session.pipe("copy");
    SinkLog log;
    session.setOutput(copy, std::make_unique<LogSink>(log));
    if (testLibrary().find(task) != nullptr)
        session.task(task);
    else
        session.script(task, source, session.addTrigger("beat"));
    session.task("ABS", source, copy);
    const Report report = session.run();
    EXPECT_EQ(statesOf(report)[0] + ": " + report.tasks[0].text, outcome);
    EXPECT_EQ(report.tasks[1].state, State::waiting);
    EXPECT_EQ(report.status, Report::Status::failed);
    EXPECT_EQ(log.elements, countUp(20000)) << outcome;
    EXPECT_EQ(log.finished, 1) << outcome;
}

TEST(Faults, EndTheTaskAlone) {
    expectAlone("RaiseException:0xC0000094", "fault code 3221225620: integer division by zero");
    expectAlone("open_read:2 pipe_get:2 RaiseException:0xC0000095",
                "fault code 3221225621: the quotient of an integer division is out of range");
    expectAlone("exit:8", "exited exit 8: ended itself with code 8");
    expectAlone("open_read:2 100( pipe_get:2 ) exit:0", "exited exit 0: ended itself with code 0");
    expectAlone("!task_switch task_switch task_switch sys_get_task_ID", "exited exit 1: its routine returned 1");
    expectAlone("OVERFLOW", "fault: its stack is used up");
    expectAlone("throw:0", "fault: an exception left the command: `no more\\x0Aof this`");
    expectAlone("open_read:2 pipe_get:2 thrownumber:4", "fault: an exception left the command");
    expectAlone("leave:0", "fault: called exit(0), which would end the whole program");
    expectAlone("open_read:2 100( pipe_get:2 ) leavequickly:3",
                "fault: called quick_exit(3), which would end the whole program");
#if defined(__x86_64__)  // other processors divide by zero in silence
    expectAlone("DIVIDE", "fault code 3221225620: integer division by zero");
#endif
}

TEST(Faults, MisuseOfTheHostEndsTheTaskAlone) {
    const std::pair<const char*, const char*> cases[] = {
        {"UNKNOWNHANDLE", "pipe handle 77777 was never given"},
        {"pipe_get:2", "reads `source`, which it has not opened for that"},
        {"open_read:2 pipe_put:2,1", "writes `source`, which it has not opened for that"},
        {"open_read:2 open_write:2", "opens `source` for reading and for writing"},
        {"pbuf_open:2,4", "opens a pbuf on `source` before the pipe"},
        {"pbuf_get:2", "pbuf handle 0 was never given"},
        {"open_read:2 pbuf_open:2,0 pbuf_set_max_cnt:2,9 pbuf_get:2", "gets a block of `source` with no data area"},
        {"trigger_get:3", "reads `beat`, which it has not opened for that"},
        {"open_read:3 trigger_put:3,1", "writes `beat`, which it has not opened for that"},
        {"vector_length:2", "vector handle 1 was never given"},
        {"param_type:9", "asks for the kind of parameter 9 of 3"},
        {"malloc:10 free:$ free:16", "frees what it has not allocated"},
    };
    for (const auto& [task, misuse] : cases)
        expectAlone(task, "fault: the command uses the host wrongly: " + std::string(misuse));
}

TEST(Faults, AChangeOfTheRoundingThatOtherTasksWouldSeeEndsTheRun) {
    for (const auto& [script, isSeen] : {std::pair{"roundup:1", true},
                                         {"roundup:1 task_switch roundup:0 task_switch", true},
                                         {"roundup:1 roundup:0 task_switch roundup:1 roundup:0", false}}) {
        TestSession session;
        session.script(script);
        const Report report = session.run();
        const std::string reason = isSeen ? "a command changed how the processor rounds, which all tasks share" : "";
        EXPECT_EQ(report.reason, reason) << script;
        volatile const double one = 1, three = 3;
        EXPECT_EQ(one / three, 0x1.5555555555555p-2) << script;
    }
}

TEST(Faults, OfSeveralTasksAreCaughtInEverySessionThatRuns) {
    const Lines expected{"fault", "fault code 3221225620", "fault", "fault code 3221225621"};
    const auto failAgainAndAgain = [&expected] {
        for (int i = 0; i < 50; ++i) {
            TestSession session;
            session.task("OVERFLOW");
            session.script("RaiseException:0xC0000094");
            session.task("OVERFLOW");
            session.script("3( task_switch ) RaiseException:0xC0000095");
            ASSERT_EQ(statesOf(session.run()), expected);
        }
    };
    testLibrary();
    std::thread thread(failAgainAndAgain);
    failAgainAndAgain();
    thread.join();
}

void ownHandler(int) {}

TEST(Faults, LeaveAHandlerThatTheProgramSetsWhileASessionRuns) {
    struct sigaction before {
    }, own{}, present{};
    ::sigaction(SIGFPE, nullptr, &before);
    own.sa_handler = ownHandler;
    for (const bool isSet : {false, true}) {
        TestSession session;
        const PipeId source = session.pipe("source");
        session.task("ABS", source, session.output("copy"));
        LiveInput& input = session.feedLive(source);
        session.start();
        input.push(countUp(3));
        while (session.snapshot().pipes[1].written < 3) continue;
        if (isSet) ::sigaction(SIGFPE, &own, nullptr);
        input.finish();
        session.wait();
        ::sigaction(SIGFPE, nullptr, &present);
        EXPECT_EQ(present.sa_handler, isSet ? ownHandler : before.sa_handler);
    }
    ::sigaction(SIGFPE, &before, nullptr);
}

}  // namespace
}  // namespace libzepl

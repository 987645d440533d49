// What is left of temporary files when a process ends at once.

#include "runtime/files/temporary_files.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>

#include "runtime/output_files.h"
#include "tests/runtime/files_support.h"

namespace libzepl {
namespace {

using TemporaryFilesTest = FilesTest;

void removeAllAndEnd(int) {
    removeTemporaryFiles();
    ::_exit(7);
}

// The exit status of a child that does `work` and is then ended by a signal whose handler removes all temporary files.
template <class Work>
int statusOfChild(Work&& work) {
    const ::pid_t child = ::fork();
    if (child == 0) {
        work();
        std::signal(SIGUSR1, removeAllAndEnd);
        std::raise(SIGUSR1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    return WEXITSTATUS(status);
}

TEST_F(TemporaryFilesTest, AHandlerRemovesWhatIsRegisteredAndNothingElse) {
    for (const char* name : {"registered", "finished", "again", "of its own"}) put(name, "text");
    EXPECT_EQ(7, statusOfChild([&] {
                  auto* finished = temporaryFiles::add(at("finished"));
                  temporaryFiles::add(at("registered"));
                  temporaryFiles::add(at("never created"));
                  temporaryFiles::remove(finished);
                  temporaryFiles::add(at("again"));
              }));
    EXPECT_EQ(filesInAll(), 2U);
    EXPECT_EQ(bytesOf("finished"), "text");
    EXPECT_EQ(bytesOf("of its own"), "text");
}

TEST_F(TemporaryFilesTest, AProgramThatExitsLeavesNone) {
    put("left", "text");
    EXPECT_EQ(7, statusOfChild([&] {
                  temporaryFiles::add(at("left"));
                  std::exit(7);
              }));
    EXPECT_EQ(filesInAll(), 0U);
}

TEST_F(TemporaryFilesTest, AForkRemovesOnlyItsOwn) {
    for (const char* name : {"parent's", "child's"}) put(name, "text");
    auto* entry = temporaryFiles::add(at("parent's"));
    EXPECT_EQ(7, statusOfChild([&] { temporaryFiles::add(at("child's")); }));
    temporaryFiles::remove(entry);
    EXPECT_EQ(filesInAll(), 1U);
    EXPECT_EQ(bytesOf("parent's"), "text");
}

}  // namespace
}  // namespace libzepl

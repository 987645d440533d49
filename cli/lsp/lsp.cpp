#include "cli/lsp/lsp.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <optional>

#include "cli/lsp/language.h"
#include "cli/lsp/server.h"
#include "cli/run.h"
#include "cli/standard_streams.h"

namespace cli {

namespace {

using namespace lsp;
using Clock = std::chrono::steady_clock;

// Standard input and output for the protocol alone: whoever else writes to standard output, as a module may, writes to
// standard error, and whoever reads standard input finds its end.
struct Streams {
    Streams() {
        std::fflush(stdout);
        const int nowhere = ::open("/dev/null", O_RDONLY | O_CLOEXEC);
        ::dup2(nowhere, STDIN_FILENO);
        ::close(nowhere);
        ::dup2(STDERR_FILENO, STDOUT_FILENO);
    }
    const int in = ::fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    const int out = ::fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
};

// Serves until the client ends the session or is gone. One check runs at a time; a change of its document ends it.
class Session {
 public:
    explicit Session(const libzepl::CommandLibrary& library) : library_(library), server_(library) {}

    int serve() {
        while (!server_.isOver() && isConnected_) {
            if (check_ && !server_.isWanted(check_->request())) check_.reset();
            if (!send()) return runFailed;
            wait();
        }
        send();
        return server_.exitStatus();
    }

 private:
    // For a message or a check's result. A check begins when nothing comes for a moment, so that of several changes only the
    // last is checked, and what an editor asks after a change is answered first.
    void wait() {
        std::array<::pollfd, 2> ends{{{streams_.in, POLLIN, 0}, {check_ ? check_->descriptor() : -1, POLLIN, 0}}};
        const int ready = ::poll(ends.data(), ends.size(), mostToWait());
        if (ready == 0) check_ ? finishCheck(CheckProcess::tooLong()) : startCheck();
        if (ready <= 0) return;
        if (ends[0].revents != 0) receive();
        if (check_ && ends[1].revents != 0)
            if (const std::optional<CheckResult> result = check_->read()) finishCheck(*result);
    }

    // Milliseconds; -1 is for ever.
    int mostToWait() const {
        constexpr int moment = 15;
        if (!check_) return server_.hasUnchecked() ? moment : -1;
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(checkEnd_ - Clock::now()).count();
        return static_cast<int>(std::max<long>(left, 0));
    }

    void startCheck() {
        if (std::optional<CheckRequest> request = server_.nextCheck()) {
            check_.emplace(std::move(*request), library_);
            checkEnd_ = Clock::now() + std::chrono::seconds(maxCheckSeconds);
        }
    }

    void finishCheck(const CheckResult& result) {
        server_.finishCheck(check_->request(), result);
        check_.reset();
    }

    void receive() {
        const ::ssize_t got = ::read(streams_.in, piece_.data(), piece_.size());
        if (got > 0) return server_.take({piece_.data(), static_cast<std::size_t>(got)});
        isConnected_ = got < 0 && errno == EINTR;
    }

    // False when the client reads no more.
    bool send() {
        const std::string bytes = server_.takeOutput();
        for (std::size_t at = 0; at < bytes.size();) {
            const ::ssize_t done = ::write(streams_.out, bytes.data() + at, bytes.size() - at);
            if (done < 0 && errno == EINTR) continue;
            if (done <= 0) return false;
            at += static_cast<std::size_t>(done);
        }
        return true;
    }

    const libzepl::CommandLibrary& library_;
    Streams streams_;
    Server server_;
    std::optional<CheckProcess> check_;
    Clock::time_point checkEnd_;
    bool isConnected_ = true;
    std::array<char, 65536> piece_;
};

}  // namespace

int serveEditor(const LspArguments& arguments) {
    libzepl::CommandLibrary library;
    if (arguments.words) {
        loadModules(library, arguments.modules);
        print(wordsAsJson(library));
        return allWell;
    }
    if (::isatty(STDIN_FILENO) == 1)
        std::fputs("zepl lsp serves an editor, which starts it by itself: zepl help editors says how\n", stderr);
    const auto session = std::make_unique<Session>(library);
    loadModules(library, arguments.modules);
    return session->serve();
}

}  // namespace cli

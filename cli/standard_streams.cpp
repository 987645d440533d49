#include "cli/standard_streams.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

namespace cli {

namespace {

[[noreturn]] void refuse(int error) {
    std::string reason = std::string("standard output: cannot be written: ") + std::strerror(error);
    if (error == EBADF) reason = "standard output: it is closed, or not open for writing";
    if (error == ENOSPC) reason = "standard output: the disk is full";
    if (error == EPIPE) reason = "standard output: its reader has closed it";
    throw LostOutput(reason, error == ENOSPC ? "make room, or write to another disk" : "");
}

}  // namespace

// The wrong direction makes each use of standard input and output an error.
void openClosedStreams() {
    const int directions[] = {O_WRONLY, O_RDONLY, O_WRONLY};
    for (int descriptor = 0; descriptor < 3; ++descriptor)
        if (::fcntl(descriptor, F_GETFD) < 0 && ::open("/dev/null", directions[descriptor]) != descriptor)
            ::_exit(127);  // no descriptor is left, not even for a message
}

void print(std::string_view text) {
    if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) refuse(errno);
}

void flush() {
    if (std::fflush(stdout) != 0) refuse(errno);
}

bool messagesLost() { return std::ferror(stderr) != 0; }

}  // namespace cli

// Waiting for streams, such as standard input and FIFOs: a stop request ends the wait.
#pragma once

#include <poll.h>

#include <array>
#include <chrono>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "runtime/stop_request.h"

namespace libzepl {

// Readable once a stop is requested, each of them; -1 for none.
std::array<int, 2> stopDescriptors();

// Whether a read of the descriptor would not wait.
bool isReadable(int descriptor);

// Waits until one of them is readable or a stop is requested.
void awaitAny(const std::vector<int>& descriptors);

using Deadline = std::optional<std::chrono::steady_clock::time_point>;

// Waits until one of them has an event, which it then says, or a stop is requested. False when the time is up first.
bool awaitEvents(std::vector<pollfd>& awaited, const Deadline& deadline = {});

// Waits until the descriptor of the file `name` is readable; Interrupted when a stop is requested.
void awaitReadable(int descriptor, const std::string& name);

// Waits until the descriptor of the stream `name` takes something. Once a stop is requested its reader has half a second to
// take what is left; Interrupted after that.
void awaitWritable(int descriptor, const std::string& name);

// Waits until `isDone` says so, which it asks every millisecond. Once a stop is requested it has half a second; Interrupted after
// that.
void awaitDone(const std::function<bool()>& isDone, const std::string& name);

// Opens the FIFO for writing, once it has a reader; -1, with errno, when it cannot be opened.
int openFifo(const char* path, const std::string& name);

}  // namespace libzepl

// A host that notes each call on standard output and answers as a scene tells it to. Its operations stand before those of
// the runtime's library, so a module and the frame's own sources come here.
#pragma once

#include <deque>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "host/host.h"

namespace recording {

struct Host {
    bool absent = false;             // ModuleOpen finds no host
    std::set<std::string> lacking;   // operations that have no address; "*" is all
    std::set<std::string> refusing;  // commands that it does not install
    bool terminated = false;
    std::map<std::string, zepl::CommandRoutine> commands;

    std::vector<zepl::ParamMask> kinds;  // of the parameters, position 1 at index 1
    std::vector<zepl::Slot> slots;
    std::map<zepl::PbufHandle, std::int16_t*> areas;
    std::deque<std::vector<std::int16_t>> blocks;  // what pbuf_get delivers; then it leaves the task
    // What trigger_get_immediate gives, a position and whether it is an assertion; then it leaves the task.
    std::map<zepl::TriggerHandle, std::deque<std::pair<std::uint32_t, bool>>> events;
};
extern Host host;

// Thrown by the operations that don't come back.
struct Left {
    std::string call;
};

[[gnu::format(printf, 1, 2)]] void note(const char* format, ...);

// "area 105 + 2", in elements of 16 bits, for an address in a pbuf's data area; "null"; else "elsewhere".
std::string place(const void* address);

// The scenes.
void install(const char* file);
void table(const char*);
void mathematics(const char* file);
void absoluteValues(const char* file);
void absoluteValuesOfTriggers(const char* file);
void loadingTimes(const char* file);
void coincidences(const char* file);
void cursors(const char* operation);
void checks(const char* check);
void divisions(const char*);

}  // namespace recording

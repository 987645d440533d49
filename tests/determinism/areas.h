// All cases, by areas.
#pragma once

#include <ostream>

#include "tests/determinism/arith_cases.h"
#include "tests/determinism/control_cases.h"
#include "tests/determinism/digital_cases.h"
#include "tests/determinism/events_cases.h"
#include "tests/determinism/fir_cases.h"
#include "tests/determinism/generators_cases.h"
#include "tests/determinism/lookup_cases.h"
#include "tests/determinism/routing_cases.h"
#include "tests/determinism/spectral_cases.h"
#include "tests/determinism/stats_cases.h"

namespace libzepl {

struct Area {
    const char* name;
    const Cases& cases;

    friend void PrintTo(const Area& area, std::ostream* stream) { *stream << area.name; }
};

inline const Area areas[] = {{"arith", arithCases},    {"stats", statsCases},           {"spectral", spectralCases},
                             {"fir", firCases},        {"generators", generatorsCases}, {"control", controlCases},
                             {"lookup", lookupCases},  {"events", eventsCases},         {"digital", digitalCases},
                             {"routing", routingCases}};

inline std::string withType(std::string text, const std::string& type) {
    for (std::size_t at = text.find("TYPE"); at != std::string::npos; at = text.find("TYPE", at))
        text.replace(at, 4, type);
    return text;
}

}  // namespace libzepl

// The transcendental functions, bound to the host's at start-up; until then, and under a host that offers none, the
// standard library's. (Square root, absolute value and floor are exact, so commands compute them in line.)
#pragma once

namespace zcmds {

struct Mathematics {
    double (*exp)(double);
    double (*log10)(double);
    double (*cos)(double);
    double (*sin)(double);
    double (*atan2)(double y, double x);
    double (*pow)(double x, double y);
};

extern Mathematics mathematics;

}  // namespace zcmds

#include "frame/mathematics.h"

#include <cmath>

namespace zcmds {

Mathematics mathematics{std::exp, std::log10, std::cos, std::sin, std::atan2, std::pow};

}  // namespace zcmds

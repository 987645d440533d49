// The module's versions, in hundredths.
#pragma once

#include <cstdint>

namespace zcmds {

inline constexpr std::uint32_t buildVersion = 152;
inline constexpr std::uint32_t interfaceVersion = 104;
inline constexpr std::uint32_t lastCompatibleBuild = 199;  // the last of the 1.xx series

}  // namespace zcmds

// Recording by a sound card.
#pragma once

#include "runtime/addresses.h"
#include "runtime/live/card.h"
#include "runtime/live/fed_source.h"

namespace libzepl {

std::unique_ptr<Feeder> cardFeeder(const Address& address, const ReadRequest& request, const LiveSettings& settings,
                                   const AlsaCalls& alsa = alsaCalls());

}  // namespace libzepl

// Samples in the caller's memory as a source of elements, as a file of them would be.
#pragma once

#include <memory>

#include "runtime/files.h"

namespace libzepl {

// The elements that the request wants of the samples, whose name for messages is the request's path: one channel, or all of
// them frame by frame, converted as it says.
std::unique_ptr<Source> memorySource(const MemorySamples& samples, ReadRequest request);

// The same elements where they stand one after the other as they are, so that none needs to be copied; else null. The
// request fits the samples.
const void* elementsInPlace(const MemorySamples& samples, const ReadRequest& request);

}  // namespace libzepl

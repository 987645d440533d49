// The values of the tool's options. What cannot be read is a Problem that says what can.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "runtime/session.h"

namespace cli {

// "1000", "whole", "lockstep" or "random:7".
libzepl::FeedPolicy feedOf(const std::string& text);

// "1", "0.5": times the wall clock; of empty text 0, which holds nothing.
double paceOf(const std::string& text, const libzepl::FeedPolicy& feed);

// Bytes: "4294967296", "512K", "64M", "4G".
std::uint64_t sizeOf(const std::string& text);

// The texts of an option that can be given any number of times, `form` being such as "--in NAME=FILE".
std::map<std::string, std::string> pairsOf(const std::string& form, const std::vector<std::string>& texts);

// SELECTOR=VALUE, both whole 32-bit numbers, decimal or hexadecimal.
std::map<std::uint32_t, std::uint32_t> infoOf(const std::vector<std::string>& texts);

}  // namespace cli

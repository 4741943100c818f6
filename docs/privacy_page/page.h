// The page on privacy: sections "### `REQUEST`, `REQUEST`" with a table of all their keys,
// which those have none that send nothing.
#pragma once

#include <string>
#include <vector>

#include "traffic.h"

namespace privacy {

// The page with the rows that the traffic asks for. What a row says of its key is kept; a new
// one says "?". Problems that an update leaves: what is to be written by hand.
struct Page {
  std::string text;
  std::vector<std::string> problems;
};
Page withTables(const std::string& page, const Traffic& traffic);

}  // namespace privacy

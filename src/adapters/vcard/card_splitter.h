// Cuts a text into its cards.
#pragma once

#include <cstddef>
#include <functional>
#include <string_view>
#include <vector>

#include "adapters/vcard/vcard.h"

namespace quillfold::vcard {

// A line of the text as it stands, without its end.
struct PhysicalLine {
  std::string_view text;
  std::size_t number;
};

// The lines between BEGIN and END. The card of an agent, which version 2.1 nests, is
// not among them.
struct RawCard {
  std::string_view text;  // From BEGIN to END, agents included.
  std::size_t number = 0;
  std::size_t line = 0;  // That of BEGIN.
  bool version21 = false;
  std::vector<PhysicalLine> lines;
};

// A card that has no end is reported and left out: it may have lost anything. So is
// text between cards, once for each run of lines.
void splitCards(std::string_view text, const std::function<void(const RawCard&)>& onCard,
                const std::function<void(VCardProblem)>& onProblem);

}  // namespace quillfold::vcard

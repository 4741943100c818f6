// Reads vCards of versions 2.1, 3.0 and 4.0.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

#include "platform/contacts.h"

namespace quillfold {

// Something in a text that could not be read. Cards and lines count from 1; a card
// of 0 is text outside of any card. The reason says what became of it: either the
// card is left out, or only the line.
struct VCardProblem {
  std::size_t card = 0;
  std::size_t line = 0;
  std::string reason;
  // Whether it is the whole card that is left out.
  bool cardLeftOut = false;
};

// One card. Its identifier is the UID or, without one, made from the card's names.
struct VCard {
  CNContactProperties contact;
  // Gives 16 hexadecimal digits that depend on all that was read of the card. Reads it
  // once more, and only as long as the call that hands over the card.
  std::function<std::string()> fingerprint;
};

// Calls `onCard` with each card of the bytes, in their order, and `onProblem` for
// each fault. Any bytes will do: UTF-8, UTF-16 with or without a mark, undeclared
// Latin-1, no cards at all. Every text of a card is valid UTF-8. Cards that stand
// for a group or list of others are left out.
//
// Time and memory grow with the size of the bytes and not faster. May run on several
// threads at once; both functions are called on the caller's thread, without a lock.
void parseVCards(std::string_view bytes, const std::function<void(VCard&&)>& onCard,
                 const std::function<void(VCardProblem)>& onProblem);

}  // namespace quillfold

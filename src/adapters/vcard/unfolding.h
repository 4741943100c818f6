// Puts folded lines together again, byte by byte: a fold may stand inside a character.
#pragma once

#include <cstddef>
#include <deque>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "adapters/vcard/card_splitter.h"

namespace quillfold::vcard {

enum class Encoding { None, QuotedPrintable, Base64 };

// A whole line of a card: NAME;PARAMETERS:VALUE.
struct LogicalLine {
  std::string_view text;
  std::size_t number = 0;
  // Where the value's ":" is; npos if there is none.
  std::size_t colon = std::string_view::npos;
  // What is in front of the colon: the name, then the parameters. There are no more than
  // 64; the last one then holds the rest.
  std::vector<std::string_view> header;
  Encoding encoding = Encoding::None;
};

// Which encoding a parameter names, written as ENCODING=B or, as in version 2.1, alone.
Encoding encodingOfParameter(std::string_view parameter);

// Keeps its memory from card to card.
class Unfolder {
 public:
  // Calls `onLine` with each line of the card, which may hold double quotes or does not.
  // The lines' text stands in the card or, where it was folded, here until the next card.
  void unfold(const RawCard& card, bool quotes,
              const std::function<void(const LogicalLine&)>& onLine);

 private:
  void add(const PhysicalLine& line);
  void start(const PhysicalLine& line);
  void append(std::string_view piece);
  void close();

  void findColon();
  void endHeader(std::size_t colon);
  void splitHeader();

  bool endsWithSoftBreak() const;
  void removeSoftBreak();
  bool isBareBase64(std::string_view text) const;
  std::string_view continuation(std::string_view text) const;

  bool version21_ = false;
  bool quotes_ = false;
  const std::function<void(const LogicalLine&)>* onLine_ = nullptr;
  std::deque<std::string> joined_;

  LogicalLine line_;
  std::string_view last_;  // The piece of it that was appended last.
  bool open_ = false;
  bool folded_ = false;  // Then its text is the last of those joined.
  bool quoted_ = false;  // Where the search for the colon stands.
  std::size_t scanned_ = 0;
};

}  // namespace quillfold::vcard

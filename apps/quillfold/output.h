// What this program prints.
#pragma once

#include <cstdint>
#include <string>

#include "quillfold/quillfold.h"

namespace host {

// One JSON document and a line end on standard output.
void printJSON(const quillfold::Value& value);

// The failure on standard error, or, with `json`, as the document.
void printFailure(const quillfold::ErrorPtr& error, bool json);

// The text without control characters, which could drive the terminal.
std::string harmless(const std::string& text);

// A time as local text, "never" for 0.
std::string timeText(double secondsSince1970);

// The text cut or padded to a number of terminal cells. The character set of the
// process has to be UTF-8.
std::string column(const std::string& text, std::size_t width);

// A bar on standard error that is drawn again in place; nothing where that is no
// terminal. The line is cleared at the end.
class ProgressBar {
 public:
  ProgressBar();
  ~ProgressBar();
  void show(std::int64_t done, std::int64_t total);

 private:
  const bool visible_;
  bool shown_ = false;
};

}  // namespace host

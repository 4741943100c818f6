// What this program prints.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "quillfold/quillfold.h"

namespace host {

// Failures that this program finds by itself, all with code 1.
inline constexpr const char* kHostErrorDomain = "com.quillfold.host";
quillfold::Failure hostFailure(const std::string& text);

// A command line that turned out to make no sense.
class WrongUsage : public std::runtime_error {
  using std::runtime_error::runtime_error;
};

inline constexpr int kFailureStatus = 1;
inline constexpr int kWrongUsageStatus = 2;

// A line on standard error, in front of whatever stands on the last line of a terminal.
void say(const std::string& problem);
// Says the failure; with `json` standard output has it as a document, too, with the contacts
// that went up before where that is known.
void printFailure(const quillfold::Failure& failure, bool json,
                  std::optional<std::int64_t> uploaded = {});
// The same for the end by a signal.
void printInterruption(bool json, std::optional<std::int64_t> uploaded = {});
// Ends the program by it, from any thread, with the document unless one has been begun.
[[noreturn]] void endInterrupted(int status, bool json);
// Says it, with the command whose help to look at. Returns kWrongUsageStatus.
int wrongUsage(const std::string& problem, const std::string& command);
// Says the warnings of the library, which are about cards of the address book. What else its
// log holds comes back through failures.
std::shared_ptr<quillfold::LogSink> makeWarningLog();

// One JSON document and a line end on standard output.
void printJSON(const quillfold::Value& value);
// The same for a text, and the text of a value.
void printDocument(const std::string& text);
std::string jsonText(const quillfold::Value& value);
// An array of what `objectOf` makes of each item. The objects take many times the memory of
// their texts, so there is one at a time.
template <typename Items, typename ObjectOf>
void printJSONArray(const Items& items, ObjectOf objectOf) {
  std::string text = "[";
  for (const auto& item : items) {
    if (text.size() > 1) text += ',';
    text += jsonText(objectOf(*item));
  }
  printDocument(text + ']');
}

// The text without control characters, which could drive the terminal.
std::string harmless(const std::string& text);
std::string harmless(const quillfold::OptionalString& text);

// A time as local text, "never" for 0.
std::string timeText(double secondsSince1970);

// The text cut or padded to a number of terminal cells. The character set of the
// process has to be UTF-8.
std::string column(const std::string& text, std::size_t width);
// The same for what must stay whole, such as an identifier.
std::string wholeColumn(const std::string& text, std::size_t width);
// The text, which has no control characters, in lines of so many cells at the most.
std::vector<std::string> folded(std::string text, std::size_t width);

}  // namespace host

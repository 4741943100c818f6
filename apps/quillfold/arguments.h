// The command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace host {

// What the commands about social events take.
struct EventDetails {
  std::optional<std::string> type;
  std::optional<std::string> title;
  std::optional<std::string> about;
  std::optional<std::string> place;
  std::optional<std::string> starts;
  std::optional<std::string> ends;
  bool isPrivate = false;
};

struct Arguments {
  std::string book;
  std::string home;
  std::string user = "demo-user";
  std::optional<std::string> email;
  std::optional<std::string> phone;
  std::string apiKey = "development-key";
  std::string token = "development-token";
  bool notes = false;
  std::int64_t batchSize = 20;
  std::string environment = "dev";
  std::string connect;
  bool json = false;
  bool verbose = false;
  // Puts the clock ahead where a command would wait.
  bool hurry = false;
  // Which part of a list, and what a search looks at.
  std::int64_t offset = 0;
  std::int64_t limit = 20;
  std::uint64_t field = 4294967295U;
  bool quick = false;
  EventDetails event;
  std::string command;
  std::vector<std::string> operands;
};

// Why the command line can't be followed.
struct UsageError {
  std::string text;
};
struct HelpRequested {};

// Whether the command exists is not looked at.
std::variant<Arguments, UsageError, HelpRequested> parseArguments(int argc, char** argv);

const char* optionsText();

}  // namespace host

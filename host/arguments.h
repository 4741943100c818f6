// The command line.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace host {

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
  std::string command;
  std::vector<std::string> operands;
};

// Why the command line can't be followed.
struct UsageError {
  std::string text;
};
struct HelpRequested {};

std::variant<Arguments, UsageError, HelpRequested> parseArguments(int argc, char** argv);

const char* usageText();

}  // namespace host

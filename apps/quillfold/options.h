// What the command line, the environment and the configuration file have said.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "quillfold/quillfold.h"

namespace host {

// What the commands about social events take; times as they were written.
struct EventDetails {
  std::optional<std::string> type;
  std::optional<std::string> title;
  std::optional<std::string> about;
  std::optional<std::string> place;
  std::optional<std::string> starts;
  std::optional<std::string> ends;
  bool isPrivate = false;
};

struct Options {
  std::string book;
  std::string home;
  std::string user = "demo-user";
  std::string email;
  std::string phone;
  std::string apiKey = "development-key";
  std::string token = "development-token";
  bool notes = false;
  std::int64_t batchSize = 20;
  std::string environment = "dev";
  std::string backend;
  std::string connect;
  bool json = false;
  bool verbose = false;

  // Each of some commands only.
  std::int64_t offset = 0;
  // Absent: as many as the command usually shows.
  std::optional<std::int64_t> limit;
  std::uint64_t field = quillfold::QFSearchFieldTypeAll;
  bool quick = false;
  bool progress = false;
  bool hurry = false;
  EventDetails event;
  std::optional<std::string> operand;
};

}  // namespace host

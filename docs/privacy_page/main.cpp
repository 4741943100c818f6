// Compares the page on privacy with what the library sends, or brings it up to date.
//
//   privacy-page PAGE [--update]
#include <fstream>
#include <iostream>
#include <iterator>

#include "page.h"

int main(int argc, char** argv) try {
  const bool update = argc == 3 && std::string(argv[2]) == "--update";
  if (argc != 2 && !update) {
    std::cerr << "Usage: privacy-page PAGE [--update]\n";
    return 2;
  }
  std::ifstream file(argv[1]);
  const std::string written{std::istreambuf_iterator<char>(file), {}};
  if (!file) throw std::runtime_error(std::string(argv[1]) + " can't be read");
  auto [page, problems] = privacy::withTables(written, privacy::recordTraffic());
  if (update) {
    std::ofstream(argv[1]) << page;
  } else if (page != written) {
    problems.push_back("The tables have changed; --update writes them");
  }
  for (const std::string& problem : problems)
    std::cerr << argv[1] << ": " << problem << '\n';
  return problems.empty() ? 0 : 1;
} catch (const std::exception& failure) {
  std::cerr << failure.what() << '\n';
  return 1;
}

// Manual pages, made from a command line's own description.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace support {

struct ManualEntry {
  std::string tag;
  // A paragraph of its own where the tag is empty.
  std::string text;
};

// What a page tells beside the options and commands. Texts are plain, for roff nothing is special
// in them.
struct Manual {
  std::vector<ManualEntry> description;
  std::vector<ManualEntry> exitStatus;
  // Besides those that stand for options.
  std::vector<ManualEntry> environment;
  std::vector<ManualEntry> files;
  std::vector<ManualEntry> examples;
  // Names with their section.
  std::string seeAlso;
};

// The option --man, which no help shows: it ends the parsing with CLI::CallForVersion, whose text
// is the page, for man(7). The manual is to outlive the app.
void addManual(CLI::App& app, const Manual& manual);

}  // namespace support

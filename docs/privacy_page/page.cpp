#include "page.h"

#include <set>
#include <sstream>

namespace privacy {

namespace {

using Meanings = std::map<std::string, std::string>;

// All that stands between back quotes.
std::vector<std::string> quoted(const std::string& line) {
  std::vector<std::string> out;
  std::istringstream parts(line);
  std::string outside, inside;
  while (std::getline(parts, outside, '`') && std::getline(parts, inside, '`'))
    out.push_back(inside);
  return out;
}

// What a row says of its key.
std::string meaning(const std::string& row) {
  const std::size_t start = row.find(" | ") + 3;
  return row.substr(start, row.rfind(" |") - start);
}

std::string meaning(Content content, const std::string& written) {
  if (content == Content::Null) return "always null";
  if (content == Content::Empty) return "always empty";
  // What once was always so and is no more.
  return written.starts_with("always ") ? "?" : written;
}

std::set<std::string> keysOf(const Keys& keys) {
  std::set<std::string> out;
  for (const auto& [key, content] : keys)
    out.insert(key);
  return out;
}

// The sections of a page, one after the other.
class Tables {
 public:
  Tables(const Traffic& traffic, Page& page) : unseen_(traffic), page_(page) {}

  void read(const std::string& line) {
    if (inTable_ && line.starts_with("| `")) {
      written_[quoted(line).at(0)] = meaning(line);
      return;
    }
    endTable();
    if (line.starts_with('#')) beginSection(line);
    inTable_ = line.starts_with("|---") && !keys_.empty();
    page_.text += line + '\n';
  }
  void end() {
    endTable();
    beginSection("");
    for (const auto& [request, keys] : unseen_)
      page_.problems.push_back("There is no section on " + request);
  }

 private:
  void beginSection(const std::string& line) {
    for (const auto& [key, content] : keys_)
      page_.problems.push_back(section_ + ": there is no table for `" + key + "`");
    section_ = line;
    keys_.clear();
    written_.clear();
    if (!line.starts_with("### `")) return;
    for (const std::string& request : quoted(line)) {
      const auto sent = unseen_.extract(request);
      if (!sent) {
        page_.problems.push_back("Nothing is sent by " + request);
        continue;
      }
      if (!keys_.empty() && keysOf(keys_) != keysOf(sent.mapped()))
        page_.problems.push_back(request + " has keys of its own, and needs a section");
      keys_.merge(sent.mapped());
    }
  }
  void endTable() {
    if (!inTable_) return;
    for (const auto& [key, content] : keys_) {
      const auto it = written_.find(key);
      const std::string says = meaning(content, it == written_.end() ? "?" : it->second);
      if (says == "?") page_.problems.push_back(section_ + ": what is `" + key + "`?");
      page_.text += "| `" + key + "` | " + says + " |\n";
    }
    keys_.clear();
    inTable_ = false;
  }

  Traffic unseen_;
  Page& page_;
  std::string section_;
  Keys keys_;  // Of the section, until its table is there.
  Meanings written_;
  bool inTable_ = false;
};

}  // namespace

Page withTables(const std::string& page, const Traffic& traffic) {
  Page out;
  Tables tables(traffic, out);
  std::istringstream lines(page);
  for (std::string line; std::getline(lines, line);)
    tables.read(line);
  tables.end();
  return out;
}

}  // namespace privacy

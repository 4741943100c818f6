// What is tried with foreign bytes.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <vector>

namespace quillfold::fuzz {

// A reader of foreign bytes, and what has to hold of whatever it makes of them. Adds
// itself to the subjects of the program.
struct Subject {
  using Run = void (*)(std::string_view bytes);

  Subject(const char* named, Run runs) : name(named), run(runs) { all().push_back(this); }
  static std::vector<const Subject*>& all() {
    static std::vector<const Subject*> subjects;
    return subjects;
  }

  const char* const name;
  const Run run;
};

// Ends the process, and says where, if that doesn't hold.
inline void require(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
  if (holds) return;
  std::fprintf(stderr, "%s:%d: this does not hold\n", file, line);
  std::abort();
}

}  // namespace quillfold::fuzz

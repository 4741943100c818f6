// quillfold_fuzz_replay SUBJECT FOLDER...: runs a subject with each file of the folders.
// The file that is named last is the one that failed.
#include <algorithm>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>

#include "fuzz/subject.h"

namespace {

using quillfold::fuzz::Subject;

std::vector<std::filesystem::path> filesIn(const char* folder) {
  std::vector<std::filesystem::path> files;
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
    if (entry.is_regular_file()) files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  return files;
}

void replay(const Subject& subject, const std::filesystem::path& file) {
  std::cerr << file.string() << std::endl;
  std::ifstream in(file, std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(in), {}};
  subject.run(bytes);
}

}  // namespace

int main(int count, char** arguments) {
  std::size_t replayed = 0;
  for (const Subject* subject : Subject::all()) {
    if (count < 2 || std::strcmp(subject->name, arguments[1]) != 0) continue;
    for (int i = 2; i < count; ++i) {
      for (const auto& file : filesIn(arguments[i])) {
        replay(*subject, file);
        ++replayed;
      }
    }
  }
  if (replayed == 0) std::cerr << "There is nothing to replay.\n";
  return replayed == 0 ? 2 : 0;
}

// A folder that goes with the test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace quillfold {

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = std::filesystem::temp_directory_path() / "quillfold-XXXXXX";
    path_ = ::mkdtemp(name.data());
  }
  ~TemporaryFolder() { std::filesystem::remove_all(path_); }

  std::string path(const std::string& name) const { return (path_ / name).string(); }

  void write(const std::string& name, const std::string& contents) const {
    std::filesystem::create_directories((path_ / name).parent_path());
    std::ofstream(path_ / name) << contents;
  }
  std::string read(const std::string& name) const {
    std::ifstream file(path_ / name);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  unsigned mode(const std::string& name) const {
    return static_cast<unsigned>(std::filesystem::status(path_ / name).permissions());
  }
  std::size_t entries() const {
    return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator(path_), {}));
  }

 private:
  std::filesystem::path path_;
};

}  // namespace quillfold

// A program as a child of the test, with its standard output behind a pipe.
#pragma once

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <stdexcept>
#include <string>
#include <vector>

namespace quillfold {

class ChildProgram {
 public:
  // Without standard input, and with the test's own standard error.
  ChildProgram(std::string program, std::vector<std::string> arguments) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    arguments.insert(arguments.begin(), std::move(program));
    std::vector<char*> values;
    for (std::string& argument : arguments)
      values.push_back(argument.data());
    values.push_back(nullptr);
    child_ = fork();
    if (child_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);  // Should the test crash.
      dup2(open("/dev/null", O_RDONLY), STDIN_FILENO);
      dup2(ends[1], STDOUT_FILENO);
      execv(values[0], values.data());
      _exit(127);
    }
    close(ends[1]);
    if (child_ < 0) throw std::runtime_error("no child");
    output_ = fdopen(ends[0], "r");
  }
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;
  ~ChildProgram() { fclose(output_); }

  pid_t id() const { return child_; }
  void signal(int number) const { kill(child_, number); }

  // The next line with its end; "" at the end of the output.
  std::string line() {
    char* text = nullptr;
    std::size_t room = 0;
    const auto length = getline(&text, &room, output_);
    std::string out(text, length < 0 ? 0 : static_cast<std::size_t>(length));
    free(text);
    return out;
  }
  std::string rest() {
    std::string out, next;
    while (!(next = line()).empty())
      out += next;
    return out;
  }
  // Waits for the end; after a signal its number, negative.
  int exitStatus() const {
    int status = 0;
    waitpid(child_, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
  }

 private:
  pid_t child_;
  FILE* output_;
};

}  // namespace quillfold

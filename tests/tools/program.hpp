#pragma once

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace orv::tool::testing {

// What one run of the program did.
struct Outcome {
  int exit;  // -1 when a signal ended it
  std::string out;
  std::string err;
};

inline std::string ShellQuote(std::string const& text) {
  std::string quoted = "'";
  for (char c : text) {
    quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return quoted + "'";
}

inline std::string Slurp(std::filesystem::path const& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

inline std::string const kExamples = ORV_EXAMPLES_DIR;

// Runs orv-action as a process in a directory of the test's own, with
// standard input from a string and standard output and error captured.
class Program : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (std::filesystem::temp_directory_path() / "orv-action-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
  }
  void TearDown() override { std::filesystem::remove_all(dir_); }

  std::filesystem::path Write(std::string const& name, std::string const& content) const {
    std::ofstream(dir_ / name, std::ios::binary) << content;
    return dir_ / name;
  }

  Outcome Run(std::vector<std::string> const& arguments, std::string const& input = "") const {
    return RunWithOutputTo("stdout", arguments, input);
  }

  // As Run, with standard output going to `output` (a path the shell
  // opens, such as /dev/full); the outcome's `out` is then empty.
  Outcome RunWithOutputTo(std::string const& output, std::vector<std::string> const& arguments,
                          std::string const& input = "") const {
    Write("stdin", input);
    Write("stdout", "");
    std::string command = "cd " + ShellQuote(dir_.string()) + " && ";
    if (!stage_.empty()) {
      command += "LD_LIBRARY_PATH=" + ShellQuote(stage_.string()) + " ";
    }
    command += "exec " + ShellQuote(ORV_ACTION_PROGRAM);
    for (auto const& argument : arguments) {
      command.append(" ").append(ShellQuote(argument));
    }
    command += " <stdin >" + ShellQuote(output) + " 2>stderr";
    int const status = std::system(command.c_str());
    return Outcome{WIFEXITED(status) ? WEXITSTATUS(status) : -1, Slurp(dir_ / "stdout"), Slurp(dir_ / "stderr")};
  }

  std::filesystem::path dir_;
  // Where the program finds liborv_action and so its plug-ins: a stage
  // holding a copy of the library and the plug-ins the tests use; empty: the
  // build tree's own library directory, which holds only the real plug-ins.
  std::filesystem::path stage_ = ORV_TEST_STAGE_DIR;
};

}  // namespace orv::tool::testing

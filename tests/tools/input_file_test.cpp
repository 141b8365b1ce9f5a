#include "input_file.hpp"

#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "errors.hpp"

namespace orv::tool {
namespace {

namespace fs = std::filesystem;

class InputFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    std::string pattern = (fs::temp_directory_path() / "orv-input-test-XXXXXX").string();
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    dir_ = pattern;
  }
  void TearDown() override { fs::remove_all(dir_); }

  std::string Write(std::string const& name, std::string const& content) const {
    std::ofstream(dir_ / name, std::ios::binary) << content;
    return (dir_ / name).string();
  }

  fs::path dir_;
};

template <class F>
std::string ErrorOf(F&& read) {
  try {
    read();
  } catch (InputError const& error) {
    return error.what();
  }
  ADD_FAILURE() << "no error";
  return "";
}

TEST_F(InputFileTest, ReadsAWholeFileUpToTheLimit) {
  std::string const path = Write("f", "0123456789");
  EXPECT_EQ(ReadFile(path, 10, "a thing"), "0123456789");
  EXPECT_EQ(ErrorOf([&] { ReadFile(path, 9, "a thing"); }), path + ": larger than 9 bytes, the limit of a thing");
  EXPECT_EQ(ReadFile(Write("empty", ""), 0, "a thing"), "");
}

TEST_F(InputFileTest, RefusesDirectoriesAndMissingFiles) {
  EXPECT_EQ(ErrorOf([&] { InputFile file(dir_.string()); }), dir_.string() + ": is a directory");
  std::string const absent = (dir_ / "absent").string();
  EXPECT_EQ(ErrorOf([&] { InputFile file(absent); }), absent + ": cannot open: No such file or directory");
}

TEST_F(InputFileTest, ReadsLinesWithTheirNumbers) {
  InputFile file(Write("lines", "one\n\ntwo\r\n" + std::string(5, 'x')));
  EXPECT_EQ(file.Name(), (dir_ / "lines").string());
  std::string line;
  std::vector<std::pair<std::size_t, std::string>> lines;
  while (file.ReadLine(line, 5, "a line")) {
    lines.emplace_back(file.LineNumber(), line);
  }
  EXPECT_EQ(lines, (std::vector<std::pair<std::size_t, std::string>>{{1, "one"}, {2, ""}, {3, "two\r"}, {4, "xxxxx"}}));
  EXPECT_FALSE(file.ReadLine(line, 5, "a line"));
}

TEST_F(InputFileTest, RefusesALineOverTheLimit) {
  std::string const path = Write("lines", "short\n" + std::string(200000, 'y') + "\nshort\n");
  InputFile file(path);
  std::string line;
  ASSERT_TRUE(file.ReadLine(line, 100000, "a line"));
  EXPECT_EQ(ErrorOf([&] { file.ReadLine(line, 100000, "a line"); }),
            path + ":2:1: larger than 100000 bytes, the limit of a line");
  // The long line was read past: reading goes on with the line after it.
  ASSERT_TRUE(file.ReadLine(line, 100000, "a line"));
  EXPECT_EQ(line, "short");
  EXPECT_EQ(file.LineNumber(), 3U);
  EXPECT_FALSE(file.ReadLine(line, 100000, "a line"));
  InputFile last(Write("last", std::string(11, 'z')));
  EXPECT_EQ(ErrorOf([&] { last.ReadLine(line, 10, "a line"); }),
            (dir_ / "last").string() + ":1:1: larger than 10 bytes, the limit of a line");
  EXPECT_FALSE(last.ReadLine(line, 10, "a line"));
}

TEST_F(InputFileTest, ReadsManyLinesAcrossReads) {
  std::string content;
  for (int i = 0; i < 100000; ++i) {
    content += std::to_string(i) + "\n";
  }
  InputFile file(Write("many", content));
  std::string line;
  int expected = 0;
  while (file.ReadLine(line, 16, "a line")) {
    ASSERT_EQ(line, std::to_string(expected));
    ASSERT_EQ(file.LineNumber(), static_cast<std::size_t>(expected + 1));
    ++expected;
  }
  EXPECT_EQ(expected, 100000);
}

TEST(DescribeBytes, NamesMebibytesWhenWhole) {
  EXPECT_EQ(DescribeBytes(std::size_t{16} << 20), "16 MiB (16777216 bytes)");
  EXPECT_EQ(DescribeBytes(std::size_t{1} << 20), "1 MiB (1048576 bytes)");
  EXPECT_EQ(DescribeBytes(1000), "1000 bytes");
  EXPECT_EQ(DescribeBytes((std::size_t{1} << 20) + 1), "1048577 bytes");
}

}  // namespace
}  // namespace orv::tool

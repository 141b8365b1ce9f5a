#pragma once

#include <boost/filesystem/operations.hpp>
#include <boost/filesystem/path.hpp>

namespace orv::test {

// Changes the working directory for its life and restores it after.
class WorkingDirectory {
 public:
  explicit WorkingDirectory(boost::filesystem::path const& path) : saved_(boost::filesystem::current_path()) {
    boost::filesystem::current_path(path);
  }
  WorkingDirectory(WorkingDirectory const&) = delete;
  WorkingDirectory& operator=(WorkingDirectory const&) = delete;
  ~WorkingDirectory() { boost::filesystem::current_path(saved_); }

 private:
  boost::filesystem::path saved_;
};

}  // namespace orv::test

#pragma once

// Configuration texts written to files in a scratch directory of their own, removed at the end.

#include <string>
#include <vector>

namespace vrtest {

class ConfigFiles {
  public:
    explicit ConfigFiles(std::vector<std::string> const& texts);
    ~ConfigFiles();
    ConfigFiles(ConfigFiles const&) = delete;
    ConfigFiles& operator=(ConfigFiles const&) = delete;

    std::vector<std::string> const& paths() const { return files; }
    std::string const& directory() const { return dir; }

  private:
    std::string dir;
    std::vector<std::string> files;
};

}  // namespace vrtest

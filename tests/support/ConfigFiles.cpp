#include "support/ConfigFiles.h"

#include <stdlib.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace vrtest {

ConfigFiles::ConfigFiles(std::vector<std::string> const& texts) {
    std::string pattern = (std::filesystem::temp_directory_path() / "vr-config-XXXXXX").string();
    if (mkdtemp(&pattern[0]) == nullptr) {
        std::perror("mkdtemp");
        std::abort();
    }
    dir = pattern;
    for (size_t i = 0; i < texts.size(); ++i) {
        files.push_back(dir + "/file" + std::to_string(i) + ".txt");
        std::ofstream(files.back(), std::ios::binary) << texts[i];
    }
}

ConfigFiles::~ConfigFiles() {
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
}

}  // namespace vrtest

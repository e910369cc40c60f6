// SPDX-License-Identifier: Apache-2.0
// A folder of a test's own, gone afterwards.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace test
{

class TemporaryFolder
{
  public:
    TemporaryFolder()
    {
        std::string name = (std::filesystem::temp_directory_path() / "qsc-test-XXXXXX").string();
        path_ = mkdtemp(name.data());
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() { std::filesystem::remove_all(path_); }

    [[nodiscard]] std::string operator/(const std::string& name) const { return path_ + "/" + name; }

  private:
    std::string path_;
};

inline void write_file(const std::string& path, const std::string& content)
{
    std::ofstream{path, std::ios::binary} << content;
}

inline std::string read_file(const std::string& path)
{
    std::stringstream content;
    content << std::ifstream{path, std::ios::binary}.rdbuf();
    return content.str();
}

} // namespace test

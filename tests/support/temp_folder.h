// A folder of a test's own, removed with all that is in it at the end of the test.
#pragma once

#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

class temp_folder {
  public:
    temp_folder()
    {
        std::string pattern = std::filesystem::temp_directory_path() / "kv-zep-amt-test-XXXXXX";
        if (mkdtemp(pattern.data()) == nullptr) {
            throw std::runtime_error("cannot make a folder like " + pattern);
        }
        m_path = pattern;
    }
    ~temp_folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(m_path, ignored);
    }
    temp_folder(const temp_folder &) = delete;
    temp_folder &operator=(const temp_folder &) = delete;

    [[nodiscard]] std::string path() const { return m_path; }
    [[nodiscard]] std::string path(const std::string &name) const { return m_path / name; }

    // Writes a file and returns its path.
    [[nodiscard]] std::string with_file(const std::string &name, const std::string &content) const
    {
        std::ofstream(path(name), std::ios::binary) << content;
        return path(name);
    }

  private:
    std::filesystem::path m_path;
};

inline std::string read_whole_file(const std::string &path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

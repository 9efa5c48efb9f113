// The service's log in a folder of the test's own, and what was written to it. Only inside in_child.
#pragma once

#include <sstream>
#include <string>
#include <vector>

#include "pub/log/log_client.h"
#include "tests/support/temp_folder.h"

// How the records of the commonest failures begin.
inline const std::string k_failed = "error | -100 - Unknown error | ";
inline const std::string k_bad_argument = "error | -101 - Invalid parameter | ";
inline const std::string k_failed_call = "error | -118 - Call C function unsuccessfully | ";

class test_log {
  public:
    test_log()
    {
        (void)sfw_log_set_directory(m_folder.path().c_str());
        (void)sfw_log_start(SFW_LOG_DEFAULT_OBJECT, "test");
    }

    // The folder that the log made for this process, and the whole file.
    [[nodiscard]] std::string folder() const
    {
        char name[50] = "";
        (void)get_process_name(name, sizeof(name));
        return m_folder.path() + "/" + name + "-log";
    }
    [[nodiscard]] std::string text() const { return read_whole_file(folder() + "/test.log"); }

    // Where the records of a log's text begin; 0 when there is no header.
    [[nodiscard]] static size_t header_length(const std::string &text)
    {
        const std::string end = "| INFO\n" + std::string(92, '=') + "\n";
        const size_t at = text.find(end);
        return at == std::string::npos ? 0 : at + end.size();
    }

    // "LEVEL | INFO" of each record, the blanks that pad the level cut.
    [[nodiscard]] std::vector<std::string> records() const
    {
        std::vector<std::string> result;
        std::istringstream lines(text());
        for (std::string line; std::getline(lines, line);) {
            size_t level = 0; // behind time, thread, function and line number
            for (int column = 0; column < 4 && level != std::string::npos; column++) {
                level = line.find(" | ", level + (column == 0 ? 0 : 3));
            }
            if (level != std::string::npos && line[2] == ':') {
                const std::string name = line.substr(level + 3, 12);
                result.push_back(name.substr(0, name.find_last_not_of(' ') + 1) + " | " + line.substr(level + 18));
            }
        }
        return result;
    }

    // The function that each record is of.
    [[nodiscard]] std::vector<std::string> functions() const
    {
        std::vector<std::string> result;
        std::istringstream lines(text());
        for (std::string line; std::getline(lines, line);) {
            if (line[2] == ':') {
                const size_t column = line.find(" | ", line.find(" | ") + 3) + 3; // behind time and thread
                const size_t begin = line.find_first_not_of(' ', column);
                result.push_back(line.substr(begin, line.find_first_of(" |", begin) - begin));
            }
        }
        return result;
    }

  private:
    temp_folder m_folder;
};

#include "tests/unit/amt/amt_folder.h"

#include <errno.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "tests/unit/amt/port_fakes.h"

namespace {

int g_denied = 0;
int g_look_error = 0;

} // namespace

extern "C" {

int __real_access(const char *path, int mode);
int __wrap_access(const char *path, int mode)
{
    if ((mode & g_denied) != 0 && std::string(path) == "/amt") {
        errno = EACCES;
        return -1;
    }
    if (mode == F_OK && g_look_error != 0) {
        errno = g_look_error;
        return -1;
    }
    return __real_access(real_path(path).c_str(), mode);
}
}

amt_folder::amt_folder()
{
    g_fake.amt_folder = m_folder.path();
}

amt_folder::~amt_folder()
{
    g_denied = 0;
    g_look_error = 0;
    remove();
}

void amt_folder::deny(int mode)
{
    g_denied = mode;
}

void amt_folder::fail_looks(int error)
{
    g_look_error = error;
}

void amt_folder::remove()
{
    g_fake.amt_folder = "/missing";
}

bool amt_folder::has(const std::string &name) const
{
    return std::filesystem::exists(path(name));
}

std::string untested(int count)
{
    std::string text;
    for (int item = 0; item < count; item++) {
        text += "0\n";
    }
    return text;
}

std::string untested_but(int count, size_t offset, char digit)
{
    std::string text = untested(count);
    text.at(offset) = digit;
    return text;
}

std::vector<std::string> without_entries(const test_log &log)
{
    std::vector<std::string> records = log.records();
    records.erase(std::remove(records.begin(), records.end(), "func | "), records.end());
    return records;
}

// Owners of one descriptor or one FILE, so that no early return leaks. They serve functions that run to their end: a
// thread that is ended inside a wait runs no destructor, and nothing may depend on one then.
#pragma once

#include <stdio.h>
#include <unistd.h>

class scoped_fd {
  public:
    explicit scoped_fd(int fd)
        : m_fd(fd)
    {
    }
    ~scoped_fd()
    {
        if (m_fd >= 0) {
            (void)close(m_fd); // nothing to be done about it here
        }
    }
    scoped_fd(const scoped_fd &) = delete;
    scoped_fd &operator=(const scoped_fd &) = delete;

    [[nodiscard]] int get() const { return m_fd; }
    [[nodiscard]] bool is_open() const { return m_fd >= 0; }

  private:
    int m_fd;
};

class scoped_file {
  public:
    explicit scoped_file(FILE *file)
        : m_file(file)
    {
    }
    ~scoped_file()
    {
        if (m_file != nullptr) {
            (void)fclose(m_file); // read from, or written without asking what becomes of it
        }
    }
    scoped_file(const scoped_file &) = delete;
    scoped_file &operator=(const scoped_file &) = delete;

    [[nodiscard]] FILE *get() const { return m_file; }
    [[nodiscard]] bool is_open() const { return m_file != nullptr; }

  private:
    FILE *m_file;
};

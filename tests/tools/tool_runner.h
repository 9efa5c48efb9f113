// The project's tools as a user has them: the real programs of this build, each a process of its own, in a surrounding
// that is the test's alone: runtime folder, home, environment. Every wait has a deadline; what still runs when an
// object goes is ended. Main thread.
//
//     tool_runner tools;
//     (void)tools.run({"handset", "up"});
//     EXPECT_EQ(tools.run({"amt-station", "get", "imei"}).out, "490154203237518\n");
#pragma once

#include "emulator/deadline.h"
#include "emulator/descriptor.h"
#include "tests/support/temp_folder.h"

#include <sys/types.h>

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

// What a program said, and how it ended: its exit status, or -N when signal N ended it.
struct outcome {
    int status = 0;
    std::string out;
    std::string err; // empty at a terminal, which shows both
};

bool operator==(const outcome &a, const outcome &b);
std::ostream &operator<<(std::ostream &stream, const outcome &what);

// Variables over those of the surrounding; an empty value takes one away.
using variables = std::map<std::string, std::string>;

using command_words = std::vector<std::string>;

// A program that has been started. All that waits throws std::runtime_error, quoting what was said, past the deadline.
class running_tool {
  public:
    running_tool(running_tool &&other) noexcept;
    running_tool &operator=(running_tool &&) = delete;
    ~running_tool(); // ends it

    pid_t pid() const { return m_pid; }

    // To its standard input, or as if typed at its terminal.
    void write(const std::string &text, emulator::deadline limit = emulator::k_default_wait);

    // Nothing more comes at its standard input; of a terminal the same by control-D, on an empty line.
    void end_input();

    // Nobody reads its standard output any more.
    void close_output() { m_out.reset(); }

    void signal(int number) const;

    // Its terminal becomes that large, as when a window is resized.
    void resize(unsigned short lines, unsigned short columns) const;

    // Until the text is among what it has said on either; the text is looked for behind the last one that was found.
    void wait_for(const std::string &text, emulator::deadline limit = emulator::k_default_wait);

    // The same for the prompt of a line editor, and until that reads keys: it shows the prompt before, and an end of
    // the input that comes in between is lost.
    void wait_for_prompt(const std::string &prompt, emulator::deadline limit = emulator::k_default_wait);

    // Until it ends.
    outcome wait(emulator::deadline limit = emulator::k_default_wait);

  private:
    friend class tool_runner;
    running_tool() = default;

    bool read_some(int wait_ms);
    [[noreturn]] void fail(const std::string &what) const;

    std::string m_name;
    pid_t m_pid = -1; // -1: its end has been seen
    emulator::descriptor m_in;
    emulator::descriptor m_out;
    emulator::descriptor m_err;
    bool m_at_terminal = false;
    outcome m_said;
    std::size_t m_seen_out = 0; // wait_for goes on from there
    std::size_t m_seen_err = 0;
};

class tool_runner {
  public:
    tool_runner();
    ~tool_runner(); // all handsets of this surrounding go down
    tool_runner(const tool_runner &) = delete;
    tool_runner &operator=(const tool_runner &) = delete;

    // Of this surrounding, for everything that is started from now on.
    void set(const std::string &variable, const std::string &value) { m_environment[variable] = value; }

    // The first word is the program's name: one of this build, or one of the machine's.
    outcome run(const command_words &words, const std::string &input = "", const variables &more = {}) const;
    running_tool start(const command_words &words, const variables &more = {}) const;

    // The same with all three streams at a terminal, 24 lines by 200 columns; its line ends are "\r\n".
    running_tool start_at_terminal(const command_words &words, const variables &more = {}) const;

    // A handset of that name; its tty, or what went wrong as std::runtime_error. With more words for `handset up`.
    std::string up(const std::string &name, const command_words &more = {}) const;
    void down_all() const;

    // A folder for files of the test's; what `handset` keeps of a handset that is up; its file of that path inside.
    std::string folder() const { return m_folder.path(); }
    std::string handset_folder(const std::string &name) const;
    std::string path_inside(const std::string &name, const std::string &path) const;

    // The calls that the handset's libraries have heard, in their order, since they were last forgotten.
    std::vector<std::string> calls(const std::string &name) const;
    void forget_calls(const std::string &name) const;

  private:
    void watch_over();
    std::vector<std::string> environment_with(const variables &more) const;
    running_tool launch(const command_words &words, const variables &more, bool at_terminal) const;

    temp_folder m_folder;
    variables m_environment;
    emulator::descriptor m_watchman; // when it closes, the handsets that are still up are taken down
};

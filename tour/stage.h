// Where the tour is shown: prints what the scenes play and keeps the verdict of every check, for the table at the end.
// Lines are flushed as they come, so that one can watch. One thread.
#pragma once

#include <string>
#include <vector>

namespace tour {

class stage {
  public:
    void open_scene(const std::string &title, const std::string &about);

    // One line below its label; an empty label continues the line above.
    void say(const std::string &label, const std::string &text);

    // A sentence on a line of its own, behind an empty one.
    void remark(const std::string &text);

    // One line of a file or of a console, cut to the width of the stage.
    void quote(const std::string &text);

    // Keeps whether what came is what was expected. `what` is a plain statement, true if it is.
    void expect(const std::string &what, const std::string &expected, const std::string &came);

    // Prints the table of the checks so far, nothing when there are none. True when all of them hold.
    bool show_checks() const;

  private:
    struct check {
        std::string what;
        std::string expected;
        std::string came;
    };

    std::vector<check> m_checks;
};

// The text with a blank in place of every run of line breaks and other control characters.
std::string one_line(const std::string &text);

} // namespace tour

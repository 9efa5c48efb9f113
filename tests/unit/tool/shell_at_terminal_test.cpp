// The line editor as a person has it: at a terminal, of which the test is the keyboard and the screen.
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <termios.h>

#include <chrono>
#include <iostream>

#include "emulator/descriptor.h"
#include "tests/unit/tool/ended_program.h"
#include "tool/line_editor.h"
#include "tool/program.h"

namespace {

using testing::HasSubstr;
using tool_test::set_variable;
using words = std::vector<std::string>;

constexpr char k_up[] = "\033[A";
constexpr char k_tab[] = "\t";
constexpr char k_interrupt[] = "\x03";
constexpr char k_end_of_input[] = "\x04";

// A program at a terminal of its own that tells each line it reads as "[line]", "[end]" at the end of the input.
class shell_at_terminal {
  public:
    explicit shell_at_terminal(const std::string &history, const tool::completer &complete = nullptr)
        : m_terminal(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC))
    {
        char name[64] = "";
        EXPECT_EQ(grantpt(m_terminal.get()), 0);
        EXPECT_EQ(unlockpt(m_terminal.get()), 0);
        EXPECT_EQ(ptsname_r(m_terminal.get(), name, sizeof(name)), 0);
        (void)fflush(nullptr);
        m_pid = fork();
        if (m_pid == 0) {
            (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
            m_terminal.reset();
            sit_down(name);
            try {
                tell_lines(history, complete);
            } catch (const std::exception &error) {
                std::cout << "[thrown: " << error.what() << "]" << std::endl;
            }
            exit(testing::Test::HasFailure() ? 99 : 0); // with the history written by then
        }
    }
    ~shell_at_terminal()
    {
        if (m_pid > 0) {
            EXPECT_EQ(kill(m_pid, SIGKILL), 0);
            EXPECT_EQ(waitpid(m_pid, nullptr, 0), m_pid);
        }
    }
    shell_at_terminal(const shell_at_terminal &) = delete;
    shell_at_terminal &operator=(const shell_at_terminal &) = delete;

    void type(const std::string &keys) const
    {
        ASSERT_EQ(write(m_terminal.get(), keys.data(), keys.size()), static_cast<ssize_t>(keys.size()));
    }

    // What is on the screen from the last time on, until the text is; all that came when it does not come.
    std::string screen_until(const std::string &text)
    {
        constexpr int k_patience_ms = 10'000;
        pollfd ready = {m_terminal.get(), POLLIN, 0};
        while (m_screen.find(text) == std::string::npos && poll(&ready, 1, k_patience_ms) == 1) {
            char bytes[1024];
            const ssize_t count = read(m_terminal.get(), bytes, sizeof(bytes));
            if (count <= 0) {
                break; // the program has ended
            }
            m_screen.append(bytes, static_cast<size_t>(count));
        }
        const size_t at = m_screen.find(text);
        const size_t end = at == std::string::npos ? m_screen.size() : at + text.size();
        const std::string seen = m_screen.substr(0, end);
        m_screen.erase(0, end);
        return seen;
    }

    void expect(const std::string &text) { EXPECT_THAT(screen_until(text), HasSubstr(text)); }

    // The prompt, and that keys are taken one by one from now on: before that the kernel would edit the line.
    void expect_prompt()
    {
        expect("amt> ");
        const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        termios now = {};
        do {
            (void)poll(nullptr, 0, 1); // nothing announces it
            ASSERT_EQ(tcgetattr(m_terminal.get(), &now), 0);
            ASSERT_LT(std::chrono::steady_clock::now(), patience) << "the terminal is left to the kernel";
        } while ((now.c_lflag & static_cast<tcflag_t>(ICANON)) != 0);
    }

    // Its exit status once it has ended.
    int wait()
    {
        int status = -1;
        (void)screen_until("nothing more");
        (void)kill(m_pid, SIGKILL); // in case it goes on: its status is settled otherwise
        EXPECT_EQ(waitpid(m_pid, &status, 0), m_pid);
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }

  private:
    static void sit_down(const char *terminal)
    {
        (void)setsid();
        const int fd = open(terminal, O_RDWR | O_CLOEXEC);
        if (fd < 0 || ioctl(fd, TIOCSCTTY, 0) != 0 || dup2(fd, STDIN_FILENO) < 0 || dup2(fd, STDOUT_FILENO) < 0 ||
            dup2(fd, STDERR_FILENO) < 0) {
            _exit(98);
        }
        set_variable("TERM", "xterm");
        set_variable("EDITRC", "/dev/null");
        tool::hold_interrupts();
    }

    static void tell_lines(const std::string &history, const tool::completer &complete)
    {
        tool::line_editor editor(
            "amt> ", complete ? complete : [](const words &) { return words{}; }, history);
        std::optional<std::string> line;
        do {
            line = editor.read();
            std::cout << (line ? "[" + *line + "]" : "[end]") << std::endl;
        } while (line && *line != "exit");
    }

    emulator::descriptor m_terminal;
    pid_t m_pid = -1;
    std::string m_screen;
};

TEST(ToolShell, ReadsWhatIsTypedBehindThePrompt)
{
    shell_at_terminal shell("");
    shell.expect_prompt();
    shell.type("get imei\n");
    shell.expect("[get imei]");
    shell.expect_prompt();
    shell.type("\n");
    shell.expect("[]");
    shell.expect_prompt();
    shell.type("exit\n");
    shell.expect("[exit]");
    EXPECT_EQ(shell.wait(), 0);
}

TEST(ToolShell, LetsALineBeEdited)
{
    shell_at_terminal shell("");
    shell.expect_prompt();
    shell.type("imei\x01get \n"); // to the beginning, and there
    shell.expect("[get imei]");
}

TEST(ToolShell, EndsAtTheEndOfTheInput)
{
    shell_at_terminal shell("");
    shell.expect_prompt();
    shell.type(k_end_of_input);
    shell.expect("[end]");
    EXPECT_EQ(shell.wait(), 0);
}

TEST(ToolShell, GivesAnEmptyLineAtAnInterruptAndGoesOn)
{
    shell_at_terminal shell("");
    shell.expect_prompt();
    shell.type("half a li");
    shell.expect("half a li");
    shell.type(k_interrupt);
    shell.expect("[]");
    shell.expect_prompt();
    shell.type("exit\n");
    shell.expect("[exit]");
    EXPECT_EQ(shell.wait(), 0);
}

TEST(ToolShell, GoesOnAfterInterruptsWhileLinesAreReadAgain)
{
    shell_at_terminal shell("");
    for (int i = 0; i < 3; i++) {
        shell.expect_prompt();
        shell.type("half");
        shell.expect("half");
        shell.type(k_interrupt);
        shell.expect("\r\n[]");
    }
    shell.expect_prompt();
    shell.type("get imei\n");
    shell.expect("[get imei]"); // nothing of what was typed before
    shell.expect_prompt();
    shell.type(k_end_of_input);
    shell.expect("[end]");
    EXPECT_EQ(shell.wait(), 0);
}

// --- history

TEST(ToolShell, BringsEarlierLinesBack)
{
    shell_at_terminal shell("");
    for (const char *line : {"get imei", "  ", "info"}) {
        shell.expect_prompt();
        shell.type(std::string(line) + "\n");
        shell.expect("[" + std::string(line) + "]");
    }
    shell.expect_prompt();
    shell.type(std::string(k_up) + k_up + "\n"); // blanks are not kept
    shell.expect("[get imei]");
}

TEST(ToolShell, KeepsItsLinesForTheNextTimeInAFolderThatItMakes)
{
    const temp_folder folder;
    const std::string history = folder.path("state/kv-zep-amt/amt-test.history");
    for (const char *line : {"one", "two"}) {
        shell_at_terminal shell(history);
        shell.expect_prompt();
        shell.type(std::string(line) + "\n");
        shell.expect("[" + std::string(line) + "]");
        shell.expect_prompt();
        shell.type(k_end_of_input);
        shell.expect("[end]");
        EXPECT_EQ(shell.wait(), 0);
    }
    shell_at_terminal shell(history);
    shell.expect_prompt();
    shell.type(std::string(k_up) + k_up + "\n");
    shell.expect("[one]");
}

TEST(ToolShell, GoesOnWithoutAHistoryThatCannotBeKept)
{
    const temp_folder folder;
    shell_at_terminal shell(folder.with_file("file", "text") + "/history");
    shell.expect_prompt();
    shell.type("exit\n");
    shell.expect("[exit]");
    EXPECT_EQ(shell.wait(), 0);
}

// --- completion

// Offers these at any place.
tool::completer offering(const words &offered)
{
    return [offered](const words &) { return offered; };
}

// Offers one word that tells what it was asked for.
words tell_asked(const words &asked)
{
    std::string all = asked.empty() ? "" : asked.back();
    for (const std::string &each : asked) {
        all += "<" + each + ">";
    }
    return {all};
}

struct completed_row {
    const char *name;
    words offered;
    const char *typed;
    const char *line; // as it is read
};

TEST(ToolShell, CompletesAWord)
{
    const completed_row rows[] = {
        {"the only one, and a blank behind it", {"info"}, "in", "[info ]"},
        {"a later word", {"imei"}, "get im", "[get imei ]"},
        {"nothing typed yet", {"imei"}, "get ", "[get imei ]"},
        {"nothing typed at all", {"info"}, "", "[info ]"},
        {"one of several", {"imei", "info"}, "in", "[info ]"},
        {"up to where they part", {"results", "resume"}, "r", "[resu]"},
        {"no blank where a value follows", {"module="}, "send version mo", "[send version module=]"},
        {"a value", {"module=software", "module=product"}, "send version module=so", "[send version module=software ]"},
        {"a value, nothing of it typed yet",
         {"module=software"},
         "send version module=",
         "[send version module=software ]"},
        {"a value up to where they part", {"module=plan", "module=platform"}, "send module=p", "[send module=pla]"},
        {"an item of a word in quotes",
         {"module=software"},
         "send \"version\" module=s",
         "[send \"version\" module=software ]"},
        {"nothing that fits", {"imei"}, "x", "[x]"},
        {"in open double quotes", {"imei"}, "get \"im", "[get \"imei"},
        {"in open single quotes", {"imei"}, "get 'im", "[get 'imei"},
        {"behind an apostrophe in double quotes", {"imei"}, "set \"it's\" im", "[set \"it's\" imei ]"},
    };
    for (const completed_row &row : rows) {
        SCOPED_TRACE(row.name);
        shell_at_terminal shell("", offering(row.offered));
        shell.expect_prompt();
        shell.type(std::string(row.typed) + k_tab + "\n");
        shell.expect(row.line);
    }
}

TEST(ToolShell, LeavesALineAloneWhereSeveralWordsFitThatShareNothing)
{
    for (const words &offered : {words{"get", "info"}, words{"", "="}, words{""}}) {
        shell_at_terminal shell("", offering(offered));
        shell.expect_prompt();
        shell.type(std::string(k_tab) + "\x01"
                                        "exit\n");
        shell.expect("[exit");
        EXPECT_EQ(shell.wait(), 0);
    }
}

struct asked_row {
    const char *name;
    const char *typed;
    const char *asked;
};

TEST(ToolShell, AsksForTheLastWordAndTellsThoseBeforeIt)
{
    const asked_row rows[] = {
        {"the first word", "in", "in<in>"},
        {"a later word", "get  im", "im<get><im>"},
        {"a word behind a blank", "get ", "<get><>"},
        {"a value", "send version module=so", "module=so<send><version><module=so>"},
        {"behind words in quotes", "set 'a b' im", "im<set><a b><im>"},
        {"a value in open quotes", "set number=\"a", "<set>"},
        {"a word in open quotes behind others", "set \"a b", "<set>"},
    };
    for (const asked_row &row : rows) {
        SCOPED_TRACE(row.name);
        shell_at_terminal shell("", tell_asked);
        shell.expect_prompt();
        shell.type(std::string(row.typed) + k_tab + "\n");
        shell.expect(row.asked);
    }
}

} // namespace

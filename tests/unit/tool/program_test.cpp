#include "tool/program.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <signal.h>

#include <algorithm>
#include <iostream>
#include <set>
#include <stdexcept>

#include "emulator/descriptor.h"
#include "tests/unit/tool/ended_program.h"
#include "tool/failure.h"

namespace {

using tool::exit_code;
using tool_test::ended_program;
using tool_test::run_as_program;
using tool_test::set_variable;

// --- exit statuses

TEST(ToolProgram, HasTheExitStatusesThatScriptsKnow)
{
    EXPECT_EQ(static_cast<int>(exit_code::done), 0);
    EXPECT_EQ(static_cast<int>(exit_code::refused), 1);
    EXPECT_EQ(static_cast<int>(exit_code::usage), 2);
    EXPECT_EQ(static_cast<int>(exit_code::no_device), 3);
    EXPECT_EQ(static_cast<int>(exit_code::no_answer), 4);
    EXPECT_EQ(static_cast<int>(exit_code::malformed), 5);
    EXPECT_EQ(static_cast<int>(exit_code::interrupted), 130);
}

TEST(ToolProgram, TellsTheMeaningOfEachExitStatusOnce)
{
    std::set<int> codes;
    std::set<std::string> meanings;
    for (const auto &row : tool::k_exit_codes) {
        codes.insert(static_cast<int>(row.code));
        meanings.insert(row.meaning);
    }
    EXPECT_EQ(codes, (std::set<int>{0, 1, 2, 3, 4, 5, 130}));
    EXPECT_EQ(meanings.size(), 7U);
    EXPECT_EQ(meanings.count(""), 0U);
}

struct ended_row {
    const char *name;
    exit_code (*body)();
    int code;
    const char *err;
};

TEST(ToolProgram, EndsWithWhatItsBodyReturnsAndSaysNothing)
{
    for (const auto &row : tool::k_exit_codes) {
        const ended_program ended = run_as_program([&] { return tool::run("amt-test", [&] { return row.code; }); });
        EXPECT_EQ(ended.code(), static_cast<int>(row.code)) << row.meaning;
        EXPECT_EQ(ended.err, "") << row.meaning;
    }
}

TEST(ToolProgram, TellsWhatIsThrownInOneLineAndEndsWithItsStatus)
{
    const ended_row rows[] = {
        {"refused", [] { return throw tool::failure(exit_code::refused, "no: ask again"), exit_code::done; }, 1,
         "amt-test: no: ask again\n"},
        {"usage", [] { return throw tool::failure(exit_code::usage, "x"), exit_code::done; }, 2, "amt-test: x\n"},
        {"no device", [] { return throw tool::failure(exit_code::no_device, "x"), exit_code::done; }, 3,
         "amt-test: x\n"},
        {"no answer", [] { return throw tool::failure(exit_code::no_answer, "x"), exit_code::done; }, 4,
         "amt-test: x\n"},
        {"malformed", [] { return throw tool::failure(exit_code::malformed, "x"), exit_code::done; }, 5,
         "amt-test: x\n"},
        {"interrupted", [] { return throw tool::failure(exit_code::interrupted, "x"), exit_code::done; }, 130,
         "amt-test: x\n"},
        {"an invalid argument", [] { return throw std::invalid_argument("level=x"), exit_code::done; }, 2,
         "amt-test: level=x\n"},
        {"another error of logic", [] { return throw std::out_of_range("far"), exit_code::done; }, 1,
         "amt-test: far\n"},
        {"a failure while it ran", [] { return throw std::runtime_error("gone"), exit_code::done; }, 1,
         "amt-test: gone\n"},
        {"no memory", [] { return throw std::bad_alloc(), exit_code::done; }, 1, "amt-test: std::bad_alloc\n"},
    };
    for (const ended_row &row : rows) {
        const ended_program ended = run_as_program([&] { return tool::run("amt-test", row.body); });
        EXPECT_EQ(ended.code(), row.code) << row.name;
        EXPECT_EQ(ended.err, row.err) << row.name;
        EXPECT_EQ(ended.out, "") << row.name;
    }
}

TEST(ToolProgram, TellsInOneLineAlsoWhatHasSeveral)
{
    const ended_program ended = run_as_program([] {
        return tool::run("amt-test", []() -> exit_code {
            throw tool::failure(exit_code::usage, "\"a\nb\" is no name\n: choose another");
        });
    });
    EXPECT_EQ(ended.code(), 2);
    EXPECT_EQ(std::count(ended.err.begin(), ended.err.end(), '\n'), 1) << ended.err;
    EXPECT_THAT(ended.err, testing::AllOf(testing::StartsWith("amt-test: "), testing::EndsWith("choose another\n")));
}

TEST(ToolProgram, WritesOutWhatWasPrintedBeforeAFailure)
{
    const ended_program ended = run_as_program([] {
        const int code = tool::run("amt-test", []() -> exit_code {
            std::cout << "half";
            throw std::runtime_error("gone");
        });
        _exit(code); // what is in a buffer now is lost
        return 0;
    });
    EXPECT_EQ(ended.code(), 1);
    EXPECT_EQ(ended.out, "half");
    EXPECT_EQ(ended.err, "amt-test: gone\n");
}

// --- standard output

exit_code print_much()
{
    std::cout << std::string(100'000, 'x') << std::flush;
    return exit_code::done;
}

TEST(ToolProgram, EndsQuietlyWhenNobodyReadsItsOutput)
{
    const ended_program ended = run_as_program([] {
        int ends[2] = {-1, -1};
        if (pipe2(ends, O_CLOEXEC) != 0 || dup2(ends[1], STDOUT_FILENO) < 0) {
            return 98;
        }
        (void)close(ends[0]);
        (void)signal(SIGPIPE, SIG_DFL);
        return tool::run("amt-test", print_much);
    });
    EXPECT_EQ(ended.code(), 128 + SIGPIPE);
    EXPECT_EQ(ended.err, "");
}

TEST(ToolProgram, SaysThatItsOutputIsLost)
{
    for (const exit_code code : {exit_code::done, exit_code::malformed}) {
        const ended_program ended = run_as_program([&] {
            tool_test::redirect("/dev/full", O_WRONLY, STDOUT_FILENO);
            return tool::run("amt-test", [&] {
                std::cout << "x";
                return code;
            });
        });
        const bool is_done = code == exit_code::done;
        EXPECT_EQ(ended.code(), static_cast<int>(is_done ? exit_code::refused : code));
        EXPECT_EQ(ended.err, is_done ? "amt-test: cannot write to standard output: see where it leads\n" : "");
    }
}

// --- interrupts

bool can_read(int fd, int wait_ms)
{
    pollfd ready = {fd, POLLIN, 0};
    return poll(&ready, 1, wait_ms) == 1 && ready.revents == POLLIN;
}

TEST(ToolProgram, NotesAnInterruptAndGoesOn)
{
    for (const int number : {SIGINT, SIGTERM}) {
        SCOPED_TRACE(number);
        in_child([&] {
            EXPECT_EQ(tool::interrupt_fd(), -1);
            tool::hold_interrupts();
            EXPECT_FALSE(tool::interrupted());
            EXPECT_FALSE(can_read(tool::interrupt_fd(), 0));
            EXPECT_NO_THROW(tool::check_interrupted());
            errno = ENOENT;
            ASSERT_EQ(raise(number), 0);
            EXPECT_EQ(errno, ENOENT);
            EXPECT_TRUE(tool::interrupted());
            for (int i = 0; i < 3; i++) { // however often it is looked at
                EXPECT_TRUE(can_read(tool::interrupt_fd(), 0));
            }
        });
    }
}

TEST(ToolProgram, ForgetsAnInterruptAndNotesTheNext)
{
    in_child([] {
        tool::hold_interrupts();
        tool::forget_interrupt(); // of none there is nothing to be forgotten
        for (int i = 0; i < 3; i++) {
            ASSERT_EQ(raise(SIGINT), 0);
            ASSERT_EQ(raise(SIGINT), 0);
            EXPECT_TRUE(tool::interrupted());
            EXPECT_TRUE(can_read(tool::interrupt_fd(), 0));
            tool::forget_interrupt();
            EXPECT_FALSE(tool::interrupted());
            EXPECT_FALSE(can_read(tool::interrupt_fd(), 0));
            EXPECT_NO_THROW(tool::check_interrupted());
        }
    });
}

TEST(ToolProgram, EndsWith130OnceAnInterruptHasCome)
{
    const ended_program ended = run_as_program([] {
        tool::hold_interrupts();
        return tool::run("amt-test", [] {
            (void)raise(SIGINT);
            (void)raise(SIGTERM);
            tool::check_interrupted();
            return exit_code::done;
        });
    });
    EXPECT_EQ(ended.code(), 130);
    EXPECT_EQ(ended.err, "amt-test: interrupted\n");
}

TEST(ToolProgram, IsEndedByAnInterruptUnlessItHoldsThem)
{
    for (const int number : {SIGINT, SIGTERM}) {
        const ended_program ended = run_as_program([&] {
            (void)raise(number);
            return 0;
        });
        EXPECT_EQ(ended.code(), 128 + number);
    }
}

TEST(ToolProgram, ReturnsFromACallThatBlocksAtAnInterrupt)
{
    int nothing[2] = {-1, -1};
    int ready[2] = {-1, -1};
    ASSERT_EQ(pipe2(nothing, O_CLOEXEC), 0);
    ASSERT_EQ(pipe2(ready, O_CLOEXEC), 0);
    const emulator::descriptor ends[] = {emulator::descriptor(nothing[0]), emulator::descriptor(nothing[1]),
                                         emulator::descriptor(ready[0]), emulator::descriptor(ready[1])};
    (void)fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        (void)prctl(PR_SET_PDEATHSIG, SIGKILL);
        tool::hold_interrupts();
        char byte = 0;
        (void)!write(ready[1], "!", 1);
        const ssize_t count = read(nothing[0], &byte, 1);
        _exit(count < 0 && errno == EINTR && tool::interrupted() ? 0 : 1);
    }
    char byte = 0;
    EXPECT_EQ(read(ready[0], &byte, 1), 1);
    int status = -1;
    while (waitpid(child, &status, WNOHANG) == 0) { // the first signal may come before the call
        EXPECT_EQ(kill(child, SIGINT), 0);
        (void)poll(nullptr, 0, 1);
    }
    EXPECT_EQ(status, 0);
}

// --- colours

struct colour_row {
    const char *name;
    const char *term;
    const char *no_color;
    bool is_coloured;
};

TEST(ToolProgram, IsColouredAtATerminalUnlessThatIsNotWanted)
{
    const colour_row rows[] = {
        {"a terminal", "xterm", nullptr, true},      {"no name of a terminal", nullptr, nullptr, true},
        {"a dumb terminal", "dumb", nullptr, false}, {"NO_COLOR", "xterm", "1", false},
        {"NO_COLOR, 0", "xterm", "0", false},        {"NO_COLOR without a value", "xterm", "", true},
    };
    const emulator::descriptor terminal(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
    const emulator::descriptor null(open("/dev/null", O_RDWR | O_CLOEXEC));
    for (const colour_row &row : rows) {
        SCOPED_TRACE(row.name);
        in_child([&] {
            set_variable("TERM", row.term);
            set_variable("NO_COLOR", row.no_color);
            EXPECT_EQ(tool::in_colour(terminal.get()), row.is_coloured);
            EXPECT_FALSE(tool::in_colour(null.get()));
            EXPECT_FALSE(tool::in_colour(-1));
        });
    }
}

TEST(ToolProgram, SaysAnErrorInOneLineAndInRedWhereThereAreColours)
{
    const std::string told = "amt-test: a\r\nb: c\n";
    const ended_program plain = run_as_program([&] {
        tool::say_error(told);
        return 0;
    });
    EXPECT_EQ(plain.err, "amt-test: a  b: c \n");
    EXPECT_EQ(plain.out, "");
    for (const bool is_wanted : {true, false}) {
        const emulator::descriptor terminal(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC));
        char name[64] = "";
        ASSERT_EQ(unlockpt(terminal.get()), 0);
        ASSERT_EQ(ptsname_r(terminal.get(), name, sizeof(name)), 0);
        const emulator::descriptor other_end(open(name, O_RDWR | O_NOCTTY | O_CLOEXEC));
        in_child([&] {
            set_variable("TERM", "xterm");
            set_variable("NO_COLOR", is_wanted ? nullptr : "1");
            ASSERT_EQ(dup2(other_end.get(), STDERR_FILENO), STDERR_FILENO);
            tool::say_error("amt-test: no");
        });
        char bytes[64];
        const ssize_t count = read(terminal.get(), bytes, sizeof(bytes));
        ASSERT_GT(count, 0);
        EXPECT_EQ(std::string(bytes, static_cast<size_t>(count)),
                  is_wanted ? "\033[31mamt-test: no\033[0m\r\n" : "amt-test: no\r\n");
    }
}

TEST(ToolProgram, ColoursATextAndSwitchesBack)
{
    using tool::colour;
    EXPECT_EQ(tool::coloured("text", colour::red, true), "\033[31mtext\033[0m");
    EXPECT_EQ(tool::coloured("text", colour::green, true), "\033[32mtext\033[0m");
    EXPECT_EQ(tool::coloured("text", colour::yellow, true), "\033[33mtext\033[0m");
    EXPECT_EQ(tool::coloured("text", colour::dim, true), "\033[2mtext\033[0m");
    EXPECT_EQ(tool::coloured("text", colour::none, true), "text");
    for (const colour each : {colour::none, colour::red, colour::green, colour::yellow, colour::dim}) {
        EXPECT_EQ(tool::coloured("text", each, false), "text");
    }
}

} // namespace

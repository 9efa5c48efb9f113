// A shell in the handset: a command with the caller's streams, a script, and a person at a terminal.

#include "tests/tools/handset_tool.h"

#include <csignal>

namespace {

using ::testing::HasSubstr;
using ::testing::Not;

class Shell : public shared_handset {
  protected:
    static running_tool at_terminal(const command_words &words)
    {
        return tools().start_at_terminal(words_of("handset", words));
    }
};

TEST_F(Shell, RunsACommandWithTheCallersStreams)
{
    expect_rows({
        {"output", {"shell", "echo", "some", "words"}, 0, "some words\n"},
        {"one word", {"shell", "echo some; echo more"}, 0, "some\nmore\n"},
        {"errors", {"shell", "echo out; echo err >&2"}, 0, "out\n", "err\n"},
        {"input", {"shell", "cat"}, 0, "typed\n", "", "typed\n"},
        {"its status", {"shell", "exit 7"}, 7},
        {"a signal", {"shell", "kill -9 $$"}, 137},
        {"another", {"shell", "kill -TERM $$"}, 143},
        {"no such command", {"shell", "exit 127"}, 127},
        {"options of the command's", {"shell", "echo", "--name", "--help", "-n"}, 0, "--name --help -n\n"},
        {"behind ours", {"shell", "--name", "default", "echo", "--version"}, 0, "--version\n"},
        {"behind a mark", {"shell", "--", "echo", "yes"}, 0, "yes\n"},
        {"a verb's name", {"shell", "echo", "shell", "down"}, 0, "shell down\n"},
        {"words as they are", {"shell", "printf", "<%s>", "a  b", "$HOME", "*", ""}, 0, "<a  b><$HOME><*><>"},
        {"as whom", {"shell", "id -u; id -g"}, 0, "1000\n1001\n"},
        {"its files", {"shell", "echo kept > /amt/mark.txt; cat /amt/mark.txt"}, 0, "kept\n"},
        {"no handset",
         {"shell", "--name", "two", "true"},
         3,
         "",
         mistake("no handset two is up: handset up --name two starts one (up: default)")},
    });
    EXPECT_EQ(value_of("default", "file./amt/mark.txt"), "kept");
    EXPECT_FALSE(std::filesystem::exists("/amt/mark.txt")) << "of this machine";
    const std::string many(300000, 'x');
    EXPECT_EQ(ask({"shell", "cat"}, many).out, many);
    EXPECT_THAT(ask({"shell", "ps"}).out, Not(HasSubstr("handset-test")));
}

TEST_F(Shell, RunsAScript)
{
    expect_rows({
        {"commands", {"shell"}, 3, "one\ntwo\n", "three\n", "echo one\necho two\necho three >&2\nexit 3\n"},
        {"nothing", {"shell"}, 0},
        {"the last one's status", {"shell"}, 1, "", "", "true\nfalse\n"},
    });
}

TEST_F(Shell, EndsWithItsCaller)
{
    running_tool running = start({"shell", "echo $$ > /data/local/tmp/pid; echo begun; sleep 1000"});
    running.wait_for("begun\n");
    const std::string pid = value_of("default", "file./data/local/tmp/pid");
    EXPECT_EQ(ask({"shell", "kill -0 " + pid}).status, 0);
    running.signal(SIGINT);
    EXPECT_EQ(running.wait().status, 130);
    emulator::wait_until("its end", [&] { return ask({"shell", "kill -0 " + pid}).status != 0; });
}

TEST_F(Shell, EndsWithTheHandset)
{
    (void)tools().up("one");
    running_tool running = start({"shell", "--name", "one", "echo begun; sleep 1000"});
    running.wait_for("begun\n");
    (void)done({"down", "--name", "one"});
    EXPECT_NE(running.wait().status, 0);
}

TEST_F(Shell, DoesNotKeepOthersWaiting)
{
    running_tool running = start({"shell", "echo begun; read line; echo $line"});
    running.wait_for("begun\n");
    expect_answered("default");
    EXPECT_EQ(ask({"shell", "echo at the same time"}).out, "at the same time\n");
    running.write("ended\n");
    EXPECT_EQ(running.wait(), (outcome{0, "begun\nended\n", ""}));
}

// --- at a terminal

TEST_F(Shell, IsForAPersonAtATerminal)
{
    running_tool shell = at_terminal({"shell"});
    shell.wait_for("default:/ $ ");
    shell.write("echo so\"me\" words\r");
    shell.wait_for("some words\r\n");
    shell.wait_for("default:/ $ ");
    shell.write("cd /amt\r");
    shell.wait_for("default:/amt $ ");
    shell.write("stty size\r");
    shell.wait_for("24 200\r\n");
    shell.wait_for("$ ");
    shell.resize(30, 100);
    shell.write("stty size\r");
    shell.wait_for("30 100\r\n");
    shell.wait_for("$ ");
    shell.write("tty; echo TERM is $TERM\r");
    shell.wait_for("/dev/");
    shell.wait_for("TERM is xterm\r\n");
    shell.wait_for("$ ");
    shell.write("sh -c 'echo be\"gun\"; exec sleep 1000'\r"); // in front by the time it speaks
    shell.wait_for("begun\r\n");
    shell.write("\003");
    shell.wait_for("default:/amt $ ");
    shell.write("false\r");
    shell.wait_for("$ ");
    shell.write("exit 5\r");
    EXPECT_EQ(shell.wait().status, 5);
}

TEST_F(Shell, EndsAtATerminalByTheEndOfInput)
{
    running_tool shell = at_terminal({"shell"});
    shell.wait_for("default:/ $ ");
    shell.end_input();
    EXPECT_EQ(shell.wait().status, 0);
    running_tool again = at_terminal({"shell", "--name", "default"});
    again.wait_for("default:/ $ ");
    again.write("exit\r");
    EXPECT_EQ(again.wait().status, 0);
}

TEST_F(Shell, LeavesTheTerminalAsItWas)
{
    running_tool shell = tools().start_at_terminal({"bash", "--norc", "-c", "handset shell; stty -a"});
    shell.wait_for("default:/ $ ");
    shell.write("exit\r");
    const outcome come = shell.wait();
    EXPECT_EQ(come.status, 0);
    EXPECT_THAT(come.out, HasSubstr(" icanon "));
    EXPECT_THAT(come.out, HasSubstr(" echo "));
}

TEST_F(Shell, RunsACommandAtATerminal)
{
    running_tool running = at_terminal({"shell", "echo", "some", "words"});
    EXPECT_EQ(running.wait(), (outcome{0, "some words\r\n", ""}));
}

} // namespace

// Transcripts in the project's documents: what a reader types, and what he is to see. In a block that begins with
// "```console" a line that begins with "$ " is typed, what follows is what comes. "..." stands for any text in a line,
// and, alone in its line, for any number of lines.
#pragma once

#include <string>
#include <vector>

struct typed_command {
    std::string command;
    std::vector<std::string> expected; // lines
};

// All of a document's blocks, in order.
std::vector<typed_command> transcript_of(const std::string &document);

// Whether the lines that came are those that were to.
bool is_as_told(const std::vector<std::string> &expected, const std::vector<std::string> &came);

// A terminal's text as lines, without their ends.
std::vector<std::string> lines_of(const std::string &text);

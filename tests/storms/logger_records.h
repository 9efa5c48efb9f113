// What storm-logger has left in its file.
#pragma once

#include <string>
#include <string_view>

// Which of its records are missing or damaged; empty when each writer's are all there: from its very first, or, where
// the ring has come round, from the first that is left.
std::string loss_in(std::string_view content, int writers, long records);

// The content with line feeds in place of zero bytes: what a file that is emptied while it is written to has where its
// beginning was.
std::string without_holes(std::string content);

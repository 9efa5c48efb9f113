// The line between a verb and the keeper of a handset: one connection to the socket NAME/control, one JSON text a line.
// A request is an object with the "verb"; its answer has "error" and "code" when it failed. Descriptors may go beside
// either. Only the user whose handset it is may connect. Failures throw tool::failure. Any thread, one per connection.
#pragma once

#include "emulator/deadline.h"
#include "emulator/descriptor.h"

#include <nlohmann/json.hpp>

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace handset_tool {

using nlohmann::json;

// As a line may hold bytes that are no text (a handset's files): their digits.
std::string to_digits(std::string_view bytes);
std::string from_digits(std::string_view digits);

// Makes the socket of a handset's folder and listens on it; one that was there is replaced.
emulator::descriptor listen_at(const std::filesystem::path &folder);

// Connects to the keeper of a handset's folder; no descriptor when nobody listens there.
emulator::descriptor connect_to(const std::filesystem::path &folder);

// Whether a keeper listens for a handset of this name.
bool is_up(const std::string &name);

// The next connection of the same user's; no descriptor when there is none.
emulator::descriptor accept_from(int listener);

// NOLINTNEXTLINE(bugprone-exception-escape): moving JSON does not throw
struct received_line {
    json content;
    std::vector<emulator::descriptor> descriptors;
};

// Sends one line; false when nobody takes it.
bool send_line(int socket, const json &content, const std::vector<int> &descriptors = {});

// The next line; nothing when the other side has closed, or it is none. Throws tool::failure past the deadline, and on
// an interrupt.
std::optional<received_line> receive_line(int socket, emulator::deadline limit);

// How long a verb waits for an answer, unless it says otherwise.
constexpr std::chrono::seconds k_answer_wait{90};

// Asks the keeper of a handset that must be up; a failure that it answers is thrown.
json ask(const std::string &name, const json &request, emulator::deadline limit = k_answer_wait);

// A connection to a handset that must be up, for more than a question.
emulator::descriptor require_handset(const std::string &name);

// Throws the failure that an answer tells; else nothing.
void check_answer(const json &answer);

// An answer that tells a failure.
json failure_answer(const std::exception &error);

} // namespace handset_tool

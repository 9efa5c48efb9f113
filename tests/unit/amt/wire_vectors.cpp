#include "tests/unit/amt/wire_vectors.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

std::vector<wire_vector> wire_vectors(const std::string &kind)
{
    std::vector<wire_vector> result;
    std::ifstream file(WIRE_VECTORS);
    for (std::string line; std::getline(file, line);) {
        wire_vector vector;
        nlohmann::json::parse(line).get_to(vector.fields);
        if (vector.fields.at("kind") == kind) {
            vector.name = vector.fields.at("name");
            result.push_back(vector);
        }
    }
    if (result.empty()) {
        throw std::runtime_error("no vector of kind \"" + kind + "\" in " WIRE_VECTORS);
    }
    return result;
}

byte_vector data_bytes(const byte_vector &beginning)
{
    byte_vector data = beginning;
    data.resize(AMT_MESSAGE_SIZE);
    data.shrink_to_fit();
    return data;
}

byte_vector data_bytes(const std::string &hex)
{
    return data_bytes(from_hex(hex));
}

byte_vector message_in(const byte_vector &data)
{
    const size_t length = data.at(0) | data.at(1) << 8;
    if (length > data.size()) {
        throw std::runtime_error("a message longer than its buffer");
    }
    return {data.begin(), data.begin() + static_cast<std::ptrdiff_t>(length)};
}

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "ops/json_reply.h"

// The longest request, and with it the most that a client may send.
constexpr size_t kControlMaxRequest = 4096;

// What a client asks for: one line, a JSON object with the name of a command and its arguments, as
// {"command": "edge remove", "serial": 1001}.
class CTControlRequest {
  public:
    // Reads the line, without its newline; false, with the reason in fault, when it is none.
    bool Parse(std::string_view line, std::string& fault);

    const std::string& GetCommand() const { return m_command; }
    // An argument that is a whole number of 32 bits, with a sign or without; nothing otherwise.
    std::optional<uint32_t> GetNumber(const char* key) const;

  private:
    CTJsonTree m_tree;
    std::string m_command;
};

// The reply to what cannot be done: {"error": "..."}.
std::string control_error(std::string_view reason);

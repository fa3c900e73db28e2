#include "ctl/program_reply.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "ctl/terminal_text.h"
#include "ops/control_client.h"

namespace {

// Longer than the programs wait for their own threads.
constexpr int kWaitMs = 5000;
constexpr unsigned char kFirstPrintable = 0x20;
constexpr unsigned char kLastPrintable = 0x7E;

// Outside texts JSON has no control character but blanks, and in them it writes them as escapes:
// what stands there as a byte is no program's of ours.
bool HasControl(const std::string& line) {
    return std::any_of(line.begin(), line.end(),
                       [](char c) { return static_cast<unsigned char>(c) < kFirstPrintable; });
}

// The code of the character at the start of a text that is valid UTF-8; it leaves the text.
uint32_t TakeCharacter(std::string_view& text) {
    auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    size_t length = byte(0) < 0x80 ? 1 : byte(0) < 0xE0 ? 2 : byte(0) < 0xF0 ? 3 : 4;
    uint32_t code = length == 1 ? byte(0) : byte(0) & (0x7Fu >> length);
    for (size_t i = 1; i < length; ++i)
        code = code << 6 | (byte(i) & 0x3Fu);
    text.remove_prefix(length);
    return code;
}

// The same JSON of visible ASCII alone: what is not stands in texts only, where it may be written
// as an escape, beyond 16 bits as two.
std::string AsciiJson(const std::string& line) {
    std::string clean = control_clean_text(line);
    std::string_view rest = clean;
    std::string text;
    auto add = [&](uint32_t unit) {
        char code[sizeof "\\uffff"];
        snprintf(code, sizeof code, "\\u%04x", unit & 0xFFFF);
        text += code;
    };
    while (!rest.empty()) {
        uint32_t code = TakeCharacter(rest);
        if (code >= kFirstPrintable && code <= kLastPrintable) {
            text += static_cast<char>(code);
        } else if (code <= 0xFFFF) {
            add(code);
        } else {
            add(0xD800 + ((code - 0x10000) >> 10));
            add(0xDC00 + ((code - 0x10000) & 0x3FF));
        }
    }
    return text;
}

}  // namespace

bool ctl_ask(const std::string& socket, CtlProgram program, const std::string& request,
             CtlReply& reply, std::string& fault) {
    std::string path = socket.empty() ? ctl_find_socket(program, fault) : socket;
    if (path.empty()) return false;
    std::string line;
    if (!control_ask(path, request, kWaitMs, line, fault)) {
        fault = ctl_terminal_text(fault);
        return false;
    }
    if (!HasControl(line)) reply.tree.reset(cJSON_ParseWithLength(line.data(), line.size()));
    if (!cJSON_IsObject(reply.tree.get())) {
        fault = ctl_terminal_text(path) + ": the reply is no JSON object";
        return false;
    }
    const cJSON* error = cJSON_GetObjectItemCaseSensitive(reply.tree.get(), "error");
    if (error) {
        const char* text = cJSON_GetStringValue(error);
        fault = ctl_terminal_text(text ? text : "refused");
        return false;
    }
    reply.line = AsciiJson(line);
    return true;
}

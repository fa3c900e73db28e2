#include "ops/control_request.h"

#include <cmath>
#include <limits>

namespace {

constexpr char kCommand[] = "command";

bool IsBlank(std::string_view text) {
    return text.find_first_not_of(" \t\r") == std::string_view::npos;
}

}  // namespace

bool CTControlRequest::Parse(std::string_view line, std::string& fault) {
    m_command.clear();
    m_tree.reset();
    const char* end = nullptr;
    m_tree.reset(cJSON_ParseWithLengthOpts(line.data(), line.size(), &end, 0));
    bool whole = m_tree && IsBlank(line.substr(static_cast<size_t>(end - line.data())));
    if (!whole || !cJSON_IsObject(m_tree.get())) {
        fault = "the request is not a JSON object on one line";
        return false;
    }
    const char* command =
        cJSON_GetStringValue(cJSON_GetObjectItemCaseSensitive(m_tree.get(), kCommand));
    if (!command) {
        fault = "the request has no text \"command\"";
        return false;
    }
    m_command = command;
    return true;
}

std::optional<uint32_t> CTControlRequest::GetNumber(const char* key) const {
    constexpr double kLowest = std::numeric_limits<int32_t>::min();
    constexpr double kHighest = std::numeric_limits<uint32_t>::max();
    const cJSON* item = cJSON_GetObjectItemCaseSensitive(m_tree.get(), key);
    double value = cJSON_GetNumberValue(item);  // not-a-number where it is none
    if (!(value >= kLowest && value <= kHighest) || value != std::floor(value)) return {};
    return static_cast<uint32_t>(static_cast<int64_t>(value));
}

std::string control_error(std::string_view reason) {
    CTJsonTree root(cJSON_CreateObject());
    control_add_text(root.get(), "error", reason);
    return control_print(root.get());
}

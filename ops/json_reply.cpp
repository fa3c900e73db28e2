#include "ops/json_reply.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

namespace {

constexpr std::string_view kReplacement = "\xEF\xBF\xBD";  // U+FFFD
constexpr int kMaxDigits = 6;
constexpr double kMillisPerSecond = 1000;

// The lowest code that needs so many bytes: a shorter one in more bytes is not UTF-8.
constexpr uint32_t kLowestOfLength[] = {0, 0, 0x80, 0x800, 0x10000};
constexpr uint32_t kHighestCode = 0x10FFFF;
constexpr uint32_t kFirstSurrogate = 0xD800;
constexpr uint32_t kLastSurrogate = 0xDFFF;

size_t LengthByFirst(unsigned char first) {
    if (first < 0x80) return 1;
    if (first >= 0xC2 && first < 0xE0) return 2;
    if (first >= 0xE0 && first < 0xF0) return 3;
    if (first >= 0xF0 && first < 0xF5) return 4;
    return 0;
}

// Bytes of the character at the start of the text; 0 when there is none.
size_t CharacterLength(std::string_view text) {
    auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    size_t length = LengthByFirst(byte(0));
    if (length <= 1 || length > text.size()) return length == 1 ? 1 : 0;
    uint32_t code = byte(0) & (0x7Fu >> length);
    for (size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
        code = code << 6 | (byte(i) & 0x3Fu);
    }
    bool surrogate = code >= kFirstSurrogate && code <= kLastSurrogate;
    return code < kLowestOfLength[length] || code > kHighestCode || surrogate ? 0 : length;
}

void Add(cJSON* parent, const char* key, cJSON* item) {
    if (!cJSON_AddItemToObjectCS(parent, key, item)) cJSON_Delete(item);
}

void AddRaw(cJSON* parent, const char* key, const char* json) {
    Add(parent, key, cJSON_CreateRaw(json));
}

}  // namespace

std::string control_clean_text(std::string_view text) {
    std::string clean;
    clean.reserve(text.size());
    while (!text.empty()) {
        size_t length = CharacterLength(text);
        clean += length == 0 ? kReplacement : text.substr(0, length);
        text.remove_prefix(std::max<size_t>(length, 1));
    }
    return clean;
}

cJSON* control_add_object(cJSON* parent, const char* key) {
    cJSON* object = cJSON_CreateObject();
    if (cJSON_AddItemToObjectCS(parent, key, object)) return object;
    cJSON_Delete(object);
    return nullptr;
}

cJSON* control_add_array(cJSON* parent, const char* key) {
    cJSON* array = cJSON_CreateArray();
    if (cJSON_AddItemToObjectCS(parent, key, array)) return array;
    cJSON_Delete(array);
    return nullptr;
}

// A zero byte would end cJSON's text.
void control_add_text(cJSON* parent, const char* key, std::string_view text) {
    Add(parent, key,
        cJSON_CreateString(control_clean_text(text.substr(0, text.find('\0'))).c_str()));
}

void control_add_known_text(cJSON* parent, const char* key, std::string_view text) {
    if (text.empty()) {
        control_add_null(parent, key);
    } else {
        control_add_text(parent, key, text);
    }
}

// cJSON's numbers are doubles, which count bytes exactly for some weeks of a fast network only.
void control_add_count(cJSON* parent, const char* key, uint64_t count) {
    AddRaw(parent, key, std::to_string(count).c_str());
}

void control_add_number(cJSON* parent, const char* key, int64_t number) {
    AddRaw(parent, key, std::to_string(number).c_str());
}

void control_add_decimal(cJSON* parent, const char* key, double number, int digits) {
    if (!std::isfinite(number)) return control_add_null(parent, key);
    char text[512];  // the largest double has 309 digits
    snprintf(text, sizeof text, "%.*f", std::clamp(digits, 0, kMaxDigits), number);
    AddRaw(parent, key, text);
}

void control_add_flag(cJSON* parent, const char* key, bool flag) {
    Add(parent, key, cJSON_CreateBool(flag));
}

void control_add_null(cJSON* parent, const char* key) {
    Add(parent, key, cJSON_CreateNull());
}

void control_add_seconds(cJSON* parent, const char* key, int64_t milliseconds) {
    control_add_decimal(parent, key, static_cast<double>(milliseconds) / kMillisPerSecond, 3);
}

cJSON* control_append_object(cJSON* array) {
    cJSON* object = cJSON_CreateObject();
    if (cJSON_AddItemToArray(array, object)) return object;
    cJSON_Delete(object);
    return nullptr;
}

std::string control_print(const cJSON* tree) {
    std::unique_ptr<char, decltype(&cJSON_free)> text(cJSON_PrintUnformatted(tree), cJSON_free);
    return text ? text.get() : "";
}

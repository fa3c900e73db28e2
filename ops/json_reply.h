#pragma once

#include <cjson/cJSON.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

// How state becomes JSON for other programs: few calls on cJSON that write numbers exactly and
// texts so that the result is always valid JSON. The keys are literals and are not copied. Without
// memory an operation does nothing, and the parent given may be null for that reason. Any thread,
// one tree at a time.

struct CTJsonDeleter {
    void operator()(cJSON* tree) const { cJSON_Delete(tree); }
};
using CTJsonTree = std::unique_ptr<cJSON, CTJsonDeleter>;

// A text from the network or a file as valid UTF-8: each byte that is not part of it becomes
// U+FFFD. Control characters stay; JSON writes them as escapes, and whoever shows the text judges.
std::string control_clean_text(std::string_view text);

// Members of an object. The node added belongs to the tree.
cJSON* control_add_object(cJSON* parent, const char* key);
cJSON* control_add_array(cJSON* parent, const char* key);
void control_add_text(cJSON* parent, const char* key, std::string_view text);
// The text, or null where it is empty.
void control_add_known_text(cJSON* parent, const char* key, std::string_view text);
void control_add_count(cJSON* parent, const char* key, uint64_t count);
void control_add_number(cJSON* parent, const char* key, int64_t number);
// With that many digits behind the point, 0 to 6.
void control_add_decimal(cJSON* parent, const char* key, double number, int digits);
void control_add_flag(cJSON* parent, const char* key, bool flag);
void control_add_null(cJSON* parent, const char* key);
// Milliseconds as seconds with three digits.
void control_add_seconds(cJSON* parent, const char* key, int64_t milliseconds);

// An element of an array.
cJSON* control_append_object(cJSON* array);

// The tree on one line, without newline; empty without memory.
std::string control_print(const cJSON* tree);
